// SPDX-License-Identifier: LGPL-2.1-or-later
#include "groupbridge.h"

#include "contactsengine.h"
#include "extensionsystem.h"
#include "iclassroommgr.h"
#include "nativebridge_logging.h"
#include "webcallbackscript.h"

namespace {

QString number(qint64 value)
{
    return QString::number(value);
}

} // namespace

GroupBridge::GroupBridge(OrvWebView *view, QObject *parent)
    : OrvWebBridge(view, parent)
{
}

void GroupBridge::reset(const OrvEngine::ClusterID &id)
{
    m_clusterId = id;
}

QPair<QJsonObject, bool> GroupBridge::getClusterInfoObj(const OrvEngine::ClusterID &id)
{
    auto *contacts = OrvEngine::ContactsEngine::instance();
    OrvEngine::ClusterInfoPtr info = contacts->getClusterInfo(id);
    if (!info) {
        // A classroom page may name the classroom rather than its course.
        auto *classroom = IClassRoomMgr::current();
        if (classroom && classroom->courseId() != 0)
            info = contacts->getClusterInfo(OrvEngine::ClusterID(classroom->courseId(), OrvEngine::Class));
    }

    QJsonObject object;
    if (!info) {
        object.insert(QStringLiteral("clusterId"), QString::number(id.id()));
        object.insert(QStringLiteral("identity"), QStringLiteral("0"));
        object.insert(QStringLiteral("lessonIdentity"), QStringLiteral("0"));
        return {object, false};
    }

    object.insert(QStringLiteral("clusterId"), QString::number(info->id().id()));
    object.insert(QStringLiteral("schoolId"), QString::number(info->schoolId()));
    object.insert(QStringLiteral("clusterName"), info->name());
    const QString alias = info->userConfig() ? info->userConfig()->alias() : QString();
    if (!alias.isEmpty())
        object.insert(QStringLiteral("courseAlias"), alias);
    object.insert(QStringLiteral("clusterStatus"), number(int(info->status())));
    object.insert(QStringLiteral("membersCount"), number(qint64(info->members().size())));

    const quint64 uid = contacts->currentUid();
    const OrvEngine::ClusterMemberInfoPtr me = info->isValid(uid) ? info->getMember(uid) : nullptr;
    object.insert(QStringLiteral("identity"), me ? number(int(me->identity())) : QStringLiteral("0"));
    object.insert(QStringLiteral("lessonIdentity"), me ? number(int(me->lessonIdentity())) : QStringLiteral("0"));
    return {object, true};
}

QString GroupBridge::getClusterInfo()
{
    const QPair<QJsonObject, bool> info = getClusterInfoObj(m_clusterId);
    const QString page = webView() ? webView()->url().toString(QUrl::RemoveQuery) : QString();
    if (info.second)
        qCInfo(lcBridge) << "return something id:" << m_clusterId.id() << page;
    else
        qCInfo(lcBridge) << "fallback return something id:" << m_clusterId.id() << page;
    return WebCallbackScript::compact(info.first);
}
