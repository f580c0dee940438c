#include "contactspage.h"
#include "../demopage.h"

#include "ContactsTreeModel.h"
#include "avatarmanager.h"
#include "chatengine.h"
#include "contactsengine.h"
#include "noticeengine.h"

#include <QComboBox>
#include <QDateTime>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeView>
#include <QVBoxLayout>

using namespace OrvEngine;
using Item = ContactsTreeItem;

namespace {
DemoPageRegistrar registrar(QStringLiteral("contacts"), QStringLiteral("Contacts tree"), 10,
                            [](QWidget *parent) { return new ContactsPage(parent); });

QPixmap avatarFor(const QModelIndex &index)
{
    const QVariant staff = index.data(ContactsTreeModel::EmployeeAvatarRole);
    if (staff.isValid())
        return staff.value<QPixmap>();
    const auto value = index.data(ContactsTreeModel::ValueRole).value<ClusterID>();
    switch (index.data(ContactsTreeModel::TypeRole).toInt()) {
    case Item::Friend: case Item::Employee: case Item::SchoolEmployee: case Item::ClassMember: case Item::SingleUser:
        return AvatarManager::instance().getUserAvatar(value.id());
    case Item::RecentChat: case Item::Group:
        return AvatarManager::instance().getClusterAvatar(value, true);
    default:
        return {};
    }
}

QColor placeholderColor(quint64 id)
{
    static const QColor colors[] = {QColor(0x90A4AE), QColor(0x7986CB), QColor(0x4DB6AC), QColor(0xFFB74D), QColor(0xA1887F)};
    return colors[id % 5];
}
} // namespace

QSize ContactsDemoDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const bool zoom = Item::isZoomType(index.data(ContactsTreeModel::TypeRole).toInt());
    return QSize(option.rect.width(), zoom ? 30 : 40);
}

void ContactsDemoDelegate::paint(QPainter *p, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    p->save();
    p->setRenderHint(QPainter::Antialiasing);
    const QRect r = option.rect;
    if (option.state & QStyle::State_Selected)
        p->fillRect(r, QColor(0xE3F2FD));
    else if (option.state & QStyle::State_MouseOver)
        p->fillRect(r, QColor(0xF5F5F5));

    const int type = index.data(ContactsTreeModel::TypeRole).toInt();
    const bool enabled = index.data(ContactsTreeModel::EnableRole).toBool();
    QString name = index.data(ContactsTreeModel::NameRole).toString();
    if (Item::isZoomType(type)) {
        if (name.isEmpty())
            name = Item::itemTypeToString(type);
        if (name.isEmpty())
            name = QStringLiteral("Public course %1").arg(type - 18);
        QFont f = option.font;
        f.setBold(type != Item::SchoolDepartmentZoom && type != Item::DepartmentZoom);
        p->setFont(f);
        p->setPen(QColor(0x37474F));
        const int count = index.data(ContactsTreeModel::ChildCountRole).toInt();
        QString text = name;
        if (type == Item::NewFriendsZoom)
            text += QStringLiteral("  (%1 new)").arg(NoticeEngine::instance()->unreadNoticeCount());
        else
            text += QStringLiteral("  ·  %1").arg(count);
        p->drawText(r.adjusted(6, 0, -6, 0), Qt::AlignVCenter | Qt::AlignLeft, text);
        p->restore();
        return;
    }

    // Check box, avatar, name, and a second line for what kind of entry it is.
    const int checkSize = 16;
    QRect box(r.left() + 6, r.center().y() - checkSize / 2, checkSize, checkSize);
    const auto state = Qt::CheckState(index.data(Qt::CheckStateRole).toInt());
    p->setPen(QPen(enabled ? QColor(0x1E88E5) : QColor(0xBDBDBD), 1.5));
    p->setBrush(state == Qt::Checked ? QColor(0x1E88E5) : Qt::white);
    p->drawRoundedRect(box, 3, 3);
    if (state == Qt::Checked) {
        p->setPen(QPen(Qt::white, 2));
        p->drawPolyline(QPolygon({QPoint(box.left() + 4, box.center().y()), QPoint(box.left() + 7, box.bottom() - 4),
                                  QPoint(box.right() - 3, box.top() + 4)}));
    }

    QRect avatarRect(box.right() + 10, r.top() + 4, 32, 32);
    const QPixmap avatar = avatarFor(index);
    if (!avatar.isNull()) {
        p->drawPixmap(avatarRect, avatar.scaled(avatarRect.size(), Qt::KeepAspectRatio, Qt::SmoothTransformation));
    } else {
        const auto value = index.data(ContactsTreeModel::ValueRole).value<ClusterID>();
        p->setPen(Qt::NoPen);
        p->setBrush(placeholderColor(value.id()));
        p->drawEllipse(avatarRect);
        p->setPen(Qt::white);
        p->drawText(avatarRect, Qt::AlignCenter, name.left(1));
    }

    const QRect textRect = r.adjusted(avatarRect.right() + 10 - r.left(), 3, -6, -3);
    p->setPen(enabled ? QColor(0x212121) : QColor(0x9E9E9E));
    p->setFont(option.font);
    QString sub;
    switch (type) {
    case Item::RecentChat:
        sub = QDateTime::fromSecsSinceEpoch(qint64(static_cast<Item *>(index.internalPointer())->lastMsgTime()))
                  .toString(QStringLiteral("yyyy-MM-dd hh:mm"));
        break;
    case Item::Group:
        sub = index.data(ContactsTreeModel::SchoolNameRole).toString();
        break;
    case Item::Course:
        sub = QStringLiteral("course");
        break;
    default:
        break;
    }
    if (!enabled)
        sub = sub.isEmpty() ? QStringLiteral("unavailable") : sub + QStringLiteral(" · unavailable");
    if (sub.isEmpty()) {
        p->drawText(textRect, Qt::AlignVCenter | Qt::AlignLeft, name);
    } else {
        p->drawText(textRect.adjusted(0, 0, 0, -textRect.height() / 2), Qt::AlignBottom | Qt::AlignLeft, name);
        QFont small = option.font;
        small.setPointSizeF(option.font.pointSizeF() * 0.85);
        p->setFont(small);
        p->setPen(QColor(0x757575));
        p->drawText(textRect.adjusted(0, textRect.height() / 2, 0, 0), Qt::AlignTop | Qt::AlignLeft, sub);
    }
    p->restore();
}

ContactsPage::ContactsPage(QWidget *parent)
    : QWidget(parent)
    , m_model(ContactsTreeModel::instance())
    , m_view(new QTreeView)
    , m_clusters(new QComboBox)
    , m_newName(new QLineEdit)
    , m_sessionUsers(new QComboBox)
    , m_people(new QComboBox)
    , m_log(new QPlainTextEdit)
{
    m_view->setModel(m_model);
    m_view->setItemDelegate(new ContactsDemoDelegate(m_view));
    m_view->header()->hide();
    m_view->setMouseTracking(true);
    m_view->setUniformRowHeights(false);
    m_view->setAnimated(true);
    connect(m_view, &QTreeView::clicked, this, [this](const QModelIndex &index) {
        if (Item::isZoomType(index.data(ContactsTreeModel::TypeRole).toInt()) || !index.data(ContactsTreeModel::ProcessPressRole).toBool())
            return;
        const bool checked = index.data(Qt::CheckStateRole).toInt() == Qt::Checked;
        m_model->setData(index, checked ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole);
    });

    // Rename a cluster (what the engine's cluster-info sync does).
    auto *renameButton = new QPushButton(tr("Rename"));
    connect(renameButton, &QPushButton::clicked, this, [this] {
        const auto id = m_clusters->currentData().value<ClusterID>();
        if (m_newName->text().trimmed().isEmpty())
            return;
        if (id.type() == User)
            ContactsEngine::instance()->setClusterAlias(id, m_newName->text().trimmed());
        else
            ContactsEngine::instance()->renameCluster(id, m_newName->text().trimmed());
        log(QStringLiteral("renamed %1 to %2").arg(id.toString(), m_newName->text().trimmed()));
    });
    // Add (or refresh) a recent chat now.
    auto *sessionButton = new QPushButton(tr("Message now"));
    connect(sessionButton, &QPushButton::clicked, this, [this] {
        const auto id = m_sessionUsers->currentData().value<ClusterID>();
        auto session = std::make_shared<Session>(id, quint32(QDateTime::currentSecsSinceEpoch()));
        auto *chat = ChatEngine::instance();
        if (chat->getSession(id))
            chat->touchSessions({session});
        else
            chat->insertSessions({session});
        log(QStringLiteral("session %1 at %2").arg(id.toString(), QTime::currentTime().toString()));
    });
    // Check a person wherever they stand.
    auto *checkButton = new QPushButton(tr("Check"));
    connect(checkButton, &QPushButton::clicked, this, [this] {
        const auto uid = m_people->currentData().toULongLong();
        const QModelIndex idx = m_model->indexByValue(QModelIndex(), Item::Friend, ClusterID(uid, User));
        std::vector<QModelIndex> places;
        m_model->indexByValue(QModelIndex(), Item::SchoolEmployee, ClusterID(uid, SchoolStaff), places);
        m_model->indexByValue(QModelIndex(), Item::Employee, ClusterID(uid, OrgStaff), places);
        const QModelIndex target = idx.isValid() ? idx : (places.empty() ? QModelIndex() : places.front());
        if (!target.isValid())
            return;
        m_model->setData(target, Qt::Checked, Qt::CheckStateRole);
        log(QStringLiteral("checked %1").arg(target.data(ContactsTreeModel::NameRole).toString()));
    });
    auto *clearButton = new QPushButton(tr("Uncheck all"));
    connect(clearButton, &QPushButton::clicked, m_model, &ContactsTreeModel::resetCheckState);
    auto *expandButton = new QPushButton(tr("Expand all"));
    connect(expandButton, &QPushButton::clicked, m_view, &QTreeView::expandAll);

    auto *panel = new QGroupBox(tr("Engine changes"));
    auto *form = new QFormLayout(panel);
    auto *renameRow = new QHBoxLayout;
    renameRow->addWidget(m_clusters, 1);
    renameRow->addWidget(m_newName, 1);
    renameRow->addWidget(renameButton);
    form->addRow(tr("Cluster"), renameRow);
    auto *sessionRow = new QHBoxLayout;
    sessionRow->addWidget(m_sessionUsers, 1);
    sessionRow->addWidget(sessionButton);
    form->addRow(tr("Chat"), sessionRow);
    auto *checkRow = new QHBoxLayout;
    checkRow->addWidget(m_people, 1);
    checkRow->addWidget(checkButton);
    checkRow->addWidget(clearButton);
    form->addRow(tr("Person"), checkRow);
    form->addRow(QString(), expandButton);
    m_newName->setPlaceholderText(tr("new name"));

    m_log->setReadOnly(true);
    m_log->setMaximumBlockCount(200);
    auto *right = new QVBoxLayout;
    right->addWidget(panel);
    right->addWidget(new QLabel(tr("Model signals")));
    right->addWidget(m_log, 1);

    auto *layout = new QHBoxLayout(this);
    layout->addWidget(m_view, 3);
    layout->addLayout(right, 2);

    connect(m_model, &QAbstractItemModel::modelReset, this, [this] { log(QStringLiteral("modelReset")); });
    connect(m_model, &QAbstractItemModel::layoutChanged, this, [this] { log(QStringLiteral("layoutChanged")); });
    connect(m_model, &QAbstractItemModel::dataChanged, this, [this](const QModelIndex &a) {
        log(QStringLiteral("dataChanged %1").arg(a.data(ContactsTreeModel::NameRole).toString()));
    });
    connect(m_model, &ContactsTreeModel::syncEnd, this, [this] {
        log(QStringLiteral("syncEnd"));
        fillPanels();
        m_view->expandToDepth(0);
        // Show the school with its classes too.
        std::vector<QModelIndex> classes;
        m_model->indexByZoomType(QModelIndex(), Item::ClassZoom, classes);
        if (!classes.empty())
            m_view->expand(classes.front());
    });
    connect(m_model, &QAbstractItemModel::modelReset, m_view, [this] { m_view->expandToDepth(0); });
}

void ContactsPage::fillPanels()
{
    m_clusters->clear();
    m_sessionUsers->clear();
    m_people->clear();
    auto *contacts = ContactsEngine::instance();
    for (const auto &c : contacts->getClusterInfos()) {
        QString label = c->name();
        if (c->id().type() == User) {
            const auto u = contacts->getUserInfo(c->id().id());
            label = u ? u->displayName() : c->id().toString();
            m_people->addItem(label, c->id().id());
        }
        m_clusters->addItem(label, QVariant::fromValue(c->id()));
        m_sessionUsers->addItem(label, QVariant::fromValue(c->id()));
    }
}

void ContactsPage::log(const QString &line)
{
    m_log->appendPlainText(QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz ")) + line);
}
