// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QList>
#include <QObject>
#include <QVariant>

namespace OrvEngine {

/**
 * Reference popup-activity manager: the operations screens (campaigns, announcements) the
 * server schedules for after sign-in. It fetches them on its own; when it knows whether one is
 * due it has "triggered" and says so with hasTrigger().
 */
class PopupActivityManager : public QObject
{
    Q_OBJECT
public:
    static PopupActivityManager *instance();
    static void release();

    /// An activity is due to be shown now.
    bool hasActiveActivity() const { return m_active; }
    /// The manager has finished looking for activities.
    bool hasTriggered() const { return m_triggered; }
    /// What the host needs to show the activity (page address, size...).
    QList<QVariant> activityArgs() const { return m_args; }

    // Mutations, as the fetch and the host's activity window make them.
    void setActivityArgs(const QList<QVariant> &args) { m_args = args; }
    /// The fetch has ended: records whether an activity is due and emits hasTrigger().
    void trigger(bool active);
    /// The host closed (or opened) the activity; no signal.
    void setActiveActivity(bool active) { m_active = active; }
    void clear();

Q_SIGNALS:
    void hasTrigger();

private:
    PopupActivityManager() = default;
    bool m_active = false;
    bool m_triggered = false;
    QList<QVariant> m_args;
    static PopupActivityManager *s_instance;
};

} // namespace OrvEngine
