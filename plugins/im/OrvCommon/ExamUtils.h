// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QPixmap>
#include <QSize>
#include <QString>
#include <tuple>

class QImageReader;
class QWidget;

/**
 * Helpers of the exam and homework pages: shrinking answer images before upload, the exam
 * folders, file names, thumbnails, and reading the transcoding details of cloud media files.
 *
 * Exam images are shrunk by one rule (adjustExamImage): the long edge to 1,920 pixels for
 * ordinary pictures, the short edge for very long or very tall ones (examImageTargetSize), then
 * encoded in the file's format no larger than 1 MiB.
 */
class ExamUtils
{
public:
    static constexpr int MaxExamImageSide = 1920;
    /// Encoded exam images stay at or below this many bytes.
    static constexpr qint64 MaxExamImageBytes = 1048576;
    /// Each shrinking step of an image still above MaxExamImageBytes keeps this share of its width.
    static constexpr double CompressStep = 0.9;

    /// Transcoding states of a cloud file ("transState" of its details).
    enum TransState { TransWaiting = 0, Transcoding = 1, TransSucceeded = 2, TransFailed = 3 };

    /// What adjustExamImage did, for callers and tests that care.
    struct AdjustInfo
    {
        QSize sourceSize;       ///< as shown (EXIF orientation applied)
        QSize targetSize;       ///< after the size rule
        QSize resultSize;       ///< of the encoded picture
        int encodes = 0;        ///< encodings made
        QByteArray format;      ///< the format written
        bool scaledByDecoder = false;
    };

    /**
     * The size rule of exam images, for a picture of size (orientation applied). Both sides at most
     * 1,920: kept. With r = w / h: one side above 1,920 and 0.4 < r < 2.5: the longer side becomes
     * 1,920; one side above and r outside that range: kept. Both above: the longer side becomes
     * 1,920 when 0.4 < r < 2.5, else the shorter one. The other side is the integer part of
     * side × 1,920 / the side that became 1,920. An empty size (a side below 1) gives an empty size.
     */
    static QSize examImageTargetSize(const QSize &size);

    /**
     * The picture of reader shrunk by examImageTargetSize() and encoded as suffix says ("jpg",
     * "png", ...; JPEG for formats that cannot be written, see examImageWriteSuffix()): decoded
     * straight at that size where the decoder can (JPEG), EXIF orientation applied first. While the
     * encoding is above 1,048,576 bytes the picture is made smaller; the result never exceeds that
     * budget, and its width is never below CompressStep times the width at which the plain
     * "90 % per step" loop would first have fitted. Empty on failure (not a picture, no pixels,
     * unreadable, still too large at 1 pixel), with a log line. Safe on any thread.
     */
    static QByteArray adjustExamImage(QImageReader &reader, const QString &suffix, AdjustInfo *info = nullptr);
    /// The suffix adjustExamImage() writes for suffix: itself when Qt can write that format,
    /// "jpg" otherwise (HEIF without its plug-in, GIF, ...). Lower case.
    static QString examImageWriteSuffix(const QString &suffix);

    /// "<writable app data>/exam", native separators; created when missing.
    static QString getExamFilesDir();
    /// "<writable app data>/exam/temp", native separators; created when missing.
    static QString getExamTempFilesDir();
    /// Lower-case suffix of the file name ("jpg" for "a/b/C.JPG"), empty when there is none.
    static QString getFileSuffix(const QString &path);
    /// The file name with its suffix, for a path or an address ("C.JPG"); query and fragment dropped.
    static QString getFileName(const QString &path);

    /// The pixmap encoded in format ("png", "jpg") as base64 text; empty for a null pixmap or a
    /// format that cannot be written.
    static QString pixmapToBase64(const QPixmap &pixmap, const char *format = "png");
    /// A thumbnail of exactly size: the pixmap scaled smoothly to cover it, centred and cropped.
    /// Null for a null pixmap or an empty size.
    static QPixmap genThumb(const QPixmap &pixmap, const QSize &size);

    /**
     * Reads the transcoding details of a cloud media file (JSON text, as the cloud service gives
     * them: {"transState", "output": {"VIDEO": {"url", "duration", "cover"}, "AUDIO": {"url",
     * "duration"}, "IMAGE": {"midsize", "url"}}}) for fileType "video", "audio" or "image".
     * Returns (address, duration in seconds as text, cover or preview address); empty texts for
     * what is missing, all empty for text that is not such an object.
     */
    static std::tuple<QString, QString, QString> extractUrlAndDurationFromTransData(const QString &transData,
                                                                                   const QString &fileType);
    /**
     * The address of an uploaded file from an upload answer's data: "imageUrl", turned into the
     * object's address when "isCosPath" is true (FileUploadManager::cosPathToUrl). data is updated
     * to hold that address with "isCosPath" false. Empty when there is no usable "imageUrl".
     */
    static QString getExamImageUrlPath(QJsonObject &data);
    /**
     * True when a cloud file in this transcoding state can be used. Otherwise, with showTip, an
     * information box over parent says why ("ID_Exam_FileTranscoding" while waiting or
     * transcoding, "ID_Exam_FileTransFailed" after a failure, "ID_Exam_FileTransUnknown" else).
     */
    static bool judgeTransState(int state, QWidget *parent, bool showTip = true);
    /// By the file's type (its name, and its content when it exists).
    static bool isAudioFile(const QString &path);
    static bool isVideoFile(const QString &path);
    /**
     * Seconds as text ("75", "75.6") shown as "01:15", or "00:01:15" with withHours or from an
     * hour on; fractions are rounded to the nearest second. "00:00" for text that is not a
     * non-negative number.
     */
    static QString convertDuration(const QString &seconds, bool withHours = false);
    /**
     * A local file uploaded for an answer, {"path", "imageUrl" or "url", "fileSize", "duration",
     * "width", "height"}, in the form the exam pages show uploaded files: {"fileName", "fileUrl",
     * "fileType" ("image", "audio", "video", "file"), "suffix", "fileSize", "duration" (as
     * convertDuration), "width", "height"}. Fields the input lacks are left out.
     */
    static QJsonObject convertSingleLocalToOutFormat(const QJsonObject &local);
};
