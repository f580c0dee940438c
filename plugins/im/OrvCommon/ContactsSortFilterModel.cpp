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
    : KRecursiveFilterProxyModel(parent)
{
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
    }
    KRecursiveFilterProxyModel::setSourceModel(sourceModel);
}

ContactsTreeModel *ContactsSortFilterModel::contactsModel() const
{
    return static_cast<ContactsTreeModel *>(sourceModel());
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
    refilter();
    Q_EMIT searchTextChanged(m_searchText);
}

void ContactsSortFilterModel::refilter()
{
    invalidateFilter();
    Q_EMIT filterChanged();
}

void ContactsSortFilterModel::onSearchIndexChanged()
{
    // The tree's own row signals already make the proxy filter what changed; an engine change
    // seen only by the index (a nickname behind a remark) needs one more pass, once the current
    // change is over.
    if (m_searchText.isEmpty() || m_refilterQueued)
        return;
    m_refilterQueued = true;
    QTimer::singleShot(0, this, [this] {
        m_refilterQueued = false;
        if (!m_searchText.isEmpty())
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

bool ContactsSortFilterModel::acceptRow(int sourceRow, const QModelIndex &sourceParent) const
{
    if (!isFiltering())
        return true;
    const ContactsTreeModel *tree = contactsModel();
    const Item *item = tree->item(tree->index(sourceRow, 0, sourceParent));
    if (!item)
        return false;
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
    if (!m_searchText.isEmpty())
        return m_search && m_search->currentMatches().contains(item);
    return true;
}

ContactsSearch::Rank ContactsSortFilterModel::matchRank(const QModelIndex &proxyIndex) const
{
    if (m_searchText.isEmpty() || !m_search || !proxyIndex.isValid())
        return ContactsSearch::NoMatch;
    const Item *item = contactsModel()->item(mapToSource(proxyIndex));
    return m_search->currentMatches().value(item, ContactsSearch::NoMatch);
}

QModelIndexList ContactsSortFilterModel::matchAncestors(int maxMatches) const
{
    QModelIndexList out;
    if (m_searchText.isEmpty() || !m_search)
        return out;
    const ContactsTreeModel *tree = contactsModel();
    QSet<const Item *> seen;
    int count = 0;
    const auto &matches = m_search->currentMatches();
    for (auto it = matches.constBegin(); it != matches.constEnd() && count < maxMatches; ++it, ++count) {
        std::vector<const Item *> chain;
        for (const Item *p = it.key()->parentItem(); p && p != tree->rootItem(); p = p->parentItem()) {
            if (seen.contains(p))
                break;
            seen.insert(p);
            chain.push_back(p);
        }
        for (auto c = chain.rbegin(); c != chain.rend(); ++c) {
            const QModelIndex proxy = mapFromSource(tree->indexFromItem(*c));
            if (proxy.isValid())
                out.append(proxy);
        }
    }
    return out;
}
