// SPDX-License-Identifier: LGPL-2.1-or-later
#include "clusterjoinwidget.h"
#include "ContactsSelectView.h"
#include "ContactsSelectViewModel.h"
#include "ContactsSortFilterModel.h"
#include "ContactsTreeModel.h"
#include "bridgedialogs.h"
#include "cloudstyle.h"
#include "clusterqrcodewidget.h"
#include "clustersecretwidget.h"
#include "imsignalobject.h"
#include "orvcommon_logging.h"
#include "orvhttpmanager.h"
#include "orvlang.h"
#include "orvtrack.h"
#include "waitingspinnerwidget.h"

#include "contactsengine.h"
#include "courseengine.h"
#include "schoolsettingmanager.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>

using namespace OrvEngine;

namespace {

bool succeeded(int networkError, int errorNo)
{
    return networkError == 0 && errorNo == OrvHttpManager::SuccessErrorNo;
}

QString failureText(int networkError, int errorNo, const QString &serverText)
{
    if (!serverText.isEmpty())
        return serverText;
    const QString id = OrvHttpManager::webProxyErrorToStringId(networkError, errorNo);
    return OrvLang::text(id.isEmpty() ? QStringLiteral("ID_clusterjoin_BadReply") : id);
}

} // namespace

ClusterJoinWidget::ClusterJoinWidget(quint64 schoolId, quint64 courseId, bool withContacts, bool playback, int mode,
                                     QWidget *parent, bool isPublicCourse, bool haveAccess)
    : QWidget(parent)
    , m_content(new QStackedWidget)
    , m_tabs(new QTabWidget)
    , m_closedPage(nullptr)
    , m_qrCode(new ClusterQRCodeWidget(mode, isPublicCourse))
    , m_secret(new ClusterSecretWidget(mode, isPublicCourse))
    , m_schoolId(schoolId)
    , m_courseId(courseId)
    , m_withContacts(withContacts)
    , m_playback(playback && !withContacts)
    , m_mode(mode)
    , m_isPublic(isPublicCourse)
    , m_haveAccess(haveAccess)
{
    setObjectName(QStringLiteral("ClusterJoinWidget"));
    m_tabs->setObjectName(QStringLiteral("clusterJoinTabs"));
    m_tabs->tabBar()->setMinimumHeight(14);
    m_info.courseId = courseId;

    if (m_withContacts)
        m_tabs->addTab(createContactsPage(), QString());
    m_tabs->addTab(m_secret, QString());
    m_tabs->addTab(m_qrCode, QString());
    if (m_playback) {
        m_playbackQrCode = new ClusterQRCodeWidget(mode, isPublicCourse);
        m_tabs->addTab(m_playbackQrCode, QString());
    }
    m_closedPage = createDisableOpenClassWidget(mode);
    m_content->addWidget(m_tabs);
    m_content->addWidget(m_closedPage);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_content);

    m_requestTimer.setSingleShot(true);
    m_requestTimer.setInterval(RequestTimeoutMs);
    connect(&m_requestTimer, &QTimer::timeout, this, &ClusterJoinWidget::requestTimeout);
    initWaitingSpinnerWidget();
    setStyleSheet(CloudStyle::styleSheet(QStringLiteral("ClusterJoinWidget")));
    setIsHaveAccess(haveAccess);
    setUiText();

    connect(m_tabs, &QTabWidget::currentChanged, this, &ClusterJoinWidget::onCurrentChanged);
    connect(CourseEngine::instance(), &CourseEngine::signalCourseNameChanged, this,
            [this](quint64 sid, quint64 cid, const QString &) { onCourseInfoChanged(sid, cid); });
    connect(CourseEngine::instance(), &CourseEngine::signalSchoolInfoChanged, this,
            [this](quint64 sid) { onCourseInfoChanged(sid, m_courseId); });
    auto *contacts = ContactsEngine::instance();
    connect(contacts, &ContactsEngine::updateClusterInfo, this, &ClusterJoinWidget::onUpdateClusterInfo);
    connect(contacts, &ContactsEngine::updateClusterSetting, this, &ClusterJoinWidget::onUpdateClusterInfo);
    connect(contacts, &ContactsEngine::updateClusterInformation, this, &ClusterJoinWidget::onUpdateClusterInfo);
    connect(Org::SchoolSettingManager::getInstance(), &Org::SchoolSettingManager::getSchoolSettingFinished, this,
            &ClusterJoinWidget::getSchoolSettingFinished);

    // A closed course shows its page at once, while the links load.
    updateOpenState();
    requestData();
}

ClusterJoinWidget::~ClusterJoinWidget()
{
    // The tree's custom course was this panel's.
    if (m_withContacts && m_contacts && m_contacts->treeModel() && m_contacts->treeModel()->customCourseId() == m_courseId)
        m_contacts->treeModel()->setCustomCourseId(0);
}

QWidget *ClusterJoinWidget::createContactsPage()
{
    m_pages = new QStackedWidget;
    m_pages->setObjectName(QStringLiteral("contactsPages"));
    // The class is not offered to itself.
    ContactsTreeModel::instance()->setCustomCourseId(m_courseId);
    ContactsSelectViewModel::Options options;
    options.schoolId = m_schoolId;
    m_contacts = ContactsSelectViewModel::createContactsSelectTool(nullptr, options);
    m_pages->addWidget(m_contacts->view());
    m_pages->addWidget(createBlankWidget());
    m_pages->setCurrentIndex(m_contacts->isEmpty() ? 1 : 0);
    connect(m_contacts, &ContactsSelectViewModel::emptyChagned, m_pages, [this](bool empty) { m_pages->setCurrentIndex(empty ? 1 : 0); });
    connect(m_contacts, &ContactsSelectViewModel::okBtnClicked, this, &ClusterJoinWidget::signalAccept);
    connect(m_contacts, &ContactsSelectViewModel::cancelBtnClicked, this, &ClusterJoinWidget::signalReject);
    return m_pages;
}

QWidget *ClusterJoinWidget::createBlankWidget()
{
    auto *blank = new QWidget;
    blank->setObjectName(QStringLiteral("blankWidget"));
    auto *image = new QLabel;
    image->setObjectName(QStringLiteral("blankWidgetImage"));
    image->setPixmap(QPixmap(QStringLiteral(":/common/images/common/contacts_blank.png")));
    image->setAlignment(Qt::AlignCenter);
    auto *desc = new QLabel(OrvLang::text("ID_clusterjoin_NoContacts"));
    desc->setObjectName(QStringLiteral("blankWidgetDesc"));
    desc->setAlignment(Qt::AlignCenter);
    auto *action = new QPushButton(OrvLang::text("ID_Cancel"));
    action->setObjectName(QStringLiteral("blankWidgetAction"));
    connect(action, &QPushButton::clicked, this, &ClusterJoinWidget::signalReject);
    auto *layout = new QVBoxLayout(blank);
    layout->addStretch(1);
    layout->addWidget(image);
    layout->addWidget(desc);
    layout->addWidget(action, 0, Qt::AlignHCenter);
    layout->addStretch(1);
    return blank;
}

QWidget *ClusterJoinWidget::createDisableOpenClassWidget(int mode)
{
    auto *page = new QWidget;
    page->setObjectName(QStringLiteral("disableOpenClassWidget"));
    auto *title = new QLabel(OrvLang::text("ID_clusterjoin_NotOpenToJoin"));
    title->setObjectName(QStringLiteral("notOpenToJoinLabel"));
    title->setAlignment(Qt::AlignCenter);
    auto *layout = new QVBoxLayout(page);
    layout->addStretch(1);
    layout->addWidget(title);
    if (mode == 1) {
        auto *go = new QPushButton(OrvLang::text("ID_clusterjoin_GoToSet"));
        go->setObjectName(QStringLiteral("goToSetBtn"));
        connect(go, &QPushButton::clicked, this, &ClusterJoinWidget::onGoToOpenBtnChicked);
        layout->addWidget(go, 0, Qt::AlignHCenter);
    } else {
        auto *hint = new QLabel(OrvLang::text("ID_clusterjoin_ContactTheHeadTeacherToOpen"));
        hint->setObjectName(QStringLiteral("contactHeadTeacherLabel"));
        hint->setAlignment(Qt::AlignCenter);
        layout->addWidget(hint);
    }
    layout->addStretch(1);
    return page;
}

void ClusterJoinWidget::initWaitingSpinnerWidget()
{
    m_spinner = new WaitingSpinnerWidget(this);
    m_spinner->setText(OrvLang::text("ID_Loading_Ellipsis"));
}

void ClusterJoinWidget::setUiText()
{
    QStringList titles;
    if (m_withContacts)
        titles << OrvLang::text("ID_clusterjoin_AddKadioContacts");
    titles << OrvLang::text("ID_clusterjoin_InLink") << OrvLang::text("ID_QRC_Invite");
    if (m_playback)
        titles << OrvLang::text("ID_Live_Playback_Link");
    for (int i = 0; i < titles.size() && i < m_tabs->count(); ++i)
        m_tabs->setTabText(i, titles.at(i));
}

void ClusterJoinWidget::requestData()
{
    m_spinner->setText(OrvLang::text("ID_Loading_Ellipsis"));
    m_spinner->start();
    m_requestTimer.start();
    auto *http = OrvHttpManager::instance();
    http->requestGetOpenCourseUrl(m_schoolId, m_courseId, this,
                                  [this](const QJsonValue &data, int networkError, int errorNo, const QString &errorText) {
        const QJsonObject o = data.toObject();
        if (succeeded(networkError, errorNo)) {
            m_info.snCode = o.value(QStringLiteral("snCode")).toString();
            if (o.contains(QStringLiteral("courseName")) && o.value(QStringLiteral("courseName")).isString())
                m_info.courseName = o.value(QStringLiteral("courseName")).toString();
            m_info.teacherName = o.value(QStringLiteral("teacherName")).toString(m_info.teacherName);
            const QJsonValue start = o.value(QStringLiteral("startTime"));
            if (start.isDouble() && start.toDouble() > 0)
                m_info.startTime = QDateTime::fromSecsSinceEpoch(qint64(start.toDouble()));
            m_info.minutes = std::max(0, o.value(QStringLiteral("duration")).toInt());
        }
        onGetOpenCourseUrlFinished(o.value(QStringLiteral("openCourseUrl")).toString(),
                                   o.value(QStringLiteral("openQRCodeUrl")).toString(), networkError, errorNo, errorText);
    });
    http->requestGetSchoolAuthInfo(m_schoolId, this,
                                   [this](const QJsonValue &data, int networkError, int errorNo, const QString &errorText) {
        const QByteArray json = data.isObject() ? QJsonDocument(data.toObject()).toJson(QJsonDocument::Compact) : QByteArray();
        onGetSchoolInfo(json, networkError, errorNo, errorText);
    });
    // The school's settings: known already, or reported by the manager's signal.
    if (Org::SchoolSettingManager::getInstance()->getShoolSettingInfo(m_schoolId, true))
        m_schoolSettingReady = true;
}

void ClusterJoinWidget::stopLoading()
{
    if (m_requestTimer.isActive())
        m_requestTimer.stop();
    m_spinner->stop();
}

void ClusterJoinWidget::requestTimeout()
{
    if (m_requestTimer.isActive())
        m_requestTimer.stop();
    m_spinner->stop();
    qCInfo(lcJoin) << "join links of course" << m_courseId << "still loading after" << RequestTimeoutMs << "ms";
}

void ClusterJoinWidget::fail(const QString &text)
{
    if (m_rejected)
        return; // one message for a panel that is going anyway
    m_rejected = true;
    BridgeDialogs::message(this, BridgeDialogs::messageBoxTitle(false), text, {OrvLang::text("ID_OK")});
    Q_EMIT signalReject();
}

void ClusterJoinWidget::onGetOpenCourseUrlFinished(const QString &openCourseUrl, const QString &openQRCodeUrl, int networkError,
                                                   int errorNo, const QString &errorJsonString)
{
    stopLoading();
    if (!succeeded(networkError, errorNo)) {
        qCWarning(lcJoin) << "join links of course" << m_courseId << "refused: networkError" << networkError << "errorNo" << errorNo
                          << errorJsonString;
        fail(failureText(networkError, errorNo, errorJsonString));
        return;
    }
    if (openCourseUrl.isEmpty()) {
        qCWarning(lcJoin) << "join links of course" << m_courseId << ": the reply has no link";
        fail(OrvLang::text("ID_clusterjoin_BadReply"));
        return;
    }
    m_openCourseUrl = openCourseUrl;
    m_qrCodeUrl = openQRCodeUrl.isEmpty() ? openCourseUrl : openQRCodeUrl;
    setUiData();
}

void ClusterJoinWidget::onGetSchoolInfo(const QByteArray &replyJsonData, int networkError, int errorNo, const QString &errorString)
{
    stopLoading();
    if (!succeeded(networkError, errorNo)) {
        qCWarning(lcJoin) << "school" << m_schoolId << "auth info refused: networkError" << networkError << "errorNo" << errorNo
                          << errorString;
        fail(networkError == 0 && errorString.isEmpty() ? OrvLang::text("ID_clusterjoin_SchoolAuthFailed")
                                                        : failureText(networkError, errorNo, errorString));
        return;
    }
    const QJsonObject o = QJsonDocument::fromJson(replyJsonData).object();
    bool ok = false;
    const quint64 sid = o.value(QStringLiteral("SID")).toString().toULongLong(&ok);
    if (!ok) {
        qCWarning(lcJoin) << "school auth info without a readable SID:" << replyJsonData.left(200);
        fail(OrvLang::text("ID_clusterjoin_BadReply"));
        return;
    }
    if (sid != m_schoolId) {
        qCWarning(lcJoin) << "school auth info is of school" << sid << "not" << m_schoolId;
        m_rejected = true;
        Q_EMIT signalReject();
        return;
    }
    m_schoolName = o.value(QStringLiteral("name")).toString();
    m_info.schoolName = m_schoolName;
    setUiData();
}

void ClusterJoinWidget::getSchoolSettingFinished(quint64 schoolId, int networkError, int errorNo, const QString &errorString)
{
    if (schoolId != m_schoolId)
        return;
    if (!succeeded(networkError, errorNo)) {
        qCWarning(lcJoin) << "errorNo:" << errorNo << errorString;
        return;
    }
    m_schoolSettingReady = true;
}

void ClusterJoinWidget::setUiData()
{
    if (m_openCourseUrl.isEmpty())
        return; // the links come first; the school's name joins them later
    const auto cluster = ContactsEngine::instance()->getClusterInfo(ClusterID(m_courseId, Class));
    if (m_info.courseName.isEmpty())
        m_info.courseName = CourseEngine::instance()->getCourseName(m_courseId);
    if (cluster) {
        m_info.className = cluster->name();
        if (m_info.courseName.isEmpty())
            m_info.courseName = cluster->name();
        if (m_info.teacherName.isEmpty()) {
            if (const auto owner = ContactsEngine::instance()->getUserInfo(cluster->ownerUID()))
                m_info.teacherName = owner->displayName();
        }
    }
    m_info.link = m_openCourseUrl;
    m_info.qrLink = m_qrCodeUrl;
    m_secret->setInfo(m_info);
    m_qrCode->setInfo(m_info);
    if (m_playbackQrCode) {
        ClusterJoinInfo playback = m_info;
        playback.qrLink = m_openCourseUrl + (m_openCourseUrl.contains(QLatin1Char('?')) ? QStringLiteral("&") : QStringLiteral("?"))
            + QStringLiteral("playback=1");
        m_playbackQrCode->setInfo(playback);
    }
}

void ClusterJoinWidget::updateOpenState()
{
    const auto cluster = ContactsEngine::instance()->getClusterInfo(ClusterID(m_courseId, Class));
    if (!cluster || !cluster->hasCourseAttr())
        return;
    const bool closed = !cluster->everyoneCanJoin();
    m_content->setCurrentWidget(closed ? m_closedPage : static_cast<QWidget *>(m_tabs));
}

void ClusterJoinWidget::onCourseInfoChanged(quint64 schoolId, quint64 courseId)
{
    if (courseId != m_courseId || (schoolId && schoolId != m_schoolId))
        return;
    updateOpenState();
}

void ClusterJoinWidget::onUpdateClusterInfo(const std::vector<ClusterID> &clusters)
{
    if (std::find(clusters.begin(), clusters.end(), ClusterID(m_courseId, Class)) != clusters.end())
        updateOpenState();
}

bool ClusterJoinWidget::isClosedPageShown() const
{
    return m_content->currentWidget() == m_closedPage;
}

bool ClusterJoinWidget::isBlankContactsPageShown() const
{
    return m_pages && m_pages->currentIndex() == 1;
}

void ClusterJoinWidget::onGoToOpenBtnChicked()
{
    qCInfo(lcJoin) << "opening the settings of class" << m_courseId << "to open it for joining";
    Q_EMIT ImSignalObject::instance()->signalDrawerDetachClusterInfoWidget(ClusterID(m_courseId, Class), true);
}

void ClusterJoinWidget::onCurrentChanged(int index)
{
    // The link page lays its text out once it is on screen.
    if ((index == 1 && !m_isPublic) || (index == 0 && m_isPublic))
        QTimer::singleShot(500, m_secret, &ClusterSecretWidget::refresh);
}

void ClusterJoinWidget::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (m_tracked)
        return;
    m_tracked = true;
    QString service;
    if (const auto school = CourseEngine::instance()->getSchoolInfo(m_schoolId, false))
        service = QString::number(school->serviceType());
    OrvTrack::instance()->track(QStringLiteral("AdvertisementPopup"),
                                {{QStringLiteral("popup_source"), m_isPublic ? QStringLiteral("publicCourse") : QStringLiteral("class")},
                                 {QStringLiteral("banner_name"), QStringLiteral("clusterJoin")},
                                 {QStringLiteral("school_service_type"), service}});
}

void ClusterJoinWidget::setTabWidgetIndex(int index)
{
    if (index >= 0 && index < m_tabs->count())
        m_tabs->setCurrentIndex(index);
}

int ClusterJoinWidget::currentIndex() const
{
    return m_tabs->currentIndex();
}

void ClusterJoinWidget::setDisableUsers(const std::vector<quint64> &uids)
{
    if (m_contacts)
        m_contacts->setDisableUsers(uids);
}

QList<ClusterID> ClusterJoinWidget::getSelectedContacts() const
{
    return m_contacts ? m_contacts->getSelectedContacts() : QList<ClusterID>();
}

std::vector<quint64> ClusterJoinWidget::getSelectedUsers() const
{
    return m_contacts ? m_contacts->getSelectedUsers() : std::vector<quint64>();
}

void ClusterJoinWidget::setIsHaveAccess(bool access)
{
    m_haveAccess = access;
    m_qrCode->setIsHaveAccess(access);
    if (m_playbackQrCode)
        m_playbackQrCode->setIsHaveAccess(access);
}

QString ClusterJoinWidget::getSNCode() const
{
    return m_secret->getSNCode();
}

void ClusterJoinWidget::setContactsSelectConfig(int maxCount, bool enabledOnly, bool onlyThisSchool)
{
    if (!m_contacts)
        return;
    m_contacts->setMaxCount(maxCount);
    m_contacts->proxyModel()->setFilterEnabledOnly(enabledOnly);
    m_contacts->setFilterSchool(onlyThisSchool ? m_schoolId : 0);
}

void ClusterJoinWidget::clearFilterSchool()
{
    if (m_contacts)
        m_contacts->clearFilterSchool();
}
