// SPDX-License-Identifier: LGPL-2.1-or-later
// Renders the cloud disk view (light and dark, in and out of a classroom) and two pickers with
// their pages from the local web service into PNG files, to be looked at.
#include "clouddiskbridge.h"
#include "clouddiskwebview.h"
#include "cloudfileselectbasewidget.h"
#include "cloudfolderselectwidget.h"
#include "cloudstyle.h"
#include "cloudtaskrcselectwidget.h"
#include "cloudviewsfixture.h"
#include "coreengine.h"
#include "extensionsystem.h"
#include "orvlang.h"

#include <QDir>

using namespace CloudViews;

namespace {

bool save(QWidget *widget, OrvWebView *view, const QString &file)
{
    widget->show();
    if (!QTest::qWaitForWindowExposed(widget))
        qWarning() << "not exposed";
    WebTest::waitFor(view->page(), QStringLiteral("!!(window.orvPage && orvPage.loaded)"), 15000);
    QTest::qWait(600); // let the page paint
    const bool ok = widget->grab().save(file);
    qInfo().noquote() << (ok ? "wrote" : "FAILED") << file;
    return ok;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    const QString out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::currentPath();
    QDir().mkpath(out);

    Environment env;
    if (!env.start())
        return 1;
    OrvLang::insert(QStringLiteral("ID_Reload"), QStringLiteral("Reload"));
    OrvLang::insert(QStringLiteral("ID_SelectFiles"), QStringLiteral("Select files"));
    OrvLang::insert(QStringLiteral("ID_TaskResource"), QStringLiteral("Task resources"));
    OrvLang::insert(QStringLiteral("ID_Courseware"), QStringLiteral("Courseware"));
    OrvEngine::CoreEngine::instance()->createLoginObject()->setLogined(true);
    FakeClassRoomMgr classroom;
    bool ok = true;

    for (const QString &theme : {QStringLiteral("light"), QStringLiteral("dark")}) {
        OrvSettings::instance()->setValue(QLatin1String(CloudStyle::ThemeKey), theme);
        CloudDiskWebView im(WebSubWindowBridge::FromIm);
        ok &= save(&im, im.webView(), out + QStringLiteral("/clouddisk_im_%1.png").arg(theme));
    }
    ExtensionSystem::instance()->addObject(QString::fromLatin1(IClassRoomMgr::ExtensionName), &classroom);
    {
        CloudDiskWebView room(WebSubWindowBridge::FromClassroom);
        room.updateGemeotry(0.9f);
        ok &= save(&room, room.webView(), out + QStringLiteral("/clouddisk_classroom.png"));
    }
    ExtensionSystem::instance()->removeObject(QString::fromLatin1(IClassRoomMgr::ExtensionName));

    for (const QString &theme : {QStringLiteral("light"), QStringLiteral("dark")}) {
        OrvSettings::instance()->setValue(QLatin1String(CloudStyle::ThemeKey), theme);
        CloudTaskRcSelectWidget files(OrvCloudDisk::SchoolId);
        auto *view = qobject_cast<OrvWebView *>(files.page(0)->widget(0));
        ok &= save(&files, view, out + QStringLiteral("/picker_taskresource_%1.png").arg(theme));
    }
    OrvSettings::instance()->setValue(QLatin1String(CloudStyle::ThemeKey), QStringLiteral("light"));
    CloudFolderSelectWidget categories(CloudFolderSelectWidget::SavePaper, nullptr, 880012);
    ok &= save(&categories, categories.webView(), out + QStringLiteral("/picker_savepaper.png"));

    env.stop();
    return ok ? 0 : 1;
}
