// SPDX-License-Identifier: LGPL-2.1-or-later
#include "UserGuidanceHelper.h"
#include "orvcommon_logging.h"
#include "imsignalobject.h"

#include "contactsengine.h"
#include "coreengine.h"
#include "orvtrack.h"

UserGuidanceHelper *UserGuidanceHelper::getInstance()
{
    static UserGuidanceHelper instance;
    return &instance;
}

UserGuidanceHelper::UserGuidanceHelper()
{
    connect(this, &UserGuidanceHelper::clickedNPCStep1Item, this, &UserGuidanceHelper::onClickedNPCStep1Item);
    connect(this, &UserGuidanceHelper::clickedNPCStep2Item, this, &UserGuidanceHelper::onClickedNPCStep2Item);
    connect(this, &UserGuidanceHelper::clickedNPCStep3Item, this, &UserGuidanceHelper::onClickedNPCStep3Item);
}

UserGuidanceHelper::~UserGuidanceHelper() = default;

void UserGuidanceHelper::trackNPCGuide(int step)
{
    QString node;
    switch (step) {
    case 1: node = QStringLiteral("作业引导"); break;
    case 2: node = QStringLiteral("通知引导"); break;
    default: node = QStringLiteral("建班引导"); break;
    }
    OrvTrack::instance()->track(QStringLiteral("NPCguide"), {{QStringLiteral("trigger_action"), QStringLiteral("点击")},
                                                             {QStringLiteral("trigger_nodes"), node}});
}

void UserGuidanceHelper::onClickedNPCStep1Item(const QString &url, quint64 courseId)
{
    const OrvEngine::ClusterInfoPtr cluster =
        OrvEngine::ContactsEngine::instance()->getClusterInfo(OrvEngine::ClusterID(courseId, OrvEngine::Class));
    if (cluster) {
        auto pod = QSharedPointer<OpenStudyActivityDetailFromToDoPod>::create();
        pod->courseId = QString::number(courseId);
        pod->schoolId = QString::number(cluster->schoolId());
        pod->pageType = 1;
        pod->activityId = 0;
        pod->windowSize = QSize(1080, 720);
        const OrvEngine::UserInfoPtr user = OrvEngine::CoreEngine::instance()->currentUserInfo();
        pod->userId = QString::number(user ? user->uid() : OrvEngine::ContactsEngine::instance()->currentUid());
        pod->url = url;
        Q_EMIT ImSignalObject::instance()->openStudyActivityWidget(pod);
    } else {
        qCInfo(lcHub) << "guidance: course" << courseId << "unknown to the contacts engine, no homework window";
    }
    trackNPCGuide(1);
    Q_EMIT clickedNPCStep1();
}

void UserGuidanceHelper::onClickedNPCStep2Item(quint64 courseId)
{
    Q_EMIT ImSignalObject::instance()->signalCreateClusterNotice(false, 0, OrvEngine::ClusterID(courseId, OrvEngine::Class),
                                                                 nullptr);
    trackNPCGuide(2);
    Q_EMIT clickedNPCStep2();
}

void UserGuidanceHelper::onClickedNPCStep3Item(quint64)
{
    Q_EMIT ImSignalObject::instance()->menuCreateCourse();
    trackNPCGuide(3);
    Q_EMIT clickedNPCStep3();
}
