// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ContactsSelectDelegate.h"
#include "ContactsSelectViewModel.h"
#include "ContactsSelectView.h"
#include "ContactsSortFilterModel.h"
#include "ContactsTreeModel.h"

#include "avatarmanager.h"
#include "orvlang.h"

#include <QPainter>
#include <QPainterPath>

using namespace OrvEngine;
using Item = ContactsTreeItem;

namespace {

QColor placeholderColor(quint64 id)
{
    static const QColor colors[] = {QColor(0x90A4AE), QColor(0x7986CB), QColor(0x4DB6AC), QColor(0xFFB74D), QColor(0xA1887F)};
    return colors[id % 5];
}

QString headingText(int type, const QString &name)
{
    if (!name.isEmpty())
        return name;
    const QString fixed = Item::itemTypeToString(type);
    if (!fixed.isEmpty())
        return fixed;
    return OrvLang::text(type == Item::SingleUsersZoom ? QStringLiteral("ID_ContactsSelect_SingleUsers")
                                                       : QStringLiteral("ID_ContactsSelect_PublicCourse%1").arg(type));
}

} // namespace

ContactsSelectDelegate::ContactsSelectDelegate(ContactsSelectViewModel *model, QObject *parent)
    : QStyledItemDelegate(parent)
    , m_model(model)
{
}

QPixmap ContactsSelectDelegate::avatarFor(const QModelIndex &index)
{
    const QVariant staff = index.data(ContactsTreeModel::EmployeeAvatarRole);
    if (staff.isValid())
        return staff.value<QPixmap>();
    const auto value = index.data(ContactsTreeModel::ValueRole).value<ClusterID>();
    switch (index.data(ContactsTreeModel::TypeRole).toInt()) {
    case Item::Friend: case Item::Employee: case Item::SchoolEmployee: case Item::SingleUser:
        return AvatarManager::instance().getUserAvatar(value.id());
    case Item::ClassMember:
        return AvatarManager::instance().getUserAvatar(value.id());
    case Item::RecentChat: case Item::Group:
        return value.type() == User ? AvatarManager::instance().getUserAvatar(value.id())
                                    : AvatarManager::instance().getClusterAvatar(value, true);
    default:
        return {};
    }
}

QSize ContactsSelectDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const bool heading = Item::isZoomType(index.data(ContactsTreeModel::TypeRole).toInt());
    return QSize(option.rect.width(), heading ? 30 : 44);
}

void ContactsSelectDelegate::paint(QPainter *p, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    p->save();
    p->setRenderHint(QPainter::Antialiasing);
    const QRect r = option.rect;
    const bool dark = option.palette.color(QPalette::Base).lightness() < 128;
    const QColor text = option.palette.color(QPalette::Text);
    const QColor dim = dark ? QColor(0x8A8F98) : QColor(0x9E9E9E);
    if (option.state & QStyle::State_MouseOver)
        p->fillRect(r, dark ? QColor(0x2C2F36) : QColor(0xF3F6FA));

    const int type = index.data(ContactsTreeModel::TypeRole).toInt();
    const QString name = index.data(ContactsTreeModel::NameRole).toString();
    if (Item::isZoomType(type) && type != Item::ClassZoom) {
        QFont f = option.font;
        f.setBold(true);
        p->setFont(f);
        p->setPen(text);
        const int count = index.model()->rowCount(index);
        p->drawText(r.adjusted(4, 0, -6, 0), Qt::AlignVCenter | Qt::AlignLeft,
                    QStringLiteral("%1  (%2)").arg(headingText(type, name)).arg(count));
        p->restore();
        return;
    }

    const bool pickable = m_model->isPickable(index);
    const bool picked = m_model->isPicked(index);
    const QColor accent(0x1E88E5);
    const int box = 16;
    const QRect boxRect(r.left() + 4, r.center().y() - box / 2, box, box);
    if (type != Item::ClassZoom) {
        p->setPen(QPen(pickable ? accent : dim, 1.5));
        p->setBrush(picked ? (pickable ? accent : dim) : (dark ? QColor(0x1E2024) : Qt::white));
        p->drawRoundedRect(boxRect, 3, 3);
        if (picked) {
            p->setPen(QPen(Qt::white, 2));
            p->drawPolyline(QPolygon({QPoint(boxRect.left() + 4, boxRect.center().y()),
                                      QPoint(boxRect.left() + 7, boxRect.bottom() - 4),
                                      QPoint(boxRect.right() - 3, boxRect.top() + 4)}));
        }
    }

    const QRect avatarRect(boxRect.right() + 10, r.center().y() - 16, 32, 32);
    QPainterPath clip;
    clip.addEllipse(avatarRect);
    const QPixmap avatar = avatarFor(index);
    if (!avatar.isNull()) {
        p->save();
        p->setClipPath(clip);
        p->drawPixmap(avatarRect, avatar.scaled(avatarRect.size(), Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation));
        p->restore();
    } else {
        const auto value = index.data(ContactsTreeModel::ValueRole).value<ClusterID>();
        p->setPen(Qt::NoPen);
        p->setBrush(placeholderColor(value.id()));
        p->drawEllipse(avatarRect);
        p->setPen(Qt::white);
        p->drawText(avatarRect, Qt::AlignCenter, name.left(1));
    }
    if (!pickable) {
        p->setBrush(QColor(255, 255, 255, dark ? 60 : 140));
        p->setPen(Qt::NoPen);
        p->drawEllipse(avatarRect);
    }

    QString sub;
    if (type == Item::Group)
        sub = index.data(ContactsTreeModel::SchoolNameRole).toString();
    if (!pickable && type != Item::ClassZoom)
        sub = OrvLang::text("ID_ContactsSelect_Unavailable");
    const QRect textRect = r.adjusted(avatarRect.right() + 10 - r.left(), 2, -6, -2);
    p->setFont(option.font);
    p->setPen(pickable || type == Item::ClassZoom ? text : dim);
    const QFontMetrics fm(option.font);
    const QString shown = fm.elidedText(name, Qt::ElideRight, textRect.width());
    if (sub.isEmpty()) {
        p->drawText(textRect, Qt::AlignVCenter | Qt::AlignLeft, shown);
    } else {
        p->drawText(textRect.adjusted(0, 0, 0, -textRect.height() / 2), Qt::AlignBottom | Qt::AlignLeft, shown);
        QFont small = option.font;
        small.setPointSizeF(option.font.pointSizeF() * 0.85);
        p->setFont(small);
        p->setPen(dim);
        p->drawText(textRect.adjusted(0, textRect.height() / 2, 0, 0), Qt::AlignTop | Qt::AlignLeft, sub);
    }
    p->restore();
}
