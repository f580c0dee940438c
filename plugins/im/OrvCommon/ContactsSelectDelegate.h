// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QStyledItemDelegate>

class ContactsSelectViewModel;

/// Draws a row of the contacts selection tree from the tree's roles: headings with their
/// counts, people and chats with check box, avatar, name and a second line; disabled rows grey.
class ContactsSelectDelegate : public QStyledItemDelegate
{
    Q_OBJECT
public:
    ContactsSelectDelegate(ContactsSelectViewModel *model, QObject *parent = nullptr);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

    static QPixmap avatarFor(const QModelIndex &index);

private:
    ContactsSelectViewModel *m_model;
};
