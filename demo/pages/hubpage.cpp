// SPDX-License-Identifier: LGPL-2.1-or-later
#include "hubpage.h"
#include "../demopage.h"
#include "../demoservices.h"
#include "samplevideo.h"

#include "PopupsSrategyAuthNormalItem.h"
#include "PopupsSrategyForceUpgradeItem.h"
#include "PopupsSrategyManager.h"
#include "PopupsSrategyOpsItem.h"
#include "coreengine.h"
#include "courseengine.h"
#include "imsignalobject.h"
#include "loginobject.h"
#include "noticeengine.h"
#include "orvsettings.h"
#include "orvwebservice.h"
#include "popupactivitymanager.h"

#include <QCheckBox>
#include <QDateTime>
#include <QFile>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>
#include <QVBoxLayout>

using namespace OrvEngine;

namespace {
DemoPageRegistrar registrar(QStringLiteral("hub"), QStringLiteral("Popups and hub"), 20,
                            [](QWidget *parent) { return new HubPage(parent); });

const char *typeName(int type)
{
    switch (type) {
    case PopupsSrategyForceUpgrade: return "Forced upgrade";
    case PopupsSrategyForceGrayUpgrade: return "Forced gray upgrade";
    case PopupsSrategyUserGuiance: return "First-use guidance";
    case PopupsSrategyGrayUpgrade: return "Suggested upgrade";
    case PopupsSrategyWeakupPasswd: return "Weak password";
    case PopupsSrategyUserAvatar: return "Name and avatar";
    case PopupsSrategyAuthNormal: return "School verification";
    case PopupsSrategyScreen: return "Operations screen";
    case PopupsSrategyOps: return "Server maintenance";
    case PopupsSrategyClassList: return "Class list";
    }
    return "?";
}

QString now()
{
    return QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz"));
}

QList<PopupsSrategyBaseItem *> chainItems()
{
    QList<PopupsSrategyBaseItem *> items;
    for (int level = PopupsSrategyLevel0; level <= PopupsSrategyLevel2; ++level)
        items += PopupsSrategyManager::getInstance()->levelItems(PopupsSrategyLevel(level));
    return items;
}

QPushButton *button(const QString &text, QWidget *receiver, std::function<void()> slot)
{
    auto *b = new QPushButton(text);
    QObject::connect(b, &QPushButton::clicked, receiver, std::move(slot));
    return b;
}
} // namespace

HubPage::HubPage(QWidget *parent)
    : QWidget(parent)
    , m_mac(QStringLiteral("02:00:5E:10:00:01"))
{
    // The gray-upgrade item asks the web service whether this machine opted out of reminders.
    DemoServices::webService();
    CoreEngine::instance()->setMacAddress(m_mac);

    auto *layout = new QHBoxLayout(this);
    layout->addWidget(buildChainPanel(), 3);
    layout->addWidget(buildMicrolecturePanel(), 2);

    connect(ImSignalObject::instance(), &ImSignalObject::saveDraft, this,
            [this](int id, int duration, int collectionId, const QString &collectionName, const QString &draftName,
                   const QString &videoPath, const QString &, const QImage &cover) {
                logMedia(QStringLiteral("saveDraft: \"%1\", %2 s%3").arg(draftName).arg(duration)
                             .arg(cover.isNull() ? QStringLiteral(", no cover") : QString()));
                m_draftArgs->setText(QStringLiteral("id %1 · collection %2 “%3” · %4 s\n%5")
                                         .arg(id).arg(collectionId).arg(collectionName).arg(duration)
                                         .arg(QFileInfo(videoPath).fileName()));
                m_cover->setPixmap(cover.isNull() ? QPixmap()
                                                  : QPixmap::fromImage(cover.scaled(m_cover->size(), Qt::KeepAspectRatio,
                                                                                    Qt::SmoothTransformation)));
                if (cover.isNull())
                    m_cover->setText(QStringLiteral("(no cover frame)"));
            });
    connect(ImSignalObject::instance(), &ImSignalObject::signalMergeVideoFileFinish, this, [this](const QString &file) {
        logMedia(QStringLiteral("signalMergeVideoFileFinish: %1 (%2 KiB)")
                     .arg(QFileInfo(file).fileName()).arg(QFileInfo(file).size() / 1024));
    });
    connect(ImSignalObject::instance(), &ImSignalObject::signalMergeVideoError, this, [this](int errorNo) {
        logMedia(QStringLiteral("signalMergeVideoError %1: the parts are kept").arg(errorNo));
    });

    restartChain();
    signIn();
    QTimer::singleShot(0, this, &HubPage::finishRecording);
}

HubPage::~HubPage()
{
    PopupsSrategyManager::getInstance()->release();
}

QWidget *HubPage::buildChainPanel()
{
    auto *box = new QGroupBox(QStringLiteral("Popups owed after sign-in"));
    auto *layout = new QVBoxLayout(box);

    auto *answers = new QGroupBox(QStringLiteral("What the server says at the next sign-in"));
    auto *form = new QFormLayout(answers);
    m_weakPassword = new QCheckBox(QStringLiteral("Password is weak"));
    m_guidance = new QCheckBox(QStringLiteral("First-use guidance is due"));
    m_upgradeSuggested = new QCheckBox(QStringLiteral("An upgrade is suggested"));
    m_serverNoMore = new QCheckBox(QStringLiteral("…but this machine asked for no more reminders"));
    m_schoolPending = new QCheckBox(QStringLiteral("School verification is pending"));
    m_activityDue = new QCheckBox(QStringLiteral("An operations screen is scheduled"));
    m_nickname = new QLineEdit;
    m_nickname->setPlaceholderText(QStringLiteral("empty: the name and avatar prompt is due"));
    // A first sign-in that owes three popups of the same level: they come one after another.
    m_weakPassword->setChecked(true);
    m_upgradeSuggested->setChecked(true);
    auto *row = new QGridLayout;
    row->addWidget(m_weakPassword, 0, 0);
    row->addWidget(m_guidance, 0, 1);
    row->addWidget(m_upgradeSuggested, 1, 0);
    row->addWidget(m_serverNoMore, 1, 1);
    row->addWidget(m_schoolPending, 2, 0);
    row->addWidget(m_activityDue, 2, 1);
    form->addRow(row);
    form->addRow(QStringLiteral("Nickname"), m_nickname);
    layout->addWidget(answers);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(button(QStringLiteral("Sign in again"), this, [this] {
        restartChain();
        signIn();
    }));
    buttons->addWidget(button(QStringLiteral("Forced upgrade"), this, [this] {
        logInput(QStringLiteral("check-in: forced upgrade to 3.0"));
        CoreEngine::instance()->receiveCheckInForce(1, QStringLiteral("This version is no longer supported."),
                                                    QStringLiteral("3.0.0"),
                                                    QStringLiteral("https://example.invalid/setup.exe"), QString());
    }));
    buttons->addWidget(button(QStringLiteral("Maintenance"), this, [this] {
        logInput(QStringLiteral("notice: server maintenance tonight"));
        NoticeEngine::instance()->notifyServerInMaintenance(QStringLiteral("Maintenance 23:00–01:00"), false);
    }));
    buttons->addWidget(button(QStringLiteral("Reconnect"), this, [this] {
        logInput(QStringLiteral("basic connection re-established, sync again"));
        CoreEngine::instance()->notifyBasicReconnected();
        NoticeEngine::instance()->completeSysMsgSync();
    }));
    auto *close = button(QStringLiteral("Close the top popup"), this, [this] { closeShownPopup(); });
    close->setDefault(true);
    buttons->addWidget(close);
    layout->addLayout(buttons);

    m_items = new QTableWidget(0, 5);
    m_items->setHorizontalHeaderLabels({QStringLiteral("Popup"), QStringLiteral("Level"), QStringLiteral("Decided"),
                                        QStringLiteral("Wanted"), QStringLiteral("Shown")});
    m_items->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_items->verticalHeader()->hide();
    m_items->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_items->setSelectionMode(QAbstractItemView::NoSelection);
    m_items->verticalHeader()->setDefaultSectionSize(26);
    m_items->setMinimumHeight(26 * 9 + m_items->horizontalHeader()->sizeHint().height() + 4);
    m_items->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    layout->addWidget(m_items, 3);

    auto *lists = new QHBoxLayout;
    auto *doitBox = new QVBoxLayout;
    doitBox->addWidget(new QLabel(QStringLiteral("doit(), in order")));
    m_doits = new QListWidget;
    doitBox->addWidget(m_doits);
    auto *inputBox = new QVBoxLayout;
    inputBox->addWidget(new QLabel(QStringLiteral("Engine inputs")));
    m_inputs = new QListWidget;
    inputBox->addWidget(m_inputs);
    lists->addLayout(doitBox);
    lists->addLayout(inputBox);
    layout->addLayout(lists, 2);
    return box;
}

QWidget *HubPage::buildMicrolecturePanel()
{
    auto *box = new QGroupBox(QStringLiteral("Micro-lecture recording"));
    auto *layout = new QVBoxLayout(box);
    auto *about = new QLabel(QStringLiteral("The recorder leaves three parts of a few seconds each. Finishing joins "
                                            "them, deletes the parts once the join has succeeded and, when the "
                                            "classroom closes, takes the first frame as the cover of a draft."));
    about->setWordWrap(true);
    layout->addWidget(about);
    m_closeClassroom = new QCheckBox(QStringLiteral("Close the classroom (save a draft with a cover)"));
    m_closeClassroom->setChecked(true);
    m_brokenPart = new QCheckBox(QStringLiteral("Second part is damaged"));
    layout->addWidget(m_closeClassroom);
    layout->addWidget(m_brokenPart);
    layout->addWidget(button(QStringLiteral("Finish recording"), this, [this] { finishRecording(); }));
    m_cover = new QLabel(QStringLiteral("(cover frame)"));
    m_cover->setAlignment(Qt::AlignCenter);
    m_cover->setFixedSize(320, 180);
    m_cover->setStyleSheet(QStringLiteral("background:#1e1e1e;color:#9e9e9e;"));
    layout->addWidget(m_cover, 0, Qt::AlignHCenter);
    m_draftArgs = new QLabel;
    m_draftArgs->setWordWrap(true);
    layout->addWidget(m_draftArgs);
    m_mediaLog = new QListWidget;
    m_mediaLog->setWordWrap(true);
    m_mediaLog->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    layout->addWidget(m_mediaLog, 1);
    return box;
}

void HubPage::restartChain()
{
    auto *manager = PopupsSrategyManager::getInstance();
    manager->release();
    m_shown.clear();
    m_doits->clear();
    m_inputs->clear();
    CoreEngine::instance()->clear();
    CoreEngine::instance()->setMacAddress(m_mac);
    PopupActivityManager::instance()->clear();
    OrvSettings::instance()->remove(QStringLiteral("UpgradeNoMoreReminders"));

    manager->init();
    for (PopupsSrategyBaseItem *item : chainItems()) {
        connect(item, &PopupsSrategyBaseItem::doit, this, [this, item] { onDoit(item); });
        connect(item, &PopupsSrategyBaseItem::triggerProcess, this, &HubPage::refreshItems, Qt::QueuedConnection);
    }
    refreshItems();
}

void HubPage::signIn()
{
    CoreEngine *core = CoreEngine::instance();
    if (OrvWebService *service = DemoServices::webService())
        service->setIgnoreReminder(m_mac, m_serverNoMore->isChecked());
    core->setWeakPassword(m_weakPassword->isChecked());
    core->setUserValue(QStringLiteral("userGuidance"), m_guidance->isChecked());
    core->setBackgroundConfig(QString::fromLatin1(CoreEngine::UpgradeSuggestConfigKey), 1);
    core->setSchoolAuthState(m_schoolPending->isChecked(), CoreEngine::SchoolAuthPending);
    core->setSchoolCreator(m_schoolPending->isChecked());

    LoginObject *login = core->createLoginObject();
    login->setLoginAccount(QStringLiteral("13812345678"));
    login->setLogined(true);
    login->setNeedShowUpgradeSuggest(m_upgradeSuggested->isChecked());
    logInput(QStringLiteral("signed in as %1").arg(login->maskedLoginAccount()));

    // The inputs arrive in the order a real sign-in delivers them.
    logInput(QStringLiteral("system messages synced"));
    NoticeEngine::instance()->completeSysMsgSync();
    logInput(QStringLiteral("web data received"));
    core->setWebData(QStringLiteral("{\"portal\":\"default\"}"));
    logInput(QStringLiteral("operations screens fetched"));
    PopupActivityManager::instance()->trigger(m_activityDue->isChecked());
    logInput(QStringLiteral("user info received"));
    auto user = std::make_shared<UserInfo>(1);
    user->setNickname(m_nickname->text());
    core->setCurrentUserInfo(user);
    logInput(QStringLiteral("school info fetched"));
    core->completeSchoolInfoFetch();
}

void HubPage::closeShownPopup()
{
    m_shown.removeAll(nullptr);
    if (m_shown.isEmpty())
        return;
    PopupsSrategyBaseItem *item = m_shown.takeLast();
    logInput(QStringLiteral("host closed “%1”").arg(QLatin1String(typeName(item->type()))));
    // The weak-password reminder reports its closing through the hub, as the real dialog does.
    if (item->type() == PopupsSrategyWeakupPasswd)
        Q_EMIT ImSignalObject::instance()->signalWeakPasswdClosed();
    else
        item->popupClosed();
}

void HubPage::onDoit(PopupsSrategyBaseItem *item)
{
    m_shown.append(item);
    QString detail;
    if (auto *force = qobject_cast<PopupsSrategyForceUpgradeItem *>(item)) {
        uint code = 0;
        QString hint, version, link, plain;
        force->getUpgradeInfo(code, hint, version, link, plain);
        detail = QStringLiteral(" (version %1)").arg(version);
    } else if (auto *ops = qobject_cast<PopupsSrategyOpsItem *>(item)) {
        QString hint;
        bool first = false;
        ops->getServerInMaintenanceInfo(hint, first);
        detail = QStringLiteral(" (%1)").arg(hint);
    } else if (auto *school = qobject_cast<PopupsSrategyAuthNormalItem *>(item)) {
        detail = QStringLiteral(" (notice kind %1)").arg(school->getAuthNormalType());
    }
    m_doits->addItem(QStringLiteral("%1  %2%3").arg(now(), QLatin1String(typeName(item->type())), detail));
    m_doits->scrollToBottom();
    refreshItems();
}

void HubPage::refreshItems()
{
    const auto items = chainItems();
    m_items->setRowCount(items.size());
    const auto mark = [](bool on) {
        auto *cell = new QTableWidgetItem(on ? QStringLiteral("●") : QStringLiteral("·"));
        cell->setTextAlignment(Qt::AlignCenter);
        return cell;
    };
    for (int row = 0; row < items.size(); ++row) {
        PopupsSrategyBaseItem *item = items.at(row);
        auto *name = new QTableWidgetItem(QLatin1String(typeName(item->type())));
        if (m_shown.contains(item)) {
            QFont bold = name->font();
            bold.setBold(true);
            name->setFont(bold);
            name->setToolTip(QStringLiteral("on screen now"));
        }
        m_items->setItem(row, 0, name);
        auto *level = new QTableWidgetItem(QString::number(item->level()));
        level->setTextAlignment(Qt::AlignCenter);
        m_items->setItem(row, 1, level);
        m_items->setItem(row, 2, mark(item->hasTriggered()));
        m_items->setItem(row, 3, mark(item->isActiced()));
        m_items->setItem(row, 4, mark(item->isCalledDoit()));
        const QColor shade = m_shown.contains(item) ? QColor(0xFFF3C4) : (row % 2 ? QColor(0xF7F7F7) : QColor(Qt::white));
        for (int column = 0; column < 5; ++column)
            m_items->item(row, column)->setBackground(shade);
    }
}

void HubPage::logInput(const QString &text)
{
    m_inputs->addItem(QStringLiteral("%1  %2").arg(now(), text));
    m_inputs->scrollToBottom();
}

void HubPage::finishRecording()
{
    if (!m_mediaDir.isValid()) {
        logMedia(QStringLiteral("no temporary folder for the recording"));
        return;
    }
    ++m_run;
    const QVector<QColor> colours = {QColor(0x1E88E5), QColor(0x43A047), QColor(0xFDD835), QColor(0xE53935),
                                     QColor(0x8E24AA), QColor(0x00ACC1)};
    std::vector<QString> parts;
    for (int i = 0; i < 3; ++i) {
        SampleVideo video;
        video.seconds = {colours.at((2 * i) % colours.size()), colours.at((2 * i + 1) % colours.size())};
        video.size = QSize(320, 180);
        const QString path = m_mediaDir.filePath(QStringLiteral("lecture%1-part%2.mp4").arg(m_run).arg(i + 1));
        const QString error = video.write(path);
        if (!error.isEmpty()) {
            logMedia(QStringLiteral("cannot write %1: %2").arg(path, error));
            return;
        }
        parts.push_back(path);
    }
    if (m_brokenPart->isChecked()) {
        QFile damaged(parts.at(1));
        if (damaged.open(QIODevice::WriteOnly | QIODevice::Truncate))
            damaged.write("not a video any more");
    }
    logMedia(QStringLiteral("recorded %1 parts in %2").arg(parts.size()).arg(m_mediaDir.path()));

    ImSignalObject *hub = ImSignalObject::instance();
    const QString merged = m_mediaDir.filePath(QStringLiteral("lecture%1.mp4").arg(m_run));
    hub->setMicrolectureCache(m_run, 6, QStringLiteral("Algebra, term 1"), merged,
                              m_mediaDir.filePath(QStringLiteral("lecture%1.edb").arg(m_run)), 7, parts);
    hub->setIsCloseClassroom(m_closeClassroom->isChecked());
    hub->mergeVideoFiles(parts, merged);
}

void HubPage::logMedia(const QString &text)
{
    m_mediaLog->addItem(QStringLiteral("%1  %2").arg(now(), text));
    m_mediaLog->scrollToBottom();
}
