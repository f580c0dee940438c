#include "orvtrack.h"
#include "orvutils_logging.h"

OrvTrack *OrvTrack::s_instance = nullptr;

OrvTrack *OrvTrack::instance()
{
    if (!s_instance)
        s_instance = new OrvTrack;
    return s_instance;
}

void OrvTrack::release()
{
    delete s_instance;
    s_instance = nullptr;
}

void OrvTrack::track(const QString &event, const QVariantMap &properties)
{
    qCDebug(lcOrvUtils) << "track" << event << properties;
    m_events.append({event, properties});
    Q_EMIT tracked(event, properties);
}

QVector<OrvTrack::Event> OrvTrack::events(const QString &name) const
{
    QVector<Event> out;
    for (const Event &e : m_events) {
        if (e.name == name)
            out.append(e);
    }
    return out;
}
