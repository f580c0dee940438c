// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QWidget>

class ContactsSortFilterModel;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QTreeView;

/// Contact search as you type over the loaded world (start with --world large for 165,000
/// nodes), sharing into chats through the selection view, and the class join panel.
class PeoplePage : public QWidget
{
    Q_OBJECT
public:
    explicit PeoplePage(QWidget *parent = nullptr);

private:
    void search(const QString &text);
    void fillClasses();
    void openJoinPanel(bool publicCourse);
    void setClassOpen(bool open);
    void log(const QString &line);
    void showRecentChats();

    ContactsSortFilterModel *m_proxy;
    QLineEdit *m_search;
    QTreeView *m_tree;
    QListWidget *m_hits;
    QLabel *m_timing;
    QLineEdit *m_shareText;
    QListWidget *m_recent;
    QComboBox *m_classes;
    QCheckBox *m_open;
    QPlainTextEdit *m_log;
};
