// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QStyledItemDelegate>
#include <QWidget>

class QComboBox;
class QLineEdit;
class QPlainTextEdit;
class QTreeView;
class ContactsTreeModel;

/// Draws the contacts tree from its custom roles: headings with counts, people with avatar and check box.
class ContactsDemoDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
};

/// The contacts tree live, with a panel that changes the engines as the client's sync would.
class ContactsPage : public QWidget
{
    Q_OBJECT
public:
    explicit ContactsPage(QWidget *parent = nullptr);

private:
    void fillPanels();
    void log(const QString &line);

    ContactsTreeModel *m_model;
    QTreeView *m_view;
    QComboBox *m_clusters;
    QLineEdit *m_newName;
    QComboBox *m_sessionUsers;
    QComboBox *m_people;
    QPlainTextEdit *m_log;
};
