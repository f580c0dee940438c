// SPDX-License-Identifier: LGPL-2.1-or-later
// The helper program of screen capture: runs the capture overlay for a client whose own pixels
// the system stretches. prscrn <token> <data folder>; commands on standard input; the exit code
// is the capture's operation code.
#include "prscrnsession.h"

#include "PrScrnHelper.h"

#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QMutex>

#include <cstdio>
#include <memory>

namespace {

std::unique_ptr<QFile> s_logFile;
QMutex s_logMutex;

/// Log lines go to standard output, where the client reads them, and to the data folder.
void logLine(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    static const char *const kinds[] = {"debug", "warning", "critical", "fatal", "info"};
    const QByteArray line = QStringLiteral("%1 %2 %3\n")
                                .arg(QDateTime::currentDateTime().toString(Qt::ISODateWithMs),
                                     QString::fromLatin1(kinds[type <= QtInfoMsg ? type : 0]), message)
                                .toUtf8();
    QMutexLocker lock(&s_logMutex);
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
    std::fflush(stdout);
    if (s_logFile) {
        s_logFile->write(line);
        s_logFile->flush();
    }
}

void openLogFile(const QString &dataFolder)
{
    if (dataFolder.isEmpty() || !QDir().mkpath(dataFolder))
        return;
    auto file = std::make_unique<QFile>(QDir(dataFolder).filePath(QStringLiteral("prscrn.log")));
    // One capture's lines are enough; an old log does not grow without end.
    const QIODevice::OpenMode mode = file->size() > 1024 * 1024 ? QIODevice::WriteOnly : QIODevice::Append;
    if (file->open(mode | QIODevice::Text))
        s_logFile = std::move(file);
}

} // namespace

int main(int argc, char **argv)
{
    qInstallMessageHandler(logLine);
    if (argc < 2 || qstrcmp(argv[1], PrScrnHelper::HelperToken) != 0) {
        std::fprintf(stdout, "prscrn: refused: this program is started by the client\n");
        return PrScrnHelper::HelperRefused;
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("prscrn"));
    QApplication::setQuitOnLastWindowClosed(false);
    const QString dataFolder = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QString();
    openLogFile(dataFolder);
    qInfo("prscrn started, pid %lld, data folder %s", QCoreApplication::applicationPid(), qPrintable(dataFolder));
    if (qEnvironmentVariableIsSet("__COMPAT_LAYER"))
        qInfo("__COMPAT_LAYER: %s", qPrintable(qEnvironmentVariable("__COMPAT_LAYER")));

    PrScrnSession session;
    const QStringList test = qEnvironmentVariable("ORV_PRSCRN_TEST_SELECT").split(QLatin1Char(','));
    if (test.size() == 4)
        session.setTestSelection(QRect(test[0].toInt(), test[1].toInt(), test[2].toInt(), test[3].toInt()));
    const int code = app.exec();
    qInfo("prscrn exit: %d", code);
    return code;
}
