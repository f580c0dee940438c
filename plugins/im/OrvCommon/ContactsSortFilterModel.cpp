// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ContactsSortFilterModel.h"
#include "ContactsTreeModel.h"
#include "orvcommon_logging.h"

#include "contactsengine.h"
#include "courseengine.h"

#include <QTimer>

using namespace OrvEngine;
using Item = ContactsTreeItem;

namespace {

bool isFixedHeading(int type)
{
    switch (type) {
    case Item::MyGroupsZoom: case Item::MyFriendsZoom: case Item::PublicCourseZoom: case Item::SingleUsersZoom:
    case Item::NewFriendsZoom: case Item::RecentZoom: case Item::PublicCourseSubZoom19: case Item::PublicCourseSubZoom20:
    case Item::PublicCourseSubZoom21:
        return true;
    default:
        return false;
    }
}

} // namespace

ContactsSortFilterModel::ContactsSortFilterModel(QObject *parent)
    : QSortFilterProxyModel(parent)
{
    setDynamicSortFilter(true);
}

ContactsSortFilterModel::~ContactsSortFilterModel() = default;

void ContactsSortFilterModel::setSourceModel(QAbstractItemModel *sourceModel)
{
    auto *tree = qobject_cast<ContactsTreeModel *>(sourceModel);
    if (sourceModel && !tree) {
        qCWarning(lcContacts) << "ContactsSortFilterModel takes only the contacts tree, not" << sourceModel;
        return;
    }
    delete m_search;
    m_search = nullptr;
    // The search index connects to the tree before the proxy does, so it has caught up with a
    // change by the time the proxy filters the changed rows.
    if (tree) {
        m_search = new ContactsSearch(tree, this);
        connect(m_search, &ContactsSearch::indexChanged, this, &ContactsSortFilterModel::onSearchIndexChanged);
        if (!m_searchText.isEmpty())
            m_search->match(m_searchText);
        // Enabled states change through dataChanged only, and may show or hide whole branches.
        connect(tree, &QAbstractItemModel::dataChanged, this, [this] {
            if (!m_enabledOnly)
                return;
            ++m_filterGeneration;
            onSearchIndexChanged();
        });
    }
    QSortFilterProxyModel::setSourceModel(sourceModel);
}

ContactsTreeModel *ContactsSortFilterModel::contactsModel() const
{
    // Null once the tree is gone (the proxy then holds Qt's empty model).
    return qobject_cast<ContactsTreeModel *>(sourceModel());
}

bool ContactsSortFilterModel::isFiltering() const
{
    const ContactsTreeModel *tree = contactsModel();
    return !m_types.isEmpty() || m_schoolId != 0 || m_enabledOnly || !m_searchText.isEmpty()
        || (tree && tree->customCourseId() != 0);
}

void ContactsSortFilterModel::setFilterTypes(const QSet<int> &types)
{
    if (types == m_types)
        return;
    m_types = types;
    refilter();
}

void ContactsSortFilterModel::setFilterSchool(quint64 schoolId)
{
    if (schoolId == m_schoolId)
        return;
    m_schoolId = schoolId;
    refilter();
}

void ContactsSortFilterModel::setFilterEnabledOnly(bool enabledOnly)
{
    if (enabledOnly == m_enabledOnly)
        return;
    m_enabledOnly = enabledOnly;
    refilter();
}

void ContactsSortFilterModel::setSearchText(const QString &text)
{
    const QString normalized = ContactsSearch::normalizeQuery(text);
    if (normalized == m_searchText)
        return;
    m_searchText = normalized;
    if (m_search)
        m_search->match(m_searchText);
    ++m_filterGeneration;
    // A keystroke may change thousands of rows: a layout change lets the views map again only
    // what they show, where removing and inserting every row would cost a signal each.
    invalidate();
    Q_EMIT filterChanged();
    Q_EMIT searchTextChanged(m_searchText);
}

void ContactsSortFilterModel::refilter()
{
    ++m_filterGeneration;
    invalidateFilter();
    Q_EMIT filterChanged();
}

void ContactsSortFilterModel::onSearchIndexChanged()
{
    // The tree's own row signals already make the proxy filter what changed; an engine change
    // seen only by the index (a nickname behind a remark) needs one more pass, once the current
    // change is over.
    if (!isFiltering() || m_refilterQueued)
        return;
    m_refilterQueued = true;
    QTimer::singleShot(0, this, [this] {
        m_refilterQueued = false;
        if (isFiltering())
            refilter();
    });
}

bool ContactsSortFilterModel::inSchool(const Item *item) const
{
    for (const Item *p = item; p; p = p->parentItem()) {
        if (p->type() == Item::SchoolZoom)
            return p->value().id() == m_schoolId;
    }
    switch (item->type()) {
    case Item::Group:
    case Item::RecentChat:
        if (item->value().type() == Class || item->value().type() == Group) {
            const auto cluster = ContactsEngine::instance()->getClusterInfo(item->value());
            return cluster && cluster->schoolId() == m_schoolId;
        }
        return false;
    case Item::Course:
        return CourseEngine::instance()->getSchoolIdOfCourse(item->value().id()) == m_schoolId;
    default:
        return false;
    }
}

bool ContactsSortFilterModel::acceptsNode(const Item *item) const
{
    const ContactsTreeModel *tree = contactsModel();
    const int type = item->type();
    if (isFixedHeading(type))
        return false;
    if (!m_types.isEmpty() && !m_types.contains(type))
        return false;
    // Schools, companies, departments and classes stand for their people unless their own name is searched.
    if (Item::isZoomType(type) && m_searchText.isEmpty())
        return false;
    if (m_enabledOnly && (item->isForceDisable() || !item->isEnable()))
        return false;
    if (const quint64 course = tree->customCourseId()) {
        if (item->value() == ClusterID(course, Class)
            && (type == Item::Group || type == Item::Course || type == Item::RecentChat || type == Item::ClassZoom))
            return false;
    }
    if (m_schoolId && !inSchool(item))
        return false;
    return true;
}

void ContactsSortFilterModel::updateKept() const
{
    m_search->ensureCurrent();
    const quint64 generation = m_search->generation() * 1000003u + m_filterGeneration;
    const ContactsTreeModel *tree = contactsModel();
    const quint64 course = tree ? tree->customCourseId() : 0;
    if (m_keptGeneration == generation && m_keptCourseId == course && m_kept.size() == size_t(m_search->entryCount()))
        return;
    if (m_kept.size() == size_t(m_search->entryCount())) {
        for (int e : m_keptEntries)
            m_kept[size_t(e)] = 0;
    } else {
        m_kept.assign(size_t(m_search->entryCount()), 0);
    }
    m_keptEntries.clear();
    auto keep = [this](int e) {
        if (!acceptsNode(m_search->itemAt(e)))
            return;
        for (int a = e; a >= 0 && !m_kept[size_t(a)]; a = m_search->parentOf(a)) {
            m_kept[size_t(a)] = 1;
            m_keptEntries.push_back(a);
        }
    };
    if (!m_searchText.isEmpty()) {
        for (int e : m_search->matchedEntries())
            keep(e);
    } else {
        for (int e = 0; e < m_search->entryCount(); ++e)
            keep(e);
    }
    m_keptGeneration = generation;
    m_keptCourseId = course;
}

bool ContactsSortFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    if (!isFiltering())
        return true;
    const ContactsTreeModel *tree = contactsModel();
    if (!m_search || !tree)
        return false;
    updateKept();
    const void *parent = sourceParent.internalPointer();
    if (parent != m_lastParent || m_lastLayoutGeneration != m_search->layoutGeneration() || !m_lastChildren) {
        const int parentEntry = sourceParent.isValid() ? m_search->entryOf(tree->item(sourceParent)) : -1;
        if (sourceParent.isValid() && parentEntry < 0)
            return false;
        m_lastChildren = &m_search->childEntries(parentEntry);
        m_lastParent = parent;
        m_lastLayoutGeneration = m_search->layoutGeneration();
    }
    if (sourceRow < 0 || size_t(sourceRow) >= m_lastChildren->size())
        return false;
    const int e = (*m_lastChildren)[size_t(sourceRow)];
    return e >= 0 && m_kept[size_t(e)];
}

ContactsSearch::Rank ContactsSortFilterModel::matchRank(const QModelIndex &proxyIndex) const
{
    const ContactsTreeModel *tree = contactsModel();
    if (m_searchText.isEmpty() || !m_search || !tree || !proxyIndex.isValid())
        return ContactsSearch::NoMatch;
    return m_search->rankOf(tree->item(mapToSource(proxyIndex)));
}

QModelIndexList ContactsSortFilterModel::matchAncestors(int maxMatches, int maxRows) const
{
    QModelIndexList out;
    const ContactsTreeModel *tree = contactsModel();
    if (m_searchText.isEmpty() || !m_search || !tree)
        return out;
    updateKept();
    std::vector<int> parents;
    std::vector<quint8> seen(size_t(m_search->entryCount()), 0);
    int count = 0;
    for (int e : m_search->matchedEntries()) {
        if (count >= maxMatches)
            break;
        if (!m_kept[size_t(e)])
            continue;
        ++count;
        std::vector<int> chain;
        for (int a = m_search->parentOf(e); a >= 0 && !seen[size_t(a)]; a = m_search->parentOf(a)) {
            seen[size_t(a)] = 1;
            chain.push_back(a);
        }
        parents.insert(parents.end(), chain.rbegin(), chain.rend());
    }
    QSet<QModelIndex> tooLong;
    for (int a : parents) {
        const QModelIndex proxy = mapFromSource(tree->indexFromItem(m_search->itemAt(a)));
        if (!proxy.isValid() || tooLong.contains(proxy.parent()))
            continue;
        if (rowCount(proxy) > maxRows) {
            tooLong.insert(proxy);
            continue;
        }
        out.append(proxy);
    }
    return out;
}
