// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>
#include <QVariantMap>
#include <QVector>

/**
 * The tracking service: usage events (a name and a map of properties). Here it keeps what it
 * was sent and announces each event, so hosts can forward them and tests can read them back.
 */
class OrvTrack : public QObject
{
    Q_OBJECT
public:
    struct Event {
        QString name;
        QVariantMap properties;
    };

    static OrvTrack *instance();
    static void release();

    void track(const QString &event, const QVariantMap &properties = {});

    QVector<Event> events() const { return m_events; }
    QVector<Event> events(const QString &name) const;
    void clear() { m_events.clear(); }

Q_SIGNALS:
    void tracked(const QString &event, const QVariantMap &properties);

private:
    OrvTrack() = default;
    QVector<Event> m_events;
    static OrvTrack *s_instance;
};
