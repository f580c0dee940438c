// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QWidget>

class ContactsSelectViewModel;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QStackedWidget;
class QTreeView;

/**
 * Picking people and chats: a search box over the contacts tree with check boxes on the left;
 * the picked ones on the right with a remove button each and a count (of the limit, when there
 * is one); a notice line; OK and Cancel. Made by ContactsSelectViewModel::createContactsSelectTool.
 */
class ContactsSelectView : public QWidget
{
    Q_OBJECT
public:
    ContactsSelectView(ContactsSelectViewModel *model, QWidget *parent = nullptr);
    ~ContactsSelectView() override;

    ContactsSelectViewModel *viewModel() const { return m_model; }
    QLineEdit *searchEdit() const { return m_search; }
    QTreeView *treeView() const { return m_tree; }
    QListWidget *pickedList() const { return m_pickedList; }
    QPushButton *okButton() const { return m_ok; }
    QPushButton *cancelButton() const { return m_cancel; }
    QLabel *countLabel() const { return m_count; }
    QLabel *noticeLabel() const { return m_notice; }

private:
    void onSearchTextChanged(const QString &text);
    void onClicked(const QModelIndex &index);
    void refreshPicked();
    void refreshResultState();
    void expandDefault();

    ContactsSelectViewModel *m_model;
    QLineEdit *m_search;
    QStackedWidget *m_treeStack;
    QTreeView *m_tree;
    QLabel *m_noResult;
    QLabel *m_count;
    QListWidget *m_pickedList;
    QLabel *m_notice;
    QPushButton *m_ok;
    QPushButton *m_cancel;
};
