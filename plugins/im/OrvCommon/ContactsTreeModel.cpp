#include "ContactsTreeModel.h"
#include "orvcommon_logging.h"

#include "avatarmanager.h"
#include "chatengine.h"
#include "contactsengine.h"
#include "courseengine.h"
#include "noticeengine.h"
#include "orgchartmanager.h"
#include "schoolchartmanager.h"

#include <QPixmap>
#include <QSet>
#include <QSortFilterProxyModel>
#include <algorithm>
#include <climits>
#include <map>

using namespace OrvEngine;
using Item = ContactsTreeItem;

ContactsTreeModel *ContactsTreeModel::m_instance = nullptr;

uint qHash(const ContactsTreeModel::ChildKey &key, uint seed)
{
    return ::qHash(key.value.id(), seed) ^ (uint(key.type) << 8) ^ uint(key.value.type());
}

// Brackets a batch of changes with one model reset; nested scopes join the outer one.
class ContactsTreeModel::ResetScope
{
public:
    explicit ResetScope(ContactsTreeModel *m) : m_model(m)
    {
        if (m_model->m_resetDepth++ == 0)
            m_model->beginResetModel();
    }
    ~ResetScope()
    {
        if (--m_model->m_resetDepth == 0) {
            m_model->m_childIndex.clear();
            m_model->endResetModel();
            if (m_model->m_pendingSyncEnd) {
                m_model->m_pendingSyncEnd = false;
                Q_EMIT m_model->syncEnd();
            }
        }
    }

private:
    ContactsTreeModel *m_model;
};

namespace {

enum class Walk { Descend, Skip, Stop };

bool isPersonType(int type)
{
    return type == Item::Friend || type == Item::Employee || type == Item::SchoolEmployee;
}

// The headings made with the model (and the ad-hoc list's, once made).
bool isFixedHeading(const Item *node)
{
    const Item *parent = node->parentItem();
    if (!parent)
        return true;
    switch (node->type()) {
    case Item::RecentZoom: case Item::NewFriendsZoom: case Item::MyGroupsZoom: case Item::MyFriendsZoom:
    case Item::PublicCourseZoom: case Item::SingleUsersZoom:
        return parent->type() == Item::Root;
    case Item::PublicCourseSubZoom19: case Item::PublicCourseSubZoom20: case Item::PublicCourseSubZoom21:
        return parent->type() == Item::PublicCourseZoom;
    default:
        return false;
    }
}

// Nodes that stand for a cluster of the contacts engine, the only ones a cluster's removal takes away.
bool isClusterNode(int type)
{
    return type == Item::Friend || type == Item::Group || type == Item::RecentChat || type == Item::ClassZoom;
}

std::vector<SnapshotLessonPtr> getValidLesson(const std::vector<SnapshotLessonPtr> &lessons)
{
    std::vector<SnapshotLessonPtr> out;
    for (const auto &l : lessons) {
        if (l && l->roleValid())
            out.push_back(l);
    }
    return out;
}

bool isSingleLesson(const SnapshotCoursePtr &course)
{
    return course && (course->kind() == SnapshotCourse::SingleOpen || course->kind() == SnapshotCourse::Trial);
}

bool isUnknowLesson(const std::vector<SnapshotLessonPtr> &lessons)
{
    if (lessons.empty())
        return false;
    const bool anyFirst = std::any_of(lessons.begin(), lessons.end(), [](const SnapshotLessonPtr &l) { return l->isFirst(); });
    return !anyFirst && lessons.front()->state() == SnapshotLesson::Unscheduled;
}

// True when no id is listed twice; sorts ids.
bool allDistinct(std::vector<quint64> &ids)
{
    std::sort(ids.begin(), ids.end());
    return std::adjacent_find(ids.begin(), ids.end()) == ids.end();
}

// Sorted copies for membership tests on long lists.
template<typename T>
std::vector<T> sortedCopy(std::vector<T> v)
{
    std::sort(v.begin(), v.end());
    return v;
}

template<typename T>
bool contains(const std::vector<T> &sorted, const T &value)
{
    return std::binary_search(sorted.begin(), sorted.end(), value);
}

} // namespace

template<typename Fn>
void ContactsTreeModel::walk(ContactsTreeItem *from, Fn &&fn) const
{
    // Depth first, children in order; the starting node itself is not visited.
    std::vector<std::pair<ContactsTreeItem *, int>> stack;
    stack.emplace_back(from, 0);
    while (!stack.empty()) {
        auto &[node, next] = stack.back();
        if (next >= node->childCount()) {
            stack.pop_back();
            continue;
        }
        ContactsTreeItem *c = node->childItem(next++);
        switch (fn(c)) {
        case Walk::Stop:
            return;
        case Walk::Skip:
            break;
        case Walk::Descend:
            if (c->childCount() > 0)
                stack.emplace_back(c, 0);
            break;
        }
    }
}

ContactsTreeModel *ContactsTreeModel::instance()
{
    if (!m_instance)
        m_instance = new ContactsTreeModel;
    return m_instance;
}

void ContactsTreeModel::release()
{
    if (m_instance) {
        m_instance->deleteLater();
        m_instance = nullptr;
    }
}

ContactsTreeModel::ContactsTreeModel(QObject *parent)
    : AbstractTreeModel(parent)
{
    init();
}

ContactsTreeModel::~ContactsTreeModel()
{
    if (m_instance == this)
        m_instance = nullptr;
}

void ContactsTreeModel::init()
{
    registerMetaTypes();
    setRoot(new Item(Item::Root, ClusterID()));

    auto *contacts = ContactsEngine::instance();
    connect(contacts, &ContactsEngine::signalAddCluster, this, &ContactsTreeModel::onAddCluster, Qt::DirectConnection);
    connect(contacts, &ContactsEngine::signalDelCluster, this, &ContactsTreeModel::onDelCluster, Qt::DirectConnection);
    connect(contacts, &ContactsEngine::updateClusterInfo, this, &ContactsTreeModel::onUpdateClusterInfo, Qt::DirectConnection);
    connect(contacts, &ContactsEngine::updateClusterSetting, this, &ContactsTreeModel::onUpdateClusterInfo, Qt::DirectConnection);
    connect(contacts, &ContactsEngine::updateClusterInformation, this, &ContactsTreeModel::onUpdateClusterInfo, Qt::DirectConnection);
    connect(contacts, &ContactsEngine::updateClusterMemberNicknames, this, &ContactsTreeModel::onUpdateClusterMemberNicknames, Qt::DirectConnection);
    connect(contacts, &ContactsEngine::syncAllComplete, this, &ContactsTreeModel::onClusterSyncComplete, Qt::DirectConnection);
    connect(contacts, &ContactsEngine::addClusterMember, this, &ContactsTreeModel::onUpdateClusterMember, Qt::DirectConnection);
    connect(contacts, &ContactsEngine::deleteClusterMember, this, &ContactsTreeModel::onUpdateClusterMember, Qt::DirectConnection);
    connect(contacts, &ContactsEngine::updateClusterMemberInfo, this, &ContactsTreeModel::onUpdateClusterMember, Qt::DirectConnection);
    connect(contacts, &ContactsEngine::updateUserInfo, this, &ContactsTreeModel::onUpdateUserInfo, Qt::DirectConnection);

    auto *avatars = &AvatarManager::instance();
    connect(avatars, &AvatarManager::userAvatarChanged, this, &ContactsTreeModel::onUserAvatarChanged, Qt::DirectConnection);
    connect(avatars, &AvatarManager::clusterAvatarChanged, this, &ContactsTreeModel::onClusterAvatarChanged, Qt::DirectConnection);

    auto *courses = CourseEngine::instance();
    connect(courses, &CourseEngine::signalSnapshotCompleted, this, &ContactsTreeModel::onSnapshotCompleted, Qt::DirectConnection);
    connect(courses, &CourseEngine::signalCourseAdded, this, &ContactsTreeModel::onCourseAdded, Qt::DirectConnection);
    connect(courses, &CourseEngine::signalRemoveCourse, this, &ContactsTreeModel::onRemoveCourse, Qt::DirectConnection);
    for (auto signal : {&CourseEngine::signalLessonAdded, &CourseEngine::signalRemoveLesson, &CourseEngine::signalLessonRoleInvalid,
                        &CourseEngine::signalLessonInfoChanged, &CourseEngine::signalLessonPrepare, &CourseEngine::signalLessonStart,
                        &CourseEngine::signalLessonEnd}) {
        connect(courses, signal, this, &ContactsTreeModel::onLessonChanged, Qt::DirectConnection);
    }
    connect(courses, &CourseEngine::signalLessonsInfoChanged, this, &ContactsTreeModel::onLessonsChanged, Qt::DirectConnection);
    connect(courses, &CourseEngine::signalCourseNameChanged, this, &ContactsTreeModel::onCourseNameChanged, Qt::DirectConnection);
    connect(courses, &CourseEngine::signalSchoolInfoChanged, this, &ContactsTreeModel::onSchoolInfoChanged, Qt::DirectConnection);

    connect(NoticeEngine::instance(), &NoticeEngine::updateUnreadNoticeCount, this, &ContactsTreeModel::onUpdateUnreadNoticeCount,
            Qt::DirectConnection);

    auto *schoolChart = SchoolChartManager::instance();
    connect(schoolChart, &SchoolChartManager::syncComplete, this, &ContactsTreeModel::onSchoolChartSyncComplete, Qt::DirectConnection);
    connect(schoolChart, &SchoolChartManager::avatarSyncComplete, this, &ContactsTreeModel::onSchoolChartAvatarSyncComplete,
            Qt::DirectConnection);

    // Companies come from the organisation chart's own sync signals.
    auto *orgChart = OrgChartManager::instance();
    connect(orgChart, &OrgChartManager::allOrgSyncComplete, this, &ContactsTreeModel::onAllOrgSyncComplete, Qt::DirectConnection);
    connect(orgChart, &OrgChartManager::schoolSyncComplete, this, &ContactsTreeModel::onSchoolSyncComplete, Qt::DirectConnection);

    auto *chat = ChatEngine::instance();
    connect(chat, &ChatEngine::updateSessions, this, &ContactsTreeModel::onUpdateSessions,
            Qt::DirectConnection);
    connect(chat, &ChatEngine::deleteSessions, this, &ContactsTreeModel::onDeleteSessions,
            Qt::DirectConnection);
    connect(chat, &ChatEngine::addSessions, this, &ContactsTreeModel::onAddSessions,
            Qt::DirectConnection);

    m_schoolChartSyncedAtInit = schoolChart->hasSendedSyncComplete();

    for (Item::ItemType t : {Item::RecentZoom, Item::NewFriendsZoom, Item::MyGroupsZoom, Item::MyFriendsZoom, Item::PublicCourseZoom})
        addNoUpdate(t, ClusterID(quint64(t), Local), QString(), QModelIndex());
    const QModelIndex publicCourse = indexFromItem(zoom(Item::PublicCourseZoom));
    for (Item::ItemType t : {Item::PublicCourseSubZoom20, Item::PublicCourseSubZoom19, Item::PublicCourseSubZoom21})
        addNoUpdate(t, ClusterID(quint64(t), Local), QString(), publicCourse);

    QMetaObject::invokeMethod(this, &ContactsTreeModel::onInitComplete, Qt::QueuedConnection);
}

// ---------------------------------------------------------------------------------------------
// Model interface

int ContactsTreeModel::columnCount(const QModelIndex &) const
{
    return 1;
}

Qt::ItemFlags ContactsTreeModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return AbstractTreeModel::flags(index);
}

QVariant ContactsTreeModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole)
        return QStringLiteral("Column %1").arg(section);
    return AbstractTreeModel::headerData(section, orientation, role);
}

QVariant ContactsTreeModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const Item *node = item(index);
    switch (role) {
    case Qt::CheckStateRole:
        return int(node->checkState());
    case ValueRole:
        return node->value();
    case ChildCountRole:
        return node->childCount();
    case TypeRole:
        return int(node->type());
    case EnableRole:
        return !node->isForceDisable() && node->isEnable();
    case NameRole:
        return node->name();
    case SchoolNameRole: {
        if (node->type() != Item::Group)
            return {};
        const auto cluster = ContactsEngine::instance()->getClusterInfo(node->value());
        const quint64 sid = cluster ? cluster->schoolId() : CourseEngine::instance()->getSchoolIdOfCourse(node->value().id());
        const auto school = CourseEngine::instance()->getSchoolInfo(sid, false);
        if (school && school->serviceType() != 2)
            return school->name();
        return {};
    }
    case SchoolIdRole:
        return node->schoolId();
    case EmployeeAvatarRole: {
        const auto employee = SchoolChartManager::instance()->findEmployeeInfo(node->value().id(), node->schoolId());
        if (employee && !employee->avatar().isNull())
            return employee->avatar();
        return {};
    }
    case PermissionRole:
        return node->permission();
    case ProcessPressRole:
        return node->isProcessPressEvent();
    case ForceDisableRole:
        return node->isForceDisable();
    default:
        return {};
    }
}

bool ContactsTreeModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() && role != RefreshRole)
        return false;
    if (role != Qt::CheckStateRole && role < ValueRole)
        return false;

    if (role == Qt::CheckStateRole) {
        Item *node = item(index);
        const auto state = Qt::CheckState(value.toInt());
        if (!isPersonType(node->type())) {
            node->setCheckState(state);
            node->setPermission(Item::defaultPermission());
            Q_EMIT dataChanged(index, index);
            return true;
        }
        // The same person can stand under friends, companies and schools: one check is all of them.
        const quint64 uid = node->value().id();
        std::vector<Item *> targets{node};
        if (ContactsEngine::instance()->isFriendValid(uid)) {
            if (Item *friends = zoom(Item::MyFriendsZoom)) {
                if (Item *f = friends->childByValue(ClusterID(uid, User)); f && f != node && f->type() == Item::Friend)
                    targets.push_back(f);
            }
        }
        for (int i = 0; i < rootItem()->childCount(); ++i) {
            Item *top = rootItem()->childItem(i);
            Item::ItemType wanted;
            if (top->type() == Item::SchoolZoom)
                wanted = Item::SchoolEmployee;
            else if (top->type() == Item::CompanyZoom)
                wanted = Item::Employee;
            else
                continue;
            walk(top, [&](Item *c) {
                if (c->type() == Item::ClassZoom)
                    return Walk::Skip; // people of a class are members, never staff
                if (c->type() == wanted && c->value().id() == uid && c != node)
                    targets.push_back(c);
                return Walk::Descend;
            });
        }
        for (Item *t : targets) {
            t->setCheckState(state);
            t->setPermission(Item::defaultPermission());
            emitChanged(t);
        }
        return true;
    }

    if (role == PermissionRole) {
        item(index)->setPermission(value.toInt());
        Q_EMIT dataChanged(index, index, {Qt::CheckStateRole, Qt::DisplayRole});
        return true;
    }

    if (role == RefreshRole) {
        if (index.isValid() && item(index)->childCount() == 0) {
            Q_EMIT dataChanged(index, index, {Qt::CheckStateRole, Qt::DisplayRole});
        } else {
            beginResetModel();
            endResetModel();
        }
        return true;
    }
    return false;
}

void ContactsTreeModel::setSortFilterModel(QSortFilterProxyModel *model)
{
    m_sortFilterModel = model;
}

QSortFilterProxyModel *ContactsTreeModel::sortFilterModel() const
{
    return m_sortFilterModel.data();
}

// ---------------------------------------------------------------------------------------------
// Tree helpers

Item *ContactsTreeModel::zoom(Item::ItemType type) const
{
    Item *r = rootItem();
    for (int i = 0; i < r->childCount(); ++i) {
        if (r->childItem(i)->type() == type)
            return r->childItem(i);
    }
    return nullptr;
}

Item *ContactsTreeModel::findChild(Item *parent, Item::ItemType type, const ClusterID &value)
{
    constexpr int kIndexFrom = 128;
    if (m_resetDepth > 0 && parent->childCount() >= kIndexFrom) {
        auto it = m_childIndex.find(parent);
        if (it == m_childIndex.end()) {
            it = m_childIndex.insert(parent, {});
            it->reserve(parent->childCount() * 2);
            for (int i = 0; i < parent->childCount(); ++i) {
                Item *c = parent->childItem(i);
                it->insert(ChildKey{c->type(), c->value()}, c); // later duplicates never exist
            }
        }
        return it->value(ChildKey{type, value});
    }
    for (int i = 0; i < parent->childCount(); ++i) {
        Item *c = parent->childItem(i);
        if (c->type() == type && c->value() == value)
            return c;
    }
    return nullptr;
}

Item *ContactsTreeModel::addItem(Item *parent, Item::ItemType type, const ClusterID &value, const QString &name, quint32 lastMsgTime)
{
    if (Item *existing = findChild(parent, type, value))
        return existing;
    return appendItem(parent, type, value, name, lastMsgTime);
}

Item *ContactsTreeModel::appendItem(Item *parent, Item::ItemType type, const ClusterID &value, const QString &name,
                                    quint32 lastMsgTime)
{
    auto *node = new Item(type, value, parent);
    node->setLastMsgTime(lastMsgTime);
    node->setName(name);
    const auto it = m_childIndex.find(parent);
    if (it != m_childIndex.end())
        it->insert(ChildKey{type, value}, node);
    return node;
}

QModelIndex ContactsTreeModel::addNoUpdate(Item::ItemType type, const ClusterID &value, const QString &name,
                                           const QModelIndex &parent, quint32 lastMsgTime)
{
    return indexFromItem(addItem(item(parent), type, value, name, lastMsgTime));
}

void ContactsTreeModel::removeItem(Item *node)
{
    // The headings live as long as the model; every slot may count on finding them.
    if (isFixedHeading(node)) {
        qCWarning(lcContacts) << "refused to remove the heading" << node->type();
        return;
    }
    if (!m_childIndex.isEmpty()) {
        m_childIndex.remove(node->parentItem());
        m_childIndex.remove(node);
        walk(node, [this](Item *c) {
            m_childIndex.remove(c);
            return Walk::Descend;
        });
    }
    node->parentItem()->removeChild(node);
}

void ContactsTreeModel::clearChildren(Item *node)
{
    if (!m_childIndex.isEmpty()) {
        m_childIndex.remove(node);
        walk(node, [this](Item *c) {
            m_childIndex.remove(c);
            return Walk::Descend;
        });
    }
    node->removeChild();
}

void ContactsTreeModel::emitChanged(Item *node, const QVector<int> &roles)
{
    const QModelIndex idx = indexFromItem(node);
    if (idx.isValid())
        Q_EMIT dataChanged(idx, idx, roles);
}

bool ContactsTreeModel::isUserGone(quint64 uid) const
{
    return !ContactsEngine::instance()->isUserValid(uid);
}

// Re-sorts the children of the given parents outside a reset, as one layout change.
void ContactsTreeModel::sortWithLayout(const std::vector<Item *> &parents)
{
    std::vector<Item *> dirty;
    for (Item *p : parents) {
        if (p && !p->isChildOrderValid() && std::find(dirty.begin(), dirty.end(), p) == dirty.end())
            dirty.push_back(p);
    }
    if (dirty.empty())
        return;
    QList<QPersistentModelIndex> hint;
    for (Item *p : dirty)
        hint << QPersistentModelIndex(indexFromItem(p));
    Q_EMIT layoutAboutToBeChanged(hint, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    for (Item *p : dirty)
        p->sortChildren();
    QModelIndexList after;
    after.reserve(before.size());
    for (const QModelIndex &idx : before) {
        auto *node = static_cast<Item *>(idx.internalPointer());
        after << createIndex(node->row(), idx.column(), node);
    }
    changePersistentIndexList(before, after);
    Q_EMIT layoutChanged(hint, QAbstractItemModel::VerticalSortHint);
}

// ---------------------------------------------------------------------------------------------
// Lookups

QModelIndex ContactsTreeModel::indexByValue(const QModelIndex &parent, Item::ItemType type, const ClusterID &value) const
{
    Item *found = nullptr;
    walk(item(parent), [&](Item *c) {
        if (c->type() == type && c->value().id() == value.id()) {
            found = c;
            return Walk::Stop;
        }
        return Walk::Descend;
    });
    return indexFromItem(found);
}

void ContactsTreeModel::indexByValue(const QModelIndex &parent, Item::ItemType type, const ClusterID &value,
                                     std::vector<QModelIndex> &out) const
{
    walk(item(parent), [&](Item *c) {
        if (c->type() == type && c->value().id() == value.id())
            out.push_back(indexFromItem(c));
        return Walk::Descend;
    });
}

void ContactsTreeModel::indexByValue(const QModelIndex &parent, const std::vector<quint64> &ids, std::vector<QModelIndex> &out) const
{
    const auto sorted = sortedCopy(ids);
    walk(item(parent), [&](Item *c) {
        if (contains(sorted, c->value().id()))
            out.push_back(indexFromItem(c));
        return Walk::Descend;
    });
}

void ContactsTreeModel::indexByValue(const QModelIndex &parent, const std::vector<ClusterID> &values,
                                     std::vector<QModelIndex> &out, bool contactsOnly) const
{
    const auto sorted = sortedCopy(values);
    walk(item(parent), [&](Item *c) {
        if (contactsOnly && c->type() == Item::RecentZoom)
            return Walk::Skip;
        if (contains(sorted, c->value()))
            out.push_back(indexFromItem(c));
        return Walk::Descend;
    });
}

void ContactsTreeModel::remainsByValue(const QModelIndex &parent, std::vector<ClusterID> &values,
                                       std::vector<QModelIndex> &out, bool contactsOnly) const
{
    const size_t first = out.size();
    indexByValue(parent, values, out, contactsOnly);
    std::vector<ClusterID> found;
    for (size_t i = first; i < out.size(); ++i)
        found.push_back(item(out[i])->value());
    std::sort(found.begin(), found.end());
    values.erase(std::remove_if(values.begin(), values.end(), [&](const ClusterID &v) { return contains(found, v); }),
                 values.end());
}

void ContactsTreeModel::indexByZoomType(const QModelIndex &parent, Item::ItemType type, std::vector<QModelIndex> &out) const
{
    walk(item(parent), [&](Item *c) {
        if (c->type() == type)
            out.push_back(indexFromItem(c));
        return Walk::Descend;
    });
}

void ContactsTreeModel::enumCheckedByValue(const QModelIndex &parent, const std::vector<ClusterID> &values,
                                           std::vector<QModelIndex> &out) const
{
    const auto sorted = sortedCopy(values);
    walk(item(parent), [&](Item *c) {
        if (c->checkState() == Qt::Checked && contains(sorted, c->value()))
            out.push_back(indexFromItem(c));
        return Walk::Descend;
    });
}

void ContactsTreeModel::setCheckedItems(const QModelIndex &parent, const QList<ClusterID> &values)
{
    const auto sorted = sortedCopy(std::vector<ClusterID>(values.begin(), values.end()));
    walk(item(parent), [&](Item *c) {
        if (c->checkState() != Qt::Checked && contains(sorted, c->value())) {
            c->setCheckState(Qt::Checked);
            c->setPermission(Item::defaultPermission());
            emitChanged(c);
        }
        return Walk::Descend;
    });
}

void ContactsTreeModel::setDisableItems(const QList<ClusterID> &values)
{
    const auto sorted = sortedCopy(std::vector<ClusterID>(values.begin(), values.end()));
    walk(rootItem(), [&](Item *c) {
        if (!c->isForceDisable() && contains(sorted, c->value())) {
            c->setIsForceDisable(true);
            emitChanged(c);
        }
        return Walk::Descend;
    });
}

void ContactsTreeModel::resetCheckState()
{
    walk(rootItem(), [&](Item *c) {
        if (c->checkState() != Qt::Unchecked) {
            c->setCheckState(Qt::Unchecked);
            emitChanged(c, {Qt::CheckStateRole});
        }
        return Walk::Descend;
    });
}

void ContactsTreeModel::resetEnableState()
{
    walk(rootItem(), [&](Item *c) {
        if (c->isForceDisable() || !c->isEnable()) {
            c->setIsForceDisable(false);
            emitChanged(c);
        }
        return Walk::Descend;
    });
}

void ContactsTreeModel::resetLatestChats()
{
    walk(rootItem(), [&](Item *c) {
        c->setLatestChat(false);
        return Walk::Descend;
    });
}

void ContactsTreeModel::fillSingleUsers(const std::vector<quint64> &uids, const ClusterInfoPtr &namesFrom)
{
    ResetScope reset(this);
    Item *heading = zoom(Item::SingleUsersZoom);
    if (!heading)
        heading = addItem(rootItem(), Item::SingleUsersZoom, ClusterID(Item::SingleUsersZoom, Local), QString());
    clearChildren(heading);
    auto *contacts = ContactsEngine::instance();
    for (quint64 uid : uids) {
        const auto user = contacts->getUserInfo(uid);
        QString name = user ? user->displayName() : QString();
        if (namesFrom) {
            if (const auto member = namesFrom->getMember(uid); member && !member->nickname().isEmpty())
                name = member->nickname();
        }
        Item *node = addItem(heading, Item::SingleUser, ClusterID(uid, OrgStaff), name);
        node->setUid(uid);
        node->setIsForceDisable(!user);
    }
    heading->sortChanged();
    rootItem()->sortChildren();
}

void ContactsTreeModel::setSingleUsers(std::vector<quint64> uids)
{
    fillSingleUsers(uids, nullptr);
}

void ContactsTreeModel::setSingleUsers(std::vector<quint64> uids, ClusterID &cluster)
{
    QStringList list;
    for (quint64 uid : uids)
        list << QString::number(uid);
    qCInfo(lcContacts).noquote() << "get cluster member nickname, gid" << cluster.toString() << "users:" << list.join(QLatin1Char(','));
    fillSingleUsers(uids, ContactsEngine::instance()->getClusterInfo(cluster));
}

void ContactsTreeModel::clearSingleUsers()
{
    ResetScope reset(this);
    if (Item *heading = zoom(Item::SingleUsersZoom))
        clearChildren(heading);
}

// ---------------------------------------------------------------------------------------------
// Building

void ContactsTreeModel::addSession(Item *recent, const SessionPtr &session)
{
    if (!session)
        return;
    const ClusterID id = session->clusterID();
    if (id.isUnknowType() || id.type() == Assistant || id.type() == Unlisted)
        return;
    auto *contacts = ContactsEngine::instance();
    if (id.type() == User) {
        const auto user = contacts->getUserInfo(id.id());
        if (!user)
            return;
        Item *node = addItem(recent, Item::RecentChat, id, user->displayName(), session->msgTime());
        node->setLastMsgTime(session->msgTime());
        node->setUid(user->uid());
        node->setIsForceDisable(isUserGone(user->uid()));
        return;
    }
    const auto cluster = contacts->getClusterInfo(id);
    if (!cluster)
        return;
    Item *node = addItem(recent, Item::RecentChat, id, cluster->name(), session->msgTime());
    node->setLastMsgTime(session->msgTime());
}

bool ContactsTreeModel::isHiddenCourse(quint64 courseId) const
{
    auto *engine = CourseEngine::instance();
    const auto course = engine->getSnapshotCourse(courseId);
    if (!course)
        return false;
    const auto lessons = getValidLesson(engine->getLessons(course->schoolId(), courseId));
    return isSingleLesson(course) || isUnknowLesson(lessons);
}

Item *ContactsTreeModel::placeCourse(Item *groups, quint64 courseId, const QString &name)
{
    // A course whose class chat is listed is that chat: one node per value under groups.
    const ClusterID value(courseId, Class);
    if (findChild(groups, Item::Group, value))
        return nullptr;
    return addItem(groups, Item::Course, value, name);
}

void ContactsTreeModel::addCourses()
{
    Item *groups = zoom(Item::MyGroupsZoom);
    for (const auto &course : CourseEngine::instance()->getSnapshotCourses()) {
        if (course && !isHiddenCourse(course->courseId()))
            placeCourse(groups, course->courseId(), course->name());
    }
}

void ContactsTreeModel::addCluster(const ClusterInfoPtr &cluster)
{
    if (!cluster)
        return;
    const ClusterID id = cluster->id();
    if (id.isUnknowType() || id.type() == Assistant || id.type() == Unlisted || id.type() == Local)
        return;
    auto *contacts = ContactsEngine::instance();
    if (id.type() == User) {
        Item *friends = zoom(Item::MyFriendsZoom);
        const auto user = contacts->getUserInfo(id.id());
        Item *node = addItem(friends, Item::Friend, id, user ? user->displayName() : QString());
        node->setUid(id.id());
        node->setIsForceDisable(!contacts->isFriendValid(id.id()));
        return;
    }
    if (id.type() == Class && isHiddenCourse(id.id()))
        return;
    Item *groups = zoom(Item::MyGroupsZoom);
    if (Item *course = findChild(groups, Item::Course, id))
        removeItem(course);
    addItem(groups, Item::Group, id, cluster->name());
}

void ContactsTreeModel::onInitComplete()
{
    ResetScope reset(this);
    Item *recent = zoom(Item::RecentZoom);
    Item *groups = zoom(Item::MyGroupsZoom);
    Item *friends = zoom(Item::MyFriendsZoom);
    clearChildren(friends);
    clearChildren(groups);
    clearChildren(recent);

    for (const auto &session : ChatEngine::instance()->getSessions())
        addSession(recent, session);
    addCourses();
    for (const auto &cluster : ContactsEngine::instance()->getClusterInfos())
        addCluster(cluster);

    if (m_schoolChartSyncedAtInit)
        onSchoolChartSyncComplete();
    if (OrgChartManager::instance()->hasSyncedAll())
        onAllOrgSyncComplete();
    rootItem()->sortChanged();
}

void ContactsTreeModel::checkSyncFlag(quint32 flag)
{
    if (m_syncMask == (ClusterSync | SchoolChartSync))
        return;
    m_syncMask |= flag;
    if (m_syncMask != (ClusterSync | SchoolChartSync))
        return;
    // The caller of flag 2 already holds a reset and sorts after us.
    ResetScope reset(this);
    for (const auto &cluster : ContactsEngine::instance()->getClusterInfos())
        updateAClass(cluster);
    if (flag != SchoolChartSync)
        rootItem()->sortChanged();
    m_pendingSyncEnd = true;
}

void ContactsTreeModel::updateAClass(const ClusterInfoPtr &cluster)
{
    if (!cluster || cluster->id().type() == User || cluster->courseType() != 7)
        return;
    Item *school = findChild(rootItem(), Item::SchoolZoom, ClusterID(cluster->schoolId(), Local));
    if (!school)
        return;
    auto *contacts = ContactsEngine::instance();
    const quint64 me = contacts->currentUid();
    const auto self = cluster->getMember(me);
    Item *classNode = findChild(school, Item::ClassZoom, cluster->id());
    if (!cluster->isValid(me)
        || (self->lessonIdentity() != LessonIdentity::Teacher && self->lessonIdentity() != LessonIdentity::Assistant)) {
        if (classNode)
            removeItem(classNode);
        return;
    }
    if (classNode) {
        classNode->setName(cluster->name());
        clearChildren(classNode);
    } else {
        classNode = addItem(school, Item::ClassZoom, cluster->id(), cluster->name());
        classNode->setSortNum(INT_MAX);
    }
    auto members = cluster->vaildMmembers();
    ClusterInfo::sortMembers(members, me);
    // An empty class node and members listed once each: no member needs looking for first.
    std::vector<quint64> uids;
    uids.reserve(members.size());
    for (const auto &member : members)
        uids.push_back(member->id());
    const bool fresh = classNode->childCount() == 0 && allDistinct(uids);
    classNode->refChildren().reserve(int(members.size()));
    for (const auto &member : members) {
        QString name = member->nickname();
        if (name.isEmpty()) {
            if (const auto user = contacts->getUserInfo(member->id()))
                name = user->displayName();
            else
                qCInfo(lcContacts) << "can not find user info:" << member->id();
        }
        const ClusterID value(member->id(), Local);
        Item *node = fresh ? appendItem(classNode, Item::ClassMember, value, name) : addItem(classNode, Item::ClassMember, value, name);
        node->setSchoolId(cluster->id().id());
        node->setUid(member->id());
        node->setIsForceDisable(member->memberStatus() != MemberStatus::Normal);
    }
}

// Places a unit's staff and department tree below parent, depth first. Each department is
// placed once per unit: a chart that lists a department inside itself, inside one of its own
// sub-departments or twice is shown without the repeats, which are logged.
template<typename Chart>
void ContactsTreeModel::insertChart(Chart *chart, quint64 unitId, quint64 departmentId, Item *parent,
                                    Item::ItemType departmentType, Item::ItemType staffType, ClusterType staffKind)
{
    using Departments = decltype(chart->getDepartmentInfos(unitId, departmentId));
    struct Level {
        Item *item;
        Departments subs;
        size_t next;
    };
    QSet<quint64> placed{departmentId};
    std::vector<quint64> uids;
    auto open = [&](quint64 did, Item *item) {
        const auto employees = chart->getEmployeeInfos(unitId, did);
        Departments subs = chart->getDepartmentInfos(unitId, did);
        // An empty node and staff listed once each: no one needs looking for first.
        uids.clear();
        for (const auto &e : employees) {
            if (e)
                uids.push_back(e->uid());
        }
        const bool fresh = item->childCount() == 0 && allDistinct(uids);
        item->refChildren().reserve(item->childCount() + int(uids.size() + subs.size()));
        for (const auto &e : employees) {
            if (!e)
                continue;
            const ClusterID value(e->uid(), staffKind);
            Item *node = fresh ? appendItem(item, staffType, value, e->name()) : addItem(item, staffType, value, e->name());
            node->setUid(e->uid());
            node->setSchoolId(unitId);
        }
        return Level{item, std::move(subs), 0};
    };
    std::vector<Level> stack;
    stack.push_back(open(departmentId, parent));
    while (!stack.empty()) {
        Level &level = stack.back();
        if (level.next >= level.subs.size()) {
            stack.pop_back();
            continue;
        }
        const auto d = level.subs[level.next++];
        if (!d)
            continue;
        if (placed.contains(d->id())) {
            qCWarning(lcContacts) << "department listed again in the chart of" << unitId << "skipped:" << d->id()
                                  << d->name();
            continue;
        }
        placed.insert(d->id());
        Item *dept = addItem(level.item, departmentType, ClusterID(d->id(), Local), d->name());
        dept->setSortNum(d->order());
        dept->setSchoolId(unitId);
        stack.push_back(open(d->id(), dept)); // level is not used past this point
    }
}

void ContactsTreeModel::insertDepts(quint64, quint64 companyId, quint64 departmentId, Item *parent)
{
    insertChart(OrgChartManager::instance(), companyId, departmentId, parent, Item::DepartmentZoom, Item::Employee, OrgStaff);
}

void ContactsTreeModel::insertSchoolDepts(quint64, quint64 schoolId, quint64 departmentId, Item *parent)
{
    insertChart(SchoolChartManager::instance(), schoolId, departmentId, parent, Item::SchoolDepartmentZoom,
                Item::SchoolEmployee, SchoolStaff);
}

void ContactsTreeModel::clearOtherCompanyZoom(const std::vector<quint64> &keep)
{
    Item *r = rootItem();
    for (int i = r->childCount() - 1; i >= 0; --i) {
        Item *c = r->childItem(i);
        if (c->type() == Item::CompanyZoom && std::find(keep.begin(), keep.end(), c->value().id()) == keep.end())
            removeItem(c);
    }
}

void ContactsTreeModel::clearOtherSchoolZoom(const std::vector<quint64> &keep)
{
    Item *r = rootItem();
    for (int i = r->childCount() - 1; i >= 0; --i) {
        Item *c = r->childItem(i);
        if (c->type() == Item::SchoolZoom && std::find(keep.begin(), keep.end(), c->value().id()) == keep.end())
            removeItem(c);
    }
}

void ContactsTreeModel::rebuildCompany(quint64 companyId, const QString &name)
{
    Item *company = addItem(rootItem(), Item::CompanyZoom, ClusterID(companyId, Local), name);
    company->setName(name);
    clearChildren(company);
    insertDepts(ContactsEngine::instance()->currentUid(), companyId, 0, company);
}

void ContactsTreeModel::onAllOrgSyncComplete()
{
    ResetScope reset(this);
    const auto companies = OrgChartManager::instance()->getSchoolInfos(true);
    std::vector<quint64> ids;
    for (const auto &c : companies)
        ids.push_back(c->id());
    clearOtherCompanyZoom(ids);
    for (const auto &c : companies)
        rebuildCompany(c->id(), c->name());
    rootItem()->sortChanged();
}

void ContactsTreeModel::onSchoolSyncComplete(quint64 schoolId)
{
    ResetScope reset(this);
    auto *org = OrgChartManager::instance();
    const auto company = org->findSchoolInfo(schoolId);
    if (company && org->isEmployee(schoolId, ContactsEngine::instance()->currentUid())) {
        rebuildCompany(schoolId, company->name());
    } else if (Item *node = findChild(rootItem(), Item::CompanyZoom, ClusterID(schoolId, Local))) {
        removeItem(node);
    }
    rootItem()->sortChanged();
}

void ContactsTreeModel::onSchoolChartSyncComplete()
{
    ResetScope reset(this);
    const bool alreadySynced = m_syncMask == (ClusterSync | SchoolChartSync);
    const auto schools = SchoolChartManager::instance()->getSchoolInfos();
    std::vector<quint64> ids;
    for (const auto &s : schools)
        ids.push_back(s->id());
    clearOtherSchoolZoom(ids);
    const quint64 me = ContactsEngine::instance()->currentUid();
    for (const auto &s : schools) {
        Item *school = addItem(rootItem(), Item::SchoolZoom, ClusterID(s->id(), Local), s->name());
        school->setName(s->name());
        clearChildren(school);
        insertSchoolDepts(me, s->id(), 0, school);
    }
    // A later chart sync rebuilds the schools; their classes must come back with them.
    if (alreadySynced) {
        for (const auto &cluster : ContactsEngine::instance()->getClusterInfos())
            updateAClass(cluster);
    }
    checkSyncFlag(SchoolChartSync);
    rootItem()->sortChanged();
}

void ContactsTreeModel::onClusterSyncComplete()
{
    checkSyncFlag(ClusterSync);
}

void ContactsTreeModel::onSchoolChartAvatarSyncComplete()
{
    beginResetModel();
    endResetModel();
}

// ---------------------------------------------------------------------------------------------
// Cluster and user changes

void ContactsTreeModel::onAddCluster(const std::vector<ClusterID> &clusters)
{
    ResetScope reset(this);
    std::vector<ClusterID> remains = clusters;
    std::vector<QModelIndex> found;
    remainsByValue(QModelIndex(), remains, found, true);
    auto *contacts = ContactsEngine::instance();
    for (const ClusterID &id : remains)
        addCluster(contacts->getClusterInfo(id));
    Item *groups = zoom(Item::MyGroupsZoom);
    for (const ClusterID &id : clusters) {
        // A course listed before its class chat existed gives way to the chat.
        if (id.type() == Class && findChild(groups, Item::Course, id) && !findChild(groups, Item::Group, id))
            addCluster(contacts->getClusterInfo(id));
        updateAClass(contacts->getClusterInfo(id));
    }
    rootItem()->sortChanged();
}

void ContactsTreeModel::onDelCluster(const std::vector<ClusterID> &clusters)
{
    // Headings, schools, companies and departments have Local values; no cluster is one.
    std::vector<ClusterID> values;
    for (const ClusterID &id : clusters) {
        if (id.isUnknowType() || id.type() == Local)
            qCWarning(lcContacts) << "removal of a cluster of no listed kind ignored:" << id.toString();
        else
            values.push_back(id);
    }
    if (values.empty())
        return;
    ResetScope reset(this);
    std::vector<QModelIndex> found;
    indexByValue(QModelIndex(), values, found, false);
    // Deepest first, so no node is deleted through its parent before its own turn.
    std::vector<Item *> nodes;
    for (const QModelIndex &idx : found) {
        if (isClusterNode(item(idx)->type()))
            nodes.push_back(item(idx));
    }
    for (auto it = nodes.rbegin(); it != nodes.rend(); ++it)
        removeItem(*it);
    // A course listed as its class chat is listed as a course again once the chat is gone.
    Item *groups = zoom(Item::MyGroupsZoom);
    bool coursesBack = false;
    for (const ClusterID &id : values) {
        if (id.type() != Class || ContactsEngine::instance()->getClusterInfo(id))
            continue;
        const auto course = CourseEngine::instance()->getSnapshotCourse(id.id());
        if (course && !isHiddenCourse(id.id()) && placeCourse(groups, id.id(), course->name()))
            coursesBack = true;
    }
    if (coursesBack)
        groups->sortChanged();
}

void ContactsTreeModel::onUpdateClusterInfo(const std::vector<ClusterID> &clusters)
{
    const auto sorted = sortedCopy(clusters);
    const bool anyStaff = std::any_of(clusters.begin(), clusters.end(), [](const ClusterID &c) { return c.type() == OrgStaff; });
    auto *contacts = ContactsEngine::instance();

    std::vector<Item *> targets;
    walk(rootItem(), [&](Item *c) {
        // Companies hold nodes that react only to staff values; schools only their classes,
        // which sit right under the school.
        if (c->type() == Item::CompanyZoom && !anyStaff)
            return Walk::Skip;
        if (c->type() == Item::SchoolDepartmentZoom)
            return Walk::Skip;
        if (contains(sorted, c->value()))
            targets.push_back(c);
        return c->type() == Item::ClassZoom ? Walk::Skip : Walk::Descend;
    });
    if (targets.empty())
        return;

    // Parents whose order was intact before: the changed children are re-placed one by one.
    struct ParentState {
        Item *parent;
        bool wasSorted;
        std::vector<Item *> moved;
    };
    std::vector<ParentState> parents;
    auto stateOf = [&](Item *p) -> ParentState & {
        for (auto &s : parents) {
            if (s.parent == p)
                return s;
        }
        parents.push_back({p, p->isChildOrderValid(), {}});
        return parents.back();
    };
    for (Item *t : targets)
        stateOf(t->parentItem());

    std::vector<Item *> changed;
    for (Item *node : targets) {
        const QString oldName = node->name();
        const bool oldDisabled = node->isForceDisable();
        const quint64 id = node->value().id();
        switch (node->type()) {
        case Item::Friend: {
            const auto user = contacts->getUserInfo(id);
            node->setName(user ? user->displayName() : node->name());
            node->setIsForceDisable(!contacts->isFriendValid(id));
            break;
        }
        case Item::RecentChat:
            if (node->value().type() == User) {
                const auto user = contacts->getUserInfo(id);
                node->setName(user ? user->displayName() : node->name());
                node->setIsForceDisable(isUserGone(id));
            } else if (const auto cluster = contacts->getClusterInfo(node->value())) {
                node->setName(cluster->name());
            }
            break;
        case Item::Group:
        case Item::ClassZoom:
            if (const auto cluster = contacts->getClusterInfo(node->value()))
                node->setName(cluster->name());
            break;
        case Item::Course:
            if (const auto course = CourseEngine::instance()->getSnapshotCourse(id))
                node->setName(course->name());
            break;
        case Item::SingleUser:
            if (const auto user = contacts->getUserInfo(id))
                node->setName(user->displayName());
            break;
        case Item::Employee: {
            Item *company = node->parentItem();
            while (company && company->type() != Item::CompanyZoom)
                company = company->parentItem();
            if (company) {
                if (const auto e = OrgChartManager::instance()->findEmployeeInfo(company->value().id(), id))
                    node->setName(e->name());
            }
            break;
        }
        default:
            break;
        }
        if (node->name() != oldName || node->isForceDisable() != oldDisabled) {
            changed.push_back(node);
            if (node->name() != oldName)
                stateOf(node->parentItem()).moved.push_back(node);
        }
    }

    // Lists that were in order take the moved children out and put them back by binary
    // search; a long list then costs O(n + k log n) instead of a full sort.
    std::vector<Item *> toSort;
    for (auto &s : parents) {
        if (s.parent->isChildOrderValid())
            continue;
        if (!s.wasSorted || s.moved.size() * 16 > size_t(s.parent->childCount())) {
            toSort.push_back(s.parent);
            continue;
        }
        auto &list = s.parent->refChildren();
        auto isMoved = [&](AbstractTreeItem *n) {
            return std::find(s.moved.begin(), s.moved.end(), n) != s.moved.end();
        };
        QList<AbstractTreeItem *> rest;
        rest.reserve(list.size());
        for (AbstractTreeItem *n : list) {
            if (!isMoved(n))
                rest.append(n);
        }
        for (Item *m : s.moved) {
            const auto pos = std::upper_bound(rest.begin(), rest.end(), m, [](AbstractTreeItem *a, AbstractTreeItem *b) {
                return Item::compareItem(static_cast<Item *>(a), static_cast<Item *>(b));
            });
            rest.insert(pos, m);
        }
        if (rest == list) {
            s.parent->markChildOrderValid();
            continue;
        }
        QList<QPersistentModelIndex> hint{QPersistentModelIndex(indexFromItem(s.parent))};
        Q_EMIT layoutAboutToBeChanged(hint, QAbstractItemModel::VerticalSortHint);
        const QModelIndexList before = persistentIndexList();
        list = rest;
        s.parent->markChildOrderValid();
        QModelIndexList after;
        after.reserve(before.size());
        for (const QModelIndex &idx : before) {
            auto *n = static_cast<Item *>(idx.internalPointer());
            after << createIndex(n->row(), idx.column(), n);
        }
        changePersistentIndexList(before, after);
        Q_EMIT layoutChanged(hint, QAbstractItemModel::VerticalSortHint);
    }
    sortWithLayout(toSort);
    for (Item *node : changed)
        emitChanged(node);
}

void ContactsTreeModel::onUpdateClusterMemberNicknames(const ClusterID &cluster, const std::vector<quint64> &)
{
    onUpdateClusterInfo({cluster});
}

void ContactsTreeModel::onUpdateClusterMember(const ClusterID &cluster, const std::vector<quint64> &)
{
    if (m_syncMask != (ClusterSync | SchoolChartSync))
        return;
    const auto info = ContactsEngine::instance()->getClusterInfo(cluster);
    if (!info)
        return;
    Item *school = findChild(rootItem(), Item::SchoolZoom, ClusterID(info->schoolId(), Local));
    if (!school)
        return;
    ResetScope reset(this);
    updateAClass(info);
    school->sortChanged();
}

void ContactsTreeModel::onUpdateUserInfo(const std::vector<quint64> &uids)
{
    ResetScope reset(this);
    const auto sorted = sortedCopy(uids);
    auto *contacts = ContactsEngine::instance();
    for (int i = 0; i < rootItem()->childCount(); ++i) {
        Item *top = rootItem()->childItem(i);
        if (top->type() == Item::SchoolZoom) {
            walk(top, [&](Item *c) {
                if (c->type() != Item::ClassMember || !contains(sorted, c->uid()))
                    return Walk::Descend;
                const ClusterID classId = c->parentItem()->value();
                const auto cluster = contacts->getClusterInfo(classId);
                const auto member = cluster ? cluster->getMember(c->uid()) : ClusterMemberInfoPtr();
                qCDebug(lcContacts).noquote() << "get cluster member nickname, gid" << classId.toString() << "uid:" << c->uid();
                QString name = member ? member->nickname() : QString();
                if (name.isEmpty()) {
                    if (const auto user = contacts->getUserInfo(c->uid()))
                        name = user->displayName();
                }
                if (!name.isEmpty())
                    c->setName(name);
                c->setIsForceDisable(!cluster || !cluster->isValid(c->uid()));
                return Walk::Descend;
            });
            top->sortChanged();
        } else if (top->type() == Item::SingleUsersZoom) {
            for (int k = 0; k < top->childCount(); ++k) {
                Item *c = top->childItem(k);
                if (!contains(sorted, c->uid()))
                    continue;
                const auto user = contacts->getUserInfo(c->uid());
                if (user)
                    c->setName(user->displayName());
                c->setIsForceDisable(!user);
            }
            top->sortChanged();
        }
    }
}

void ContactsTreeModel::onUserAvatarChanged(const std::vector<quint64> &uids)
{
    const auto sorted = sortedCopy(uids);
    std::vector<Item *> concerned;
    walk(rootItem(), [&](Item *c) {
        const ClusterID v = c->value();
        const bool person = v.type() == User || v.type() == OrgStaff || v.type() == SchoolStaff;
        if ((c->uid() && contains(sorted, c->uid())) || (person && contains(sorted, v.id())))
            concerned.push_back(c);
        return Walk::Descend;
    });
    // Many nodes at once (a whole heading's worth) repaint with one reset.
    constexpr size_t kResetFrom = 256;
    if (concerned.size() >= kResetFrom) {
        beginResetModel();
        endResetModel();
        return;
    }
    for (Item *c : concerned)
        emitChanged(c);
}

void ContactsTreeModel::onClusterAvatarChanged(const std::vector<ClusterID> &clusters)
{
    std::vector<QModelIndex> found;
    indexByValue(QModelIndex(), clusters, found, false);
    constexpr size_t kResetFrom = 256;
    if (found.size() >= kResetFrom) {
        beginResetModel();
        endResetModel();
        return;
    }
    for (const QModelIndex &idx : found)
        Q_EMIT dataChanged(idx, idx);
}

// ---------------------------------------------------------------------------------------------
// Courses

void ContactsTreeModel::onSnapshotCompleted()
{
    ResetScope reset(this);
    Item *groups = zoom(Item::MyGroupsZoom);
    for (int i = groups->childCount() - 1; i >= 0; --i) {
        if (groups->childItem(i)->type() == Item::Course)
            removeItem(groups->childItem(i));
    }
    addCourses();
    groups->sortChanged();
}

void ContactsTreeModel::onCourseAdded(quint64, quint64 courseId)
{
    Item *groups = zoom(Item::MyGroupsZoom);
    const ClusterID value(courseId, Class);
    if (findChild(groups, Item::Course, value) || findChild(groups, Item::Group, value) || !isHiddenCourse(courseId))
        return;
    ResetScope reset(this);
    placeCourse(groups, courseId, CourseEngine::instance()->getCourseName(courseId));
    groups->sortChanged();
}

void ContactsTreeModel::onRemoveCourse(quint64, quint64 courseId)
{
    Item *groups = zoom(Item::MyGroupsZoom);
    Item *node = findChild(groups, Item::Course, ClusterID(courseId, Class));
    if (!node)
        return;
    ResetScope reset(this);
    removeItem(node);
}

void ContactsTreeModel::onLessonChanged(quint64 schoolId, quint64 courseId, quint64)
{
    onRemoveCourse(schoolId, courseId);
    onCourseAdded(schoolId, courseId);
}

void ContactsTreeModel::onLessonsChanged(const LessonChangeList &lessons)
{
    const auto byCourse = CourseUtilities::convertLessonsInfo(lessons);
    for (auto it = byCourse.cbegin(); it != byCourse.cend(); ++it)
        onLessonChanged(it.value().first, it.key(), it.value().second.value(0));
}

void ContactsTreeModel::onCourseNameChanged(quint64, quint64 courseId, const QString &name)
{
    Item *groups = zoom(Item::MyGroupsZoom);
    Item *node = findChild(groups, Item::Course, ClusterID(courseId, Class));
    if (!node)
        return;
    ResetScope reset(this);
    node->setName(name);
    groups->sortChanged();
}

void ContactsTreeModel::onSchoolInfoChanged(quint64)
{
    Item *groups = zoom(Item::MyGroupsZoom);
    if (!groups || groups->childCount() == 0)
        return;
    const QModelIndex parent = indexFromItem(groups);
    Q_EMIT dataChanged(index(0, 0, parent), index(groups->childCount() - 1, 0, parent), {SchoolNameRole});
}

void ContactsTreeModel::onUpdateUnreadNoticeCount()
{
    if (Item *heading = zoom(Item::NewFriendsZoom))
        emitChanged(heading);
}

// ---------------------------------------------------------------------------------------------
// Sessions

namespace {
// One session per chat, the newest where a batch names a chat more than once.
Sessions newestPerChat(const Sessions &sessions)
{
    Sessions out;
    std::map<ClusterID, size_t> at;
    for (const auto &s : sessions) {
        if (!s)
            continue;
        const auto [it, added] = at.emplace(s->clusterID(), out.size());
        if (added)
            out.push_back(s);
        else if (s->msgTime() > out[it->second]->msgTime())
            out[it->second] = s;
    }
    return out;
}
} // namespace

void ContactsTreeModel::onUpdateSessions(const Sessions &sessions)
{
    Item *recent = zoom(Item::RecentZoom);
    std::map<ClusterID, quint32> times;
    for (const auto &s : newestPerChat(sessions))
        times.emplace(s->clusterID(), s->msgTime());
    ResetScope reset(this);
    for (int i = 0; i < recent->childCount(); ++i) {
        Item *c = recent->childItem(i);
        const auto it = times.find(c->value());
        if (it != times.end())
            c->setLastMsgTime(it->second);
    }
    recent->sortChanged();
}

void ContactsTreeModel::onDeleteSessions(const Sessions &sessions)
{
    Item *recent = zoom(Item::RecentZoom);
    ResetScope reset(this);
    for (const auto &s : sessions) {
        if (!s)
            continue;
        if (Item *node = findChild(recent, Item::RecentChat, s->clusterID()))
            removeItem(node);
    }
}

void ContactsTreeModel::onAddSessions(const Sessions &sessions)
{
    Item *recent = zoom(Item::RecentZoom);
    ResetScope reset(this);
    for (const auto &s : newestPerChat(sessions))
        addSession(recent, s);
    recent->sortChanged();
}
