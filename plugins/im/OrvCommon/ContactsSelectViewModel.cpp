// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ContactsSelectViewModel.h"
#include "ContactsSelectView.h"
#include "ContactsSortFilterModel.h"
#include "ContactsTreeModel.h"
#include "orvcommon_logging.h"
#include "orvlang.h"

#include <QTimer>

using namespace OrvEngine;
using Item = ContactsTreeItem;

namespace {

QSet<int> defaultTypes()
{
    return {Item::Friend, Item::Group, Item::Employee, Item::SchoolEmployee, Item::ClassMember, Item::SingleUser,
            Item::RecentChat};
}

} // namespace

ContactsSelectViewModel *ContactsSelectViewModel::createContactsSelectTool(QWidget *parent, const Options &options)
{
    auto *model = new ContactsSelectViewModel(options);
    auto *view = new ContactsSelectView(model, parent);
    model->setParent(view);
    model->m_view = view;
    return model;
}

ContactsSelectViewModel::ContactsSelectViewModel(const Options &options, QObject *parent)
    : QObject(parent)
    , m_tree(ContactsTreeModel::instance())
    , m_proxy(new ContactsSortFilterModel(this))
    , m_maxCount(std::max(0, options.maxCount))
{
    // A picker starts with nothing checked, whatever an earlier one left.
    m_tree->resetCheckState();
    m_proxy->setSourceModel(m_tree);
    m_proxy->setFilterTypes(options.types.isEmpty() ? defaultTypes() : options.types);
    m_proxy->setFilterEnabledOnly(options.enabledOnly);
    m_proxy->setFilterSchool(options.schoolId);

    // Engine changes rebuild parts of the tree: picks must survive them or be reported gone.
    connect(m_tree, &QAbstractItemModel::modelReset, this, &ContactsSelectViewModel::scheduleRevalidate);
    connect(m_tree, &QAbstractItemModel::rowsRemoved, this, &ContactsSelectViewModel::scheduleRevalidate);
    connect(m_tree, &QAbstractItemModel::dataChanged, this, [this](const QModelIndex &, const QModelIndex &, const QVector<int> &roles) {
        if (!m_applying && !m_picked.isEmpty() && !roles.contains(Qt::CheckStateRole))
            scheduleRevalidate();
    });
    connect(m_proxy, &QAbstractItemModel::modelReset, this, &ContactsSelectViewModel::updateEmpty);
    connect(m_proxy, &QAbstractItemModel::layoutChanged, this, &ContactsSelectViewModel::updateEmpty);
    connect(m_proxy, &QAbstractItemModel::rowsInserted, this, &ContactsSelectViewModel::updateEmpty);
    connect(m_proxy, &QAbstractItemModel::rowsRemoved, this, &ContactsSelectViewModel::updateEmpty);
    connect(m_proxy, &ContactsSortFilterModel::filterChanged, this, &ContactsSelectViewModel::updateEmpty);
    m_empty = m_proxy->rowCount() == 0;
}

ContactsTreeModel *ContactsSelectViewModel::treeModel() const
{
    return m_tree.data();
}

ContactsSelectView *ContactsSelectViewModel::view() const
{
    return m_view.data();
}

ContactsSelectViewModel::~ContactsSelectViewModel()
{
    if (m_tree)
        m_tree->resetCheckState();
}

void ContactsSelectViewModel::setNotice(const QString &text)
{
    if (text == m_notice)
        return;
    m_notice = text;
    Q_EMIT noticeChanged(text);
}

void ContactsSelectViewModel::setMaxCount(int maxCount)
{
    m_maxCount = std::max(0, maxCount);
    if (m_maxCount && m_picked.size() > m_maxCount) {
        // Nothing picked is dropped silently: the user is told how many went.
        while (m_picked.size() > m_maxCount)
            unpick(m_picked.last().target);
        setNotice(OrvLang::format("ID_ContactsSelect_MaxCount", {QString::number(m_maxCount)}));
    }
}

void ContactsSelectViewModel::setDisableUsers(const std::vector<quint64> &uids)
{
    m_disabledUsers = QSet<quint64>(uids.begin(), uids.end());
    for (const Picked &p : QList<Picked>(m_picked)) {
        if (p.target.type() == User && m_disabledUsers.contains(p.target.id())) {
            unpick(p.target);
            Q_EMIT pickedRemoved(p.target, p.name);
        }
    }
    // The views paint these rows disabled.
    if (m_proxy->rowCount() > 0)
        Q_EMIT m_proxy->dataChanged(m_proxy->index(0, 0), m_proxy->index(m_proxy->rowCount() - 1, 0));
    if (m_view)
        m_view->update();
}

void ContactsSelectViewModel::setFilterSchool(quint64 schoolId)
{
    m_proxy->setFilterSchool(schoolId);
}

void ContactsSelectViewModel::setSearchText(const QString &text)
{
    m_proxy->setSearchText(text);
}

ClusterID ContactsSelectViewModel::targetOf(const Item *item)
{
    if (!item)
        return {};
    switch (item->type()) {
    case Item::Friend: case Item::Employee: case Item::SchoolEmployee: case Item::SingleUser:
        return ClusterID(item->value().id(), User);
    case Item::ClassMember:
        return ClusterID(item->uid() ? item->uid() : item->value().id(), User);
    case Item::Group:
        return item->value();
    case Item::RecentChat: {
        const ClusterType t = item->value().type();
        return (t == User || t == Class || t == Group) ? item->value() : ClusterID();
    }
    default:
        return {};
    }
}

bool ContactsSelectViewModel::isTargetDisabled(const Item *item) const
{
    if (item->isForceDisable() || !item->isEnable())
        return true;
    const ClusterID target = targetOf(item);
    return target.type() == User && m_disabledUsers.contains(target.id());
}

int ContactsSelectViewModel::indexOfPicked(const ClusterID &target) const
{
    for (int i = 0; i < m_picked.size(); ++i) {
        if (m_picked[i].target == target)
            return i;
    }
    return -1;
}

bool ContactsSelectViewModel::isPickable(const QModelIndex &proxyIndex) const
{
    if (!m_tree || !proxyIndex.isValid())
        return false;
    const Item *item = m_tree->item(m_proxy->mapToSource(proxyIndex));
    if (!item)
        return false;
    return !targetOf(item).isUnknowType() && !isTargetDisabled(item);
}

bool ContactsSelectViewModel::isPicked(const QModelIndex &proxyIndex) const
{
    if (!m_tree || !proxyIndex.isValid())
        return false;
    const ClusterID target = targetOf(m_tree->item(m_proxy->mapToSource(proxyIndex)));
    return !target.isUnknowType() && indexOfPicked(target) >= 0;
}

bool ContactsSelectViewModel::toggle(const QModelIndex &proxyIndex)
{
    if (!m_tree)
        return false;
    if (isPicked(proxyIndex))
        return unpick(targetOf(m_tree->item(m_proxy->mapToSource(proxyIndex))));
    return pick(proxyIndex);
}

bool ContactsSelectViewModel::pick(const QModelIndex &proxyIndex)
{
    if (!m_tree || !proxyIndex.isValid() || proxyIndex.model() != m_proxy)
        return false;
    const Item *item = m_tree->item(m_proxy->mapToSource(proxyIndex));
    const ClusterID target = targetOf(item);
    if (target.isUnknowType())
        return false;
    if (indexOfPicked(target) >= 0)
        return true;
    if (isTargetDisabled(item)) {
        setNotice(OrvLang::format("ID_ContactsSelect_CannotPick", {item->name()}));
        return false;
    }
    if (m_maxCount && m_picked.size() >= m_maxCount) {
        setNotice(OrvLang::format("ID_ContactsSelect_MaxCount", {QString::number(m_maxCount)}));
        Q_EMIT maxCountReached(m_maxCount);
        return false;
    }
    m_picked.append({target, item->name(), item->type()});
    applyChecks(target, Qt::Checked);
    setNotice(QString());
    Q_EMIT pickedChanged();
    return true;
}

bool ContactsSelectViewModel::pickTarget(const ClusterID &target)
{
    ContactsSearch *index = m_proxy->contactsSearch();
    if (!index || !m_tree)
        return false;
    index->ensureCurrent();
    for (int e = 0; e < index->entryCount(); ++e) {
        if (targetOf(index->itemAt(e)) != target)
            continue;
        const QModelIndex proxyIndex = m_proxy->mapFromSource(m_tree->indexFromItem(index->itemAt(e)));
        if (proxyIndex.isValid())
            return pick(proxyIndex);
    }
    qCInfo(lcContacts).noquote() << "cannot preselect" << target.toString() << ": not offered";
    return false;
}

bool ContactsSelectViewModel::unpick(const ClusterID &target)
{
    // A copy: the caller's reference may be into the list about to lose it.
    const ClusterID gone = target;
    const int i = indexOfPicked(gone);
    if (i < 0)
        return false;
    m_picked.removeAt(i);
    applyChecks(gone, Qt::Unchecked);
    Q_EMIT pickedChanged();
    return true;
}

void ContactsSelectViewModel::clearPicked()
{
    if (m_picked.isEmpty())
        return;
    m_picked.clear();
    m_applying = true;
    if (m_tree)
        m_tree->resetCheckState();
    m_applying = false;
    Q_EMIT pickedChanged();
}

void ContactsSelectViewModel::applyChecks(const ClusterID &target, Qt::CheckState state)
{
    // Every place the person or chat stands in the tree shows the same state.
    ContactsSearch *index = m_proxy->contactsSearch();
    if (!index || !m_tree)
        return;
    index->ensureCurrent();
    m_applying = true;
    for (int e = 0; e < index->entryCount(); ++e) {
        const Item *item = index->itemAt(e);
        if (item->checkState() == state || targetOf(item) != target)
            continue;
        m_tree->setData(m_tree->indexFromItem(item), int(state), Qt::CheckStateRole);
    }
    m_applying = false;
}

QList<ClusterID> ContactsSelectViewModel::getSelectedContacts() const
{
    QList<ClusterID> out;
    for (const Picked &p : m_picked)
        out.append(p.target);
    return out;
}

std::vector<quint64> ContactsSelectViewModel::getSelectedUsers() const
{
    std::vector<quint64> out;
    for (const Picked &p : m_picked) {
        if (p.target.type() == User)
            out.push_back(p.target.id());
    }
    return out;
}

void ContactsSelectViewModel::scheduleRevalidate()
{
    if (m_revalidateQueued || m_picked.isEmpty())
        return;
    m_revalidateQueued = true;
    QTimer::singleShot(0, this, [this] {
        m_revalidateQueued = false;
        revalidate();
    });
}

void ContactsSelectViewModel::revalidate()
{
    ContactsSearch *index = m_proxy->contactsSearch();
    if (!index || m_picked.isEmpty())
        return;
    index->ensureCurrent();
    // Where each pick still stands, and under which name.
    QHash<int, const Item *> found;
    for (int e = 0; e < index->entryCount(); ++e) {
        const Item *item = index->itemAt(e);
        const ClusterID target = targetOf(item);
        if (target.isUnknowType())
            continue;
        const int i = indexOfPicked(target);
        if (i >= 0 && (!found.contains(i) || isTargetDisabled(found.value(i))))
            found.insert(i, item);
    }
    bool changed = false;
    QStringList gone;
    for (int i = m_picked.size() - 1; i >= 0; --i) {
        const Item *item = found.value(i);
        if (!item || isTargetDisabled(item)) {
            const Picked p = m_picked.takeAt(i);
            qCInfo(lcContacts).noquote() << "picked" << p.target.toString() << "is no longer in the contacts; unpicked";
            applyChecks(p.target, Qt::Unchecked);
            gone.prepend(p.name);
            Q_EMIT pickedRemoved(p.target, p.name);
            changed = true;
            continue;
        }
        if (item->name() != m_picked[i].name) {
            m_picked[i].name = item->name();
            changed = true;
        }
        if (item->checkState() != Qt::Checked)
            applyChecks(m_picked[i].target, Qt::Checked);
    }
    if (!gone.isEmpty())
        setNotice(OrvLang::format("ID_ContactsSelect_PickedGone", {gone.join(QStringLiteral(", "))}));
    if (changed)
        Q_EMIT pickedChanged();
}

void ContactsSelectViewModel::updateEmpty()
{
    // While searching, an empty result says nothing about what there is to pick.
    if (!m_proxy->searchText().isEmpty())
        return;
    const bool empty = m_proxy->rowCount() == 0;
    if (empty == m_empty)
        return;
    m_empty = empty;
    Q_EMIT emptyChagned(empty);
}
