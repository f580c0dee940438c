// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ExamFileInfoGetter.h"
#include "ExamUtils.h"
#include "avhelpers.h"
#include "examupload_logging.h"
#include "orvutils.h"

#include <QFileInfo>
#include <QFutureWatcher>
#include <QMimeDatabase>
#include <QtConcurrent>

ExamFileInfoGetter::ExamFileInfoGetter(QObject *parent)
    : QObject(parent)
{
    static const int registered = qRegisterMetaType<ExamFileInfoGetterResult>("ExamFileInfoGetterResult");
    Q_UNUSED(registered)
}

ExamFileInfoGetter::~ExamFileInfoGetter() = default;

ExamFileInfo ExamFileInfoGetter::readFileInfo(const QString &path)
{
    ExamFileInfo info;
    info.path = path;
    info.fileName = ExamUtils::getFileName(path);
    info.suffix = ExamUtils::getFileSuffix(path);
    info.fileType = QStringLiteral("file");
    const QFileInfo file(path);
    if (!file.isFile() || !file.isReadable()) {
        info.error = QStringLiteral("no readable file");
        return info;
    }
    info.fileSize = file.size();
    const QString mime = QMimeDatabase().mimeTypeForFile(file).name();
    if (mime.startsWith(QLatin1String("image/"))) {
        info.fileType = QStringLiteral("image");
        info.imageSize = OrvUtils::imageSize(path);
        if (!info.imageSize.isValid())
            info.error = QStringLiteral("not a picture Qt can read");
    } else if (mime.startsWith(QLatin1String("audio/")) || mime.startsWith(QLatin1String("video/"))) {
        info.fileType = mime.startsWith(QLatin1String("audio/")) ? QStringLiteral("audio") : QStringLiteral("video");
        OrvMedia::InputPtr input;
        if (OrvMedia::openInput(path, &input) == OrvMedia::NoError)
            info.duration = OrvMedia::durationSeconds(input.get());
        else
            info.error = QStringLiteral("not a media file FFmpeg can read");
    }
    return info;
}

bool ExamFileInfoGetter::getFileInfo(const QVector<QString> &paths)
{
    if (m_running) {
        qCWarning(lcExamUpload) << "file information is still being read; ignoring" << paths.size() << "more files";
        return false;
    }
    m_running = true;
    auto *watcher = new QFutureWatcher<ExamFileInfoGetterResult>(this);
    connect(watcher, &QFutureWatcher<ExamFileInfoGetterResult>::finished, this, [this, watcher] {
        watcher->deleteLater();
        m_running = false;
        Q_EMIT signalGetFinish(watcher->result());
    });
    watcher->setFuture(QtConcurrent::run([paths] {
        ExamFileInfoGetterResult result;
        result.success = true;
        for (const QString &path : paths) {
            result.files.append(readFileInfo(path));
            if (!result.files.constLast().error.isEmpty()) {
                qCWarning(lcExamUpload) << "cannot read" << path << ":" << result.files.constLast().error;
                result.success = false;
            }
        }
        return result;
    }));
    return true;
}
