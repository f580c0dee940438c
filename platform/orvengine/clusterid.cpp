#include "clusterid.h"
#include "records.h"

namespace OrvEngine {

bool isKnownClusterType(qint32 type)
{
    switch (type) {
    case Class: case User: case Group: case Assistant:
    case Unlisted: case SchoolStaff: case OrgStaff: case Local:
        return true;
    default:
        return false;
    }
}

QString ClusterID::toString() const
{
    return QStringLiteral("%1:%2").arg(static_cast<int>(m_type)).arg(m_id);
}

void registerMetaTypes()
{
    static const bool done = [] {
        qRegisterMetaType<ClusterID>("OrvEngine::ClusterID");
        qRegisterMetaType<ClusterID>("ClusterID");
        qRegisterMetaType<QList<ClusterID>>("QList<OrvEngine::ClusterID>");
        qRegisterMetaType<std::vector<ClusterID>>("std::vector<OrvEngine::ClusterID>");
        qRegisterMetaType<std::vector<quint64>>("std::vector<quint64>");
        qRegisterMetaType<Sessions>("OrvEngine::Sessions");
        qRegisterMetaType<ChatMsgPtr>("OrvEngine::ChatMsgPtr");
        qRegisterMetaType<LessonChangeList>("OrvEngine::LessonChangeList");
        return true;
    }();
    Q_UNUSED(done)
}

} // namespace OrvEngine
