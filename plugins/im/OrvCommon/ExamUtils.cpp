// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ExamUtils.h"
#include "examupload_logging.h"
#include "fileuploadmanager.h"
#include "orvlang.h"
#include "orvmessagebox.h"
#include "orvutils.h"

#include <QBuffer>
#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QJsonDocument>
#include <QMimeDatabase>
#include <QPainter>
#include <QStandardPaths>
#include <QUrl>
#include <cmath>

namespace {

// Larger than any picture side, so a bound with it fixes only the other side.
constexpr int kUnbounded = 1 << 24;

QString examFolder(const QString &sub)
{
    QString folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + QStringLiteral("/exam");
    if (!sub.isEmpty())
        folder += QLatin1Char('/') + sub;
    if (!QDir().mkpath(folder))
        qCWarning(lcExamUpload) << "cannot create the exam folder" << folder;
    return QDir::toNativeSeparators(folder);
}

QByteArray writerFormat(const QString &suffix)
{
    const QString s = suffix.toLower();
    if (s == QLatin1String("jpg") || s == QLatin1String("jpeg") || s == QLatin1String("jpe"))
        return QByteArrayLiteral("jpg");
    const QByteArray format = s.toLatin1();
    // GIF has no writer, and re-encoding animations frame by frame is not what an exam wants.
    if (!format.isEmpty() && QImageWriter::supportedImageFormats().contains(format))
        return format;
    return QByteArrayLiteral("jpg");
}

QByteArray encodeImage(const QImage &image, const QByteArray &format)
{
    QImage source = image;
    // Transparent pixels would turn black in a JPEG: put the picture on white first.
    if (format == "jpg" && image.hasAlphaChannel()) {
        source = QImage(image.size(), QImage::Format_RGB32);
        source.fill(Qt::white);
        QPainter p(&source);
        p.drawImage(0, 0, image);
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    if (!writer.write(source)) {
        qCWarning(lcExamUpload) << "cannot encode an exam image as" << format << writer.errorString();
        return QByteArray();
    }
    return bytes;
}

QString localPathOf(const QString &pathOrUrl)
{
    const QUrl url(pathOrUrl);
    return url.isLocalFile() ? url.toLocalFile() : pathOrUrl;
}

} // namespace

QSize ExamUtils::examImageTargetSize(const QSize &size)
{
    const qint64 w = size.width();
    const qint64 h = size.height();
    if (w < 1 || h < 1)
        return QSize();
    const bool wideOver = w > MaxExamImageSide;
    const bool highOver = h > MaxExamImageSide;
    if (!wideOver && !highOver)
        return size;
    // 0.4 < w / h < 2.5, in integers so the limits themselves are exact.
    const bool ordinary = 2 * h < 5 * w && 2 * w < 5 * h;
    bool fixWidth;
    if (wideOver != highOver) {
        if (!ordinary)
            return size;
        fixWidth = wideOver; // the side above the limit is the longer one
    } else {
        const bool wider = w >= h;
        fixWidth = ordinary ? wider : !wider;
    }
    if (fixWidth)
        return QSize(MaxExamImageSide, int(h * MaxExamImageSide / w));
    return QSize(int(w * MaxExamImageSide / h), MaxExamImageSide);
}

QString ExamUtils::examImageWriteSuffix(const QString &suffix)
{
    return QString::fromLatin1(writerFormat(suffix));
}

QByteArray ExamUtils::adjustExamImage(QImageReader &reader, const QString &suffix, AdjustInfo *info)
{
    AdjustInfo local;
    AdjustInfo &out = info ? *info : local;
    out = AdjustInfo();
    const QString path = reader.fileName();
    const QString name = path.isEmpty() ? QStringLiteral("<device>") : path;

    // The size as shown: the header's, turned by the EXIF orientation.
    QSize shown;
    if (reader.canRead()) {
        shown = reader.size();
        if (shown.isValid() && (reader.transformation() & QImageIOHandler::TransformationRotate90))
            shown.transpose();
    }
    QImage image;
    OrvUtils::DecodeInfo decode;
    if (!shown.isValid()) {
        // The reader cannot tell (or cannot read this at all): load the picture to learn it.
        if (!path.isEmpty()) {
            image = OrvUtils::loadImageFromPath(path, QSize(), &decode);
        } else if (QIODevice *device = reader.device()) {
            device->seek(0);
            image = OrvUtils::loadImageFromDevice(device, QSize(), true, &decode);
        }
        if (image.isNull()) {
            qCWarning(lcExamUpload) << "exam image is not a picture:" << name << decode.error;
            return QByteArray();
        }
        shown = image.size();
    }
    out.sourceSize = shown;
    const QSize target = examImageTargetSize(shown);
    if (target.isEmpty()) {
        qCWarning(lcExamUpload) << "exam image without pixels:" << name << shown;
        return QByteArray();
    }
    out.targetSize = target;

    if (image.isNull()) {
        // Only the side that becomes 1,920 is bounded: the loader then computes the other side
        // exactly as the rule does, and the JPEG decoder shrinks while decoding.
        QSize bound;
        if (target != shown)
            bound = target.width() == MaxExamImageSide && target.width() < shown.width() ? QSize(MaxExamImageSide, kUnbounded)
                                                                                         : QSize(kUnbounded, target.height());
        if (!path.isEmpty()) {
            image = OrvUtils::loadImageFromPath(path, bound, &decode);
        } else if (QIODevice *device = reader.device()) {
            device->seek(0);
            image = OrvUtils::loadImageFromDevice(device, bound, true, &decode);
        }
        if (image.isNull()) {
            qCWarning(lcExamUpload) << "cannot decode exam image" << name << decode.error;
            return QByteArray();
        }
        out.scaledByDecoder = decode.scaledByDecoder;
    }
    if (image.size() != target)
        image = image.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);

    const QByteArray format = writerFormat(suffix);
    out.format = format;
    QByteArray bytes = encodeImage(image, format);
    out.encodes = 1;
    out.resultSize = image.size();
    if (bytes.isEmpty())
        return QByteArray();
    if (bytes.size() <= MaxExamImageBytes)
        return bytes;

    /*
     * Too large. The plain way scales the picture to 90 % of its width and encodes again until
     * it fits; each step scales the step before, which smooths the picture a little more every
     * time, so its sizes are those of that very sequence of pictures. The scaling is cheap, the
     * encoding is not: the steps are made as the plain way makes them, but only some are encoded.
     * `failed` is the last step known too large, `fits` the first known to fit; sizes fall along
     * the sequence, so any fit at most two steps beyond `failed` is at most one step below the
     * first that fits. The next step tried is where a power law through the last two sizes seen
     * predicts the first fit (the area's exponent at first, which undershoots); after a fit
     * further on, two steps back checks it.
     */
    struct Probe {
        int step;
        double bytes;
    };
    QVector<Probe> failedProbes{{0, double(bytes.size())}};
    QVector<QImage> steps{image}; // steps[k]: the picture after k steps; those up to `failed` are dropped
    QVector<int> widths{image.width()};
    auto widthAt = [&widths](int k) {
        while (widths.size() <= k)
            widths.append(int(widths.constLast() * CompressStep));
        return widths.at(k);
    };
    auto pictureAt = [&steps](int k) {
        while (steps.size() <= k) {
            const QImage &previous = steps.constLast();
            steps.append(previous.scaledToWidth(int(previous.width() * CompressStep), Qt::SmoothTransformation));
        }
        return steps.at(k);
    };
    int failed = 0;
    int fits = -1;
    QByteArray fitBytes;
    QSize fitSize;
    qCInfo(lcExamUpload) << "--------------exam image compress size" << bytes.size();
    image = QImage();
    while (fits < 0 || fits - failed > 2) {
        int next;
        if (fits >= 0) {
            next = qMax(failed + 1, fits - 2);
        } else {
            double alpha = 2.0;
            if (failedProbes.size() >= 2) {
                const Probe &a = failedProbes.at(failedProbes.size() - 2);
                const Probe &b = failedProbes.constLast();
                const double widthRatio = double(widthAt(b.step)) / widthAt(a.step);
                if (widthRatio < 1.0 && b.bytes < a.bytes)
                    alpha = qBound(0.5, std::log(b.bytes / a.bytes) / std::log(widthRatio), 8.0);
            }
            const Probe &last = failedProbes.constLast();
            const double lastWidth = widthAt(last.step);
            next = last.step + 1;
            while (widthAt(next) > 1 && last.bytes * std::pow(widthAt(next) / lastWidth, alpha) > MaxExamImageBytes)
                ++next;
        }
        if (widthAt(next) < 1) {
            qCWarning(lcExamUpload) << "exam image still above" << MaxExamImageBytes << "bytes at one pixel:" << name;
            return QByteArray();
        }
        const QImage picture = pictureAt(next);
        const QByteArray encoded = encodeImage(picture, format);
        ++out.encodes;
        if (encoded.isEmpty())
            return QByteArray();
        if (encoded.size() <= MaxExamImageBytes) {
            fits = next;
            fitBytes = encoded;
            fitSize = picture.size();
            continue;
        }
        qCInfo(lcExamUpload) << "--------------exam image compress size" << encoded.size();
        if (picture.width() <= 1) {
            qCWarning(lcExamUpload) << "exam image still above" << MaxExamImageBytes << "bytes at one pixel:" << name;
            return QByteArray();
        }
        failed = next;
        failedProbes.append({next, double(encoded.size())});
        for (int k = 0; k <= failed && k < steps.size(); ++k)
            steps[k] = QImage(); // never tried again; only the last is needed to go on
        if (steps.size() > failed && steps.at(failed).isNull())
            steps[failed] = picture;
    }
    out.resultSize = fitSize;
    return fitBytes;
}

QString ExamUtils::getExamFilesDir()
{
    return examFolder(QString());
}

QString ExamUtils::getExamTempFilesDir()
{
    return examFolder(QStringLiteral("temp"));
}

QString ExamUtils::getFileSuffix(const QString &path)
{
    return QFileInfo(getFileName(path)).suffix().toLower();
}

QString ExamUtils::getFileName(const QString &path)
{
    QString p = path;
    const QUrl url(path);
    if (url.isValid() && !url.scheme().isEmpty() && url.scheme().size() > 1) // "C:" is a drive, not a scheme
        p = url.isLocalFile() ? url.toLocalFile() : url.path();
    p.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return p.mid(p.lastIndexOf(QLatin1Char('/')) + 1);
}

QString ExamUtils::pixmapToBase64(const QPixmap &pixmap, const char *format)
{
    if (pixmap.isNull())
        return QString();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!pixmap.save(&buffer, format)) {
        qCWarning(lcExamUpload) << "cannot encode a picture as" << format;
        return QString();
    }
    return QString::fromLatin1(bytes.toBase64());
}

QPixmap ExamUtils::genThumb(const QPixmap &pixmap, const QSize &size)
{
    if (pixmap.isNull() || size.isEmpty())
        return QPixmap();
    const QPixmap covering = pixmap.scaled(size, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    return covering.copy((covering.width() - size.width()) / 2, (covering.height() - size.height()) / 2, size.width(),
                         size.height());
}

std::tuple<QString, QString, QString> ExamUtils::extractUrlAndDurationFromTransData(const QString &transData,
                                                                                   const QString &fileType)
{
    const QJsonDocument doc = QJsonDocument::fromJson(transData.toUtf8());
    if (!doc.isObject()) {
        qCWarning(lcExamUpload) << "transcoding details are not a JSON object";
        return {};
    }
    const QJsonObject output = doc.object().value(QStringLiteral("output")).toObject();
    auto text = [](const QJsonValue &v) {
        if (v.isString())
            return v.toString();
        if (v.isDouble())
            return QString::number(v.toDouble());
        return QString();
    };
    const QString type = fileType.toLower();
    if (type == QLatin1String("video")) {
        const QJsonObject video = output.value(QStringLiteral("VIDEO")).toObject();
        return {text(video.value(QStringLiteral("url"))), text(video.value(QStringLiteral("duration"))),
                text(video.value(QStringLiteral("cover")))};
    }
    if (type == QLatin1String("audio")) {
        const QJsonObject audio = output.value(QStringLiteral("AUDIO")).toObject();
        return {text(audio.value(QStringLiteral("url"))), text(audio.value(QStringLiteral("duration"))), QString()};
    }
    if (type == QLatin1String("image")) {
        const QJsonObject image = output.value(QStringLiteral("IMAGE")).toObject();
        const QString url = text(image.value(QStringLiteral("url")));
        const QString midsize = text(image.value(QStringLiteral("midsize")));
        return {url.isEmpty() ? midsize : url, QString(), midsize};
    }
    qCWarning(lcExamUpload) << "no transcoding output for file type" << fileType;
    return {};
}

QString ExamUtils::getExamImageUrlPath(QJsonObject &data)
{
    const QJsonValue value = data.value(QStringLiteral("imageUrl"));
    if (!value.isString() || value.toString().isEmpty())
        return QString();
    QString url = value.toString();
    if (data.value(QStringLiteral("isCosPath")).toBool()) {
        url = FileUploadManager::instance()->cosPathToUrl(url);
        if (url.isEmpty()) {
            qCWarning(lcExamUpload) << "unusable storage path in an upload answer:" << value.toString();
            return QString();
        }
        data.insert(QStringLiteral("imageUrl"), url);
        data.insert(QStringLiteral("isCosPath"), false);
    }
    return url;
}

bool ExamUtils::judgeTransState(int state, QWidget *parent, bool showTip)
{
    if (state == TransSucceeded)
        return true;
    if (showTip) {
        const char *id = (state == TransWaiting || state == Transcoding) ? "ID_Exam_FileTranscoding"
            : state == TransFailed                                      ? "ID_Exam_FileTransFailed"
                                                                        : "ID_Exam_FileTransUnknown";
        OrvMessageBox::information(parent, OrvUtils::getMessageBoxTitle(), OrvLang::text(id));
    }
    return false;
}

bool ExamUtils::isAudioFile(const QString &path)
{
    return QMimeDatabase().mimeTypeForFile(localPathOf(path)).name().startsWith(QLatin1String("audio/"));
}

bool ExamUtils::isVideoFile(const QString &path)
{
    return QMimeDatabase().mimeTypeForFile(localPathOf(path)).name().startsWith(QLatin1String("video/"));
}

QString ExamUtils::convertDuration(const QString &seconds, bool withHours)
{
    bool ok = false;
    const double value = seconds.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value) || value < 0 || value > 1e9)
        return withHours ? QStringLiteral("00:00:00") : QStringLiteral("00:00");
    const qint64 total = std::llround(value);
    const qint64 h = total / 3600;
    const qint64 m = (total / 60) % 60;
    const qint64 s = total % 60;
    if (withHours || h > 0)
        return QStringLiteral("%1:%2:%3").arg(h, 2, 10, QLatin1Char('0')).arg(m, 2, 10, QLatin1Char('0')).arg(s, 2, 10, QLatin1Char('0'));
    return QStringLiteral("%1:%2").arg(m, 2, 10, QLatin1Char('0')).arg(s, 2, 10, QLatin1Char('0'));
}

QJsonObject ExamUtils::convertSingleLocalToOutFormat(const QJsonObject &local)
{
    QJsonObject out;
    const QString path = local.value(QStringLiteral("path")).toString();
    QString url = local.value(QStringLiteral("imageUrl")).toString();
    if (url.isEmpty())
        url = local.value(QStringLiteral("url")).toString();
    const QString named = path.isEmpty() ? url : path;
    if (!named.isEmpty()) {
        out.insert(QStringLiteral("fileName"), getFileName(named));
        out.insert(QStringLiteral("suffix"), getFileSuffix(named));
        QString type = QStringLiteral("file");
        const QString mime = QMimeDatabase().mimeTypeForFile(getFileName(named), QMimeDatabase::MatchExtension).name();
        if (mime.startsWith(QLatin1String("image/")))
            type = QStringLiteral("image");
        else if (mime.startsWith(QLatin1String("audio/")))
            type = QStringLiteral("audio");
        else if (mime.startsWith(QLatin1String("video/")))
            type = QStringLiteral("video");
        out.insert(QStringLiteral("fileType"), type);
    }
    if (!url.isEmpty())
        out.insert(QStringLiteral("fileUrl"), url);
    for (const char *key : {"fileSize", "width", "height"}) {
        const QJsonValue v = local.value(QLatin1String(key));
        if (v.isDouble())
            out.insert(QLatin1String(key), v);
        else if (v.isString() && !v.toString().isEmpty())
            out.insert(QLatin1String(key), v.toString().toDouble());
    }
    const QJsonValue duration = local.value(QStringLiteral("duration"));
    if (duration.isDouble())
        out.insert(QStringLiteral("duration"), convertDuration(QString::number(duration.toDouble())));
    else if (duration.isString() && !duration.toString().isEmpty())
        out.insert(QStringLiteral("duration"), convertDuration(duration.toString()));
    return out;
}
