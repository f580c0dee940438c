// SPDX-License-Identifier: LGPL-2.1-or-later
// Runs the local web service for manual use: orv-webservice [--host H] [--port P] [--ignore-reminder MAC]...
#include "orvclouddisk.h"
#include "orvexamservice.h"
#include "orvschoolservice.h"
#include "orvwebservice.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("orv-webservice"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Local stand-in for the client's web-API server."));
    parser.addHelpOption();
    const QCommandLineOption hostOption(QStringLiteral("host"), QStringLiteral("Address to listen on."),
                                        QStringLiteral("host"), QStringLiteral("127.0.0.1"));
    const QCommandLineOption portOption(QStringLiteral("port"), QStringLiteral("Port to listen on; 0 picks one."),
                                        QStringLiteral("port"), QStringLiteral("0"));
    const QCommandLineOption ignoreOption(QStringLiteral("ignore-reminder"),
                                          QStringLiteral("MAC address whose upgrade reminders are switched off."),
                                          QStringLiteral("mac"));
    parser.addOptions({hostOption, portOption, ignoreOption});
    parser.process(app);

    bool portOk = false;
    const uint port = parser.value(portOption).toUInt(&portOk);
    if (!portOk || port > 65535) {
        QTextStream(stderr) << "invalid port: " << parser.value(portOption) << '\n';
        return 2;
    }

    OrvWebService service;
    OrvCloudDisk cloudDisk;
    cloudDisk.install(service);
    OrvSchoolService schools;
    schools.install(service);
    OrvExamService exams;
    exams.install(service);
    const QStringList macs = parser.values(ignoreOption);
    for (const QString &mac : macs)
        service.setIgnoreReminder(mac, true);
    if (!service.start(parser.value(hostOption), quint16(port))) {
        QTextStream(stderr) << "cannot listen on " << parser.value(hostOption) << ':' << port << '\n';
        return 1;
    }
    QTextStream(stdout) << service.baseUrl().toString() << Qt::endl;

    // Runs until the process is interrupted.
    return app.exec();
}
