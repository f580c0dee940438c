// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QMetaType>
#include <QObject>
#include <QSize>
#include <QString>
#include <QVector>

/// What the exam pages show of a local file before it is uploaded.
struct ExamFileInfo
{
    QString path;
    QString fileName;
    QString suffix;       ///< lower case
    QString fileType;     ///< "image", "audio", "video" or "file"
    qint64 fileSize = -1; ///< -1 when the file cannot be read
    QSize imageSize;      ///< pictures, EXIF orientation applied
    double duration = 0;  ///< audio and video, seconds
    QString error;        ///< why the file could not be read; empty when it could
};

struct ExamFileInfoGetterResult
{
    QVector<ExamFileInfo> files; ///< in the order asked for
    bool success = false;        ///< every file could be read
};
Q_DECLARE_METATYPE(ExamFileInfoGetterResult)

/**
 * Reads size, type, picture size and media duration of local files on the global thread pool,
 * and reports them all at once on the getter's thread with signalGetFinish(). A file that cannot
 * be read gets its error text; the others are still reported.
 */
class ExamFileInfoGetter : public QObject
{
    Q_OBJECT
public:
    explicit ExamFileInfoGetter(QObject *parent = nullptr);
    ~ExamFileInfoGetter() override;

    /// One request at a time: false (and a log line) while one is running.
    bool getFileInfo(const QVector<QString> &paths);
    bool isRunning() const { return m_running; }

    /// The same, synchronously, for one file.
    static ExamFileInfo readFileInfo(const QString &path);

Q_SIGNALS:
    void signalGetFinish(const ExamFileInfoGetterResult &result);

private:
    bool m_running = false;
};
