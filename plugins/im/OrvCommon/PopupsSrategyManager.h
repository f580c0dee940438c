// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "PopupsSrategyBaseItem.h"

#include <QList>
#include <QMap>
#include <QObject>

/**
 * Orders the popups owed after sign-in: one at a time, by level (0 first) and, within a level,
 * in a fixed order. A popup is shown only when every item of a higher level has decided, and a
 * winner switches off the active popups of lower levels. An item that decides while another
 * popup of its level is on screen waits until that one is closed. Each pass runs when an item
 * emits triggerProcess(), and emits at most one new doit().
 */
class PopupsSrategyManager : public QObject
{
    Q_OBJECT
public:
    static PopupsSrategyManager *getInstance();

    /// Builds the items once; later calls do nothing until release().
    void init();
    /// Drops every item; a later init() builds fresh ones.
    void release();
    /// The item of that type, or null (the class-list item is never in the chain).
    PopupsSrategyBaseItem *getPopupItem(PopupsSrategyType type) const;
    /// The items of a level, in chain order.
    QList<PopupsSrategyBaseItem *> levelItems(PopupsSrategyLevel level) const { return m_items.value(level); }

protected:
    PopupsSrategyManager();
    ~PopupsSrategyManager() override;

private Q_SLOTS:
    void onItemTriggerProcess();

private:
    void initMap();
    PopupsSrategyBaseItem *createItem(PopupsSrategyType type);
    void runPass();

    QMap<int, QList<PopupsSrategyBaseItem *>> m_items;
    quint64 m_generation = 0; // counts release() calls
    bool m_inPass = false;
    bool m_passRequested = false;
};
