// SPDX-License-Identifier: LGPL-2.1-or-later
#include "demoservices.h"

#include "contactsengine.h"
#include "coreengine.h"
#include "orvclouddisk.h"
#include "orvexamservice.h"
#include "orvschoolservice.h"
#include "orvhttpmanager.h"
#include "orvwebservice.h"
#include "orvwebview.h"
#include "serverenvironment.h"

#include <QCoreApplication>
#include <memory>

namespace {
struct Services {
    std::unique_ptr<OrvCloudDisk> disk;
    std::unique_ptr<OrvSchoolService> schools = std::make_unique<OrvSchoolService>();
    std::unique_ptr<OrvExamService> exams = std::make_unique<OrvExamService>();
    std::unique_ptr<OrvWebService> service;
    bool started = false;
};

Services &services()
{
    static Services s;
    if (!s.service) {
        s.disk = std::make_unique<OrvCloudDisk>(OrvEngine::ContactsEngine::instance()->currentUid());
        s.service = std::make_unique<OrvWebService>();
        s.disk->install(*s.service);
        s.schools->install(*s.service);
        s.exams->install(*s.service);
        s.exams->setPushHandler([](const QString &json) { OrvEngine::CoreEngine::instance()->receiveUploadPhotoInfo(json); });
        s.started = s.service->start();
        if (s.started) {
            const QUrl base = s.service->baseUrl();
            OrvHttpManager::instance()->setBaseUrl(base);
            OrvWebView::addTrustedOrigin(base);
            ServerEnvironment::setHost(ServerEnvironment::DownloadServer, QString(), base);
            ServerEnvironment::setHost(ServerEnvironment::WebHost, QString(), base);
        }
        // The service's threads must end before the application's statics go.
        QObject::connect(qApp, &QCoreApplication::aboutToQuit, [] { services().service->stop(); });
    }
    return s;
}
} // namespace

OrvWebService *DemoServices::webService()
{
    Services &s = services();
    return s.started ? s.service.get() : nullptr;
}

OrvCloudDisk *DemoServices::cloudDisk()
{
    return services().disk.get();
}

OrvSchoolService *DemoServices::schoolService()
{
    return services().schools.get();
}

OrvExamService *DemoServices::examService()
{
    return services().exams.get();
}

QUrl DemoServices::baseUrl()
{
    OrvWebService *service = webService();
    return service ? service->baseUrl() : QUrl();
}
