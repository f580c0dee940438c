// SPDX-License-Identifier: LGPL-2.1-or-later
#include "PopupsSrategyManager.h"
#include "orvcommon_logging.h"

#include "PopupsSrategyAuthNormalItem.h"
#include "PopupsSrategyClassListItem.h"
#include "PopupsSrategyForceGrayUpgradeItem.h"
#include "PopupsSrategyForceUpgradeItem.h"
#include "PopupsSrategyGrayUpgradeItem.h"
#include "PopupsSrategyOpsItem.h"
#include "PopupsSrategyScreenItem.h"
#include "PopupsSrategyUserAvatarItem.h"
#include "PopupsSrategyUserGuianceItem.h"
#include "PopupsSrategyWeakupPasswdItem.h"

PopupsSrategyManager *PopupsSrategyManager::getInstance()
{
    static PopupsSrategyManager instance;
    return &instance;
}

PopupsSrategyManager::PopupsSrategyManager() = default;

PopupsSrategyManager::~PopupsSrategyManager() = default;

void PopupsSrategyManager::init()
{
    if (m_items.isEmpty())
        initMap();
}

void PopupsSrategyManager::release()
{
    for (const auto &items : qAsConst(m_items)) {
        for (PopupsSrategyBaseItem *item : items) {
            disconnect(item, nullptr, this, nullptr);
            item->deleteLater();
        }
    }
    m_items.clear();
    ++m_generation;
}

PopupsSrategyBaseItem *PopupsSrategyManager::getPopupItem(PopupsSrategyType type) const
{
    for (const auto &items : m_items) {
        for (PopupsSrategyBaseItem *item : items) {
            if (item->type() == type)
                return item;
        }
    }
    return nullptr;
}

PopupsSrategyBaseItem *PopupsSrategyManager::createItem(PopupsSrategyType type)
{
    PopupsSrategyBaseItem *item = nullptr;
    switch (type) {
    case PopupsSrategyForceUpgrade: item = new PopupsSrategyForceUpgradeItem(this); break;
    case PopupsSrategyForceGrayUpgrade: item = new PopupsSrategyForceGrayUpgradeItem(this); break;
    case PopupsSrategyUserGuiance: item = new PopupsSrategyUserGuianceItem(this); break;
    case PopupsSrategyGrayUpgrade: item = new PopupsSrategyGrayUpgradeItem(this); break;
    case PopupsSrategyWeakupPasswd: item = new PopupsSrategyWeakupPasswdItem(this); break;
    case PopupsSrategyUserAvatar: item = new PopupsSrategyUserAvatarItem(this); break;
    case PopupsSrategyAuthNormal: item = new PopupsSrategyAuthNormalItem(this); break;
    case PopupsSrategyScreen: item = new PopupsSrategyScreenItem(this); break;
    case PopupsSrategyOps: item = new PopupsSrategyOpsItem(this); break;
    case PopupsSrategyClassList: item = new PopupsSrategyClassListItem(this); break;
    }
    if (item)
        connect(item, &PopupsSrategyBaseItem::triggerProcess, this, &PopupsSrategyManager::onItemTriggerProcess);
    return item;
}

void PopupsSrategyManager::initMap()
{
    m_items[PopupsSrategyLevel0] = {createItem(PopupsSrategyForceUpgrade), createItem(PopupsSrategyForceGrayUpgrade),
                                    createItem(PopupsSrategyUserGuiance)};
    m_items[PopupsSrategyLevel1] = {createItem(PopupsSrategyScreen)};

    auto *weakPasswd = static_cast<PopupsSrategyWeakupPasswdItem *>(createItem(PopupsSrategyWeakupPasswd));
    auto *avatar = static_cast<PopupsSrategyUserAvatarItem *>(createItem(PopupsSrategyUserAvatar));
    avatar->setWeakPasswdItem(weakPasswd);
    m_items[PopupsSrategyLevel2] = {createItem(PopupsSrategyGrayUpgrade), weakPasswd, avatar,
                                    createItem(PopupsSrategyAuthNormal), createItem(PopupsSrategyOps)};
}

void PopupsSrategyManager::onItemTriggerProcess()
{
    // A host that shows its dialog modally from doit() closes it, and so asks for the next pass,
    // before the current pass is over. Run that pass afterwards, so the result is the same as
    // with a non-modal dialog.
    if (m_inPass) {
        m_passRequested = true;
        return;
    }
    m_inPass = true;
    do {
        m_passRequested = false;
        runPass();
    } while (m_passRequested);
    m_inPass = false;
}

void PopupsSrategyManager::runPass()
{
    PopupsSrategyBaseItem *winner = nullptr;
    // A copy: a host reacting to doit() may release the chain during the pass (its items may be
    // gone once the host's dialog returns).
    const QMap<int, QList<PopupsSrategyBaseItem *>> levels = m_items;
    const quint64 generation = m_generation;
    for (auto it = levels.cbegin(); it != levels.cend(); ++it) {
        bool blocked = false;
        // One popup at a time: an item of this level that decided after another one popped up
        // waits until that popup is closed, whatever their order in the list.
        PopupsSrategyBaseItem *showing = nullptr;
        for (PopupsSrategyBaseItem *item : it.value()) {
            if (item->isShowing()) {
                showing = item;
                break;
            }
        }
        for (PopupsSrategyBaseItem *item : it.value()) {
            if (generation != m_generation)
                return;
            if (winner) {
                if (item->level() > winner->level() && item->hasTriggered() && item->isActiced() && item->isCanReset()) {
                    qCDebug(lcPopups) << "popup" << item->type() << "dropped for" << winner->type();
                    item->setActived(false);
                }
                continue;
            }
            if (item->hasTriggered()) {
                if (item->isActiced()) {
                    if (item->isCalledDoit()) {
                        winner = item;
                    } else if (showing) {
                        qCDebug(lcPopups) << "popup" << item->type() << "waits for" << showing->type();
                        winner = showing;
                    } else {
                        qCInfo(lcPopups) << "popup" << item->type() << "shown";
                        item->emitDoit();
                        winner = item;
                    }
                }
            } else {
                blocked = true;
            }
        }
        // Nothing of lower priority may show while an item of this level is undecided.
        if (blocked)
            break;
    }
}
