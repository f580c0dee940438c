// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "PopupsSrategyBaseItem.h"

/// List of lessons waiting to be entered, after the course snapshot has arrived.
class PopupsSrategyClassListItem : public PopupsSrategyBaseItem
{
    Q_OBJECT
public:
    explicit PopupsSrategyClassListItem(QObject *parent = nullptr);

    PopupsSrategyType type() const override { return PopupsSrategyClassList; }
    PopupsSrategyLevel level() const override { return PopupsSrategyLevel0; }

Q_SIGNALS:
    /// The snapshot arrived and the item has decided.
    void hasSnapshotCompleted();

private Q_SLOTS:
    void onSnapshotCompleted();
    void onNotProcessEnterClassWidget();

private:
    bool m_handled = false;
};
