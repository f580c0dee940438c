// SPDX-License-Identifier: LGPL-2.1-or-later
// Teen mode and the school binding of this installation, side by side.
#include "../demopage.h"
#include "../demoservices.h"

#include "BindInstallPlaceWidget.h"
#include "TeenModeWidget.h"

#include "orgchartmanager.h"
#include "orvschoolservice.h"
#include "schoolchartmanager.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QTime>
#include <QVBoxLayout>

namespace {

QWidget *createAccountPage(QWidget *parent)
{
    // The web service knows the schools of the charts, so a binding to any of them is accepted.
    auto registerSchools = [] {
        OrvSchoolService *service = DemoServices::schoolService();
        for (const auto &s : SchoolChartManager::instance()->getSchoolInfos())
            service->addSchool(s->id(), s->name());
        for (const auto &s : OrgChartManager::instance()->getSchoolInfos(false))
            service->addSchool(s->id(), s->name());
    };
    registerSchools();
    DemoServices::webService();
    auto *page = new QWidget(parent);
    QObject::connect(SchoolChartManager::instance(), &SchoolChartManager::syncComplete, page, registerSchools);
    QObject::connect(OrgChartManager::instance(), &OrgChartManager::allOrgSyncComplete, page, registerSchools);
    auto *teen = new TeenModeWidget;
    auto *bind = new BindInstallPlaceWidget;
    auto *log = new QPlainTextEdit;
    log->setReadOnly(true);
    auto write = [log](const QString &line) { log->appendPlainText(QTime::currentTime().toString(QStringLiteral("hh:mm:ss ")) + line); };
    QObject::connect(teen, &TeenModeWidget::teenModeChanged, log, [write](bool on, int minutes) {
        write(on ? QStringLiteral("teen mode on, %1 minutes a day").arg(minutes) : QStringLiteral("teen mode off"));
    });
    QObject::connect(bind, &BindInstallPlaceWidget::bound, log,
                     [write](quint64 id, const QString &name) { write(QStringLiteral("bound to %1 (%2)").arg(name).arg(id)); });
    QObject::connect(bind, &BindInstallPlaceWidget::bindFailed, log, [write](const QString &why) { write(QStringLiteral("binding refused: ") + why); });

    auto *widgets = new QHBoxLayout;
    widgets->addWidget(teen, 1);
    widgets->addWidget(bind, 1);
    auto *layout = new QVBoxLayout(page);
    layout->addLayout(widgets, 3);
    layout->addWidget(new QLabel(QStringLiteral("Signals to the host (settings are kept in the demo's settings file)")));
    layout->addWidget(log, 1);
    return page;
}

DemoPageRegistrar registrar(QStringLiteral("account"), QStringLiteral("Teen mode and school"), 50, createAccountPage);

} // namespace
