// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvutils.h"
#include "orvjpegdecoder.h"
#include "orvlang.h"
#include "orvsettings.h"
#include "orvutils_logging.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QMimeData>
#include <QStandardPaths>
#include <QTransform>
#include <QUrl>
#include <QtMath>

#include <cstring>
#include <limits>

namespace {

// The JPEG decoder reduces by 1/2, 1/4 or 1/8 while decoding, and resamples the rest.
constexpr int kMaxJpegReduction = 8;

QImage applyOrientation(QImage image, QImageIOHandler::Transformations orientation)
{
    if (orientation == QImageIOHandler::TransformationNone || image.isNull())
        return image;
    if (orientation == QImageIOHandler::TransformationRotate270)
        return image.transformed(QTransform().rotate(270));
    image = image.mirrored(orientation & QImageIOHandler::TransformationMirror,
                           orientation & QImageIOHandler::TransformationFlip);
    if (orientation & QImageIOHandler::TransformationRotate90)
        image = image.transformed(QTransform().rotate(90));
    return image;
}

bool swapsSides(QImageIOHandler::Transformations orientation)
{
    return orientation & QImageIOHandler::TransformationRotate90;
}

/*
 * A JPEG whose entropy-coded data stops before the end-of-image marker decodes "successfully"
 * with a grey bottom; walk the markers to tell such a file from a whole one.
 */
bool jpegIsComplete(const QByteArray &data)
{
    const auto *p = reinterpret_cast<const unsigned char *>(data.constData());
    const qsizetype n = data.size();
    if (n < 4 || p[0] != 0xFF || p[1] != 0xD8)
        return false;
    qsizetype i = 2;
    while (i + 1 < n) {
        if (p[i] != 0xFF) {
            ++i; // stray byte between segments; decoders skip them too
            continue;
        }
        const unsigned char marker = p[i + 1];
        if (marker == 0xFF) {
            ++i; // fill byte
            continue;
        }
        if (marker == 0xD9)
            return true;
        if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) {
            i += 2;
            continue;
        }
        if (i + 3 >= n)
            return false;
        const int length = (p[i + 2] << 8) | p[i + 3];
        if (length < 2)
            return false;
        i += 2 + length;
        if (marker != 0xDA)
            continue;
        // Entropy-coded data runs to the next marker that is neither stuffing nor a restart.
        while (i < n) {
            const void *ff = std::memchr(p + i, 0xFF, size_t(n - i));
            if (!ff)
                return false;
            i = reinterpret_cast<const unsigned char *>(ff) - p;
            if (i + 1 >= n)
                return false;
            const unsigned char next = p[i + 1];
            if (next == 0x00 || (next >= 0xD0 && next <= 0xD7) || next == 0xFF) {
                i += (next == 0xFF) ? 1 : 2;
                continue;
            }
            break;
        }
    }
    return false;
}

QString describe(QIODevice *device)
{
    if (auto *file = qobject_cast<QFile *>(device))
        return file->fileName();
    return QStringLiteral("<data>");
}

QImage fail(OrvUtils::DecodeInfo *info, const QString &error)
{
    if (info)
        info->error = error;
    return QImage();
}

} // namespace

QSize OrvUtils::boundedSize(const QSize &size, const QSize &bound)
{
    if (size.isEmpty())
        return QSize();
    if (!bound.isValid() || bound.isEmpty() || (size.width() <= bound.width() && size.height() <= bound.height()))
        return size;
    QSize s = size.scaled(bound, Qt::KeepAspectRatio);
    return s.expandedTo(QSize(1, 1));
}

namespace {

// The file's bytes, mapped when the file system allows it (nothing is copied), else read.
struct FileBytes
{
    QFile file;
    QByteArray read;
    const uchar *data = nullptr;
    qsizetype size = 0;

    bool open(const QString &path)
    {
        file.setFileName(path);
        if (!file.open(QIODevice::ReadOnly))
            return false;
        const qint64 length = file.size();
        if (length <= 0 || length >= qint64(std::numeric_limits<int>::max()))
            return true; // empty, or too long for one buffer: read as a stream
        if (uchar *mapped = file.map(0, length)) {
            data = mapped;
            size = qsizetype(length);
            return true;
        }
        read = file.readAll();
        data = reinterpret_cast<const uchar *>(read.constData());
        size = read.size();
        return true;
    }
};

// The stored-size bound for a bound on the picture as shown.
QSize storedBound(const QSize &bound, QImageIOHandler::Transformations orientation)
{
    return swapsSides(orientation) ? bound.transposed() : bound;
}

/*
 * A JPEG straight through libjpeg. *handled is false for colour models left to Qt's decoder
 * (CMYK, YCCK); otherwise the result is final.
 */
QImage loadJpeg(const uchar *data, qsizetype size, const QSize &bound, bool autoTransform, OrvUtils::DecodeInfo &out,
                const QString &name, bool *handled)
{
    *handled = true;
    OrvJpegDecoder jpeg(data, size);
    if (!jpeg.readHeader()) {
        qCWarning(lcOrvUtils) << "cannot decode picture:" << name << jpeg.errorString();
        return fail(&out, jpeg.errorString());
    }
    if (!jpeg.isSupported()) {
        // Qt's decoder has no memory limit: a progressive file keeps all its coefficients.
        const QSize stored = jpeg.storedSize();
        if (jpeg.isProgressive() && qint64(stored.width()) * stored.height() * 4 * 2 > OrvJpegDecoder::MaxMemory) {
            qCWarning(lcOrvUtils) << "picture too large to decode:" << name << stored;
            return fail(&out, QStringLiteral("too large"));
        }
        *handled = false;
        return QImage();
    }
    out.format = "jpeg";
    out.storedSize = jpeg.storedSize();
    const QImageIOHandler::Transformations orientation =
        autoTransform ? jpeg.orientation() : QImageIOHandler::TransformationNone;
    out.shownSize = swapsSides(orientation) ? out.storedSize.transposed() : out.storedSize;

    QSize target;
    int eighths = 8;
    if (bound.isValid() && !bound.isEmpty()) {
        const QSize bounded = OrvUtils::boundedSize(out.storedSize, storedBound(bound, orientation));
        if (bounded != out.storedSize) {
            target = bounded;
            // The smallest of the decoder's n/8 reductions that still covers the target.
            const double factor = qMin(double(out.storedSize.width()) / target.width(),
                                       double(out.storedSize.height()) / target.height());
            eighths = qBound(1, qCeil(8 / factor), 8);
        }
    }
    const QSize decoded = jpeg.scaledSize(eighths);
    if (qint64(decoded.width()) * decoded.height() > OrvUtils::MaxDecodedPixels) {
        qCWarning(lcOrvUtils) << "picture too large to decode:" << name << out.storedSize;
        return fail(&out, QStringLiteral("too large"));
    }
    QImage image = jpeg.decode(eighths);
    out.bands = jpeg.bandCount();
    if (image.isNull()) {
        if (jpeg.isTruncated()) {
            qCWarning(lcOrvUtils) << "truncated or damaged JPEG:" << name;
            return fail(&out, QStringLiteral("truncated"));
        }
        if (jpeg.isTooLarge()) {
            qCWarning(lcOrvUtils) << "picture too large to decode:" << name << out.storedSize << jpeg.errorString();
            return fail(&out, QStringLiteral("too large"));
        }
        qCWarning(lcOrvUtils) << "cannot decode picture:" << name << jpeg.errorString();
        return fail(&out, jpeg.errorString());
    }
    out.scaledByDecoder = eighths < 8;
    out.decodedSize = image.size();
    if (target.isValid() && image.size() != target)
        image = image.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    image = applyOrientation(std::move(image), orientation);
    out.resultSize = image.size();
    return image;
}

// Any format Qt's image plug-ins read (and JPEGs in colour models libjpeg is not asked for here).
QImage loadWithQt(QIODevice *device, const QSize &bound, bool autoTransform, OrvUtils::DecodeInfo &out,
                  const QString &name)
{
    QImageReader reader(device);
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(false); // applied below, so the decoder's own output can be told
    if (!reader.canRead()) {
        qCWarning(lcOrvUtils) << "not a picture:" << name << reader.errorString();
        return fail(&out, QStringLiteral("not a picture"));
    }
    out.format = reader.format();
    out.storedSize = reader.size();
    const QImageIOHandler::Transformations orientation =
        autoTransform ? reader.transformation() : QImageIOHandler::TransformationNone;
    if (out.storedSize.isValid() && out.storedSize.isEmpty()) {
        qCWarning(lcOrvUtils) << "picture without pixels:" << name << out.storedSize;
        return fail(&out, QStringLiteral("empty picture"));
    }

    QSize target;
    const bool decoderScales = reader.supportsOption(QImageIOHandler::ScaledSize);
    if (out.storedSize.isValid() && bound.isValid() && !bound.isEmpty()) {
        const QSize bounded = OrvUtils::boundedSize(out.storedSize, storedBound(bound, orientation));
        if (bounded != out.storedSize)
            target = bounded;
    }

    // What the decoder allocates before anything is shrunk.
    if (out.storedSize.isValid()) {
        qint64 pixels = qint64(out.storedSize.width()) * out.storedSize.height();
        if (target.isValid() && decoderScales) {
            if (out.format == "jpeg") {
                const int reduction = qMin(kMaxJpegReduction, qMax(1, qMin(out.storedSize.width() / target.width(),
                                                                           out.storedSize.height() / target.height())));
                pixels /= qint64(reduction) * reduction;
            } else {
                pixels = qint64(target.width()) * target.height();
            }
        }
        if (pixels > OrvUtils::MaxDecodedPixels) {
            qCWarning(lcOrvUtils) << "picture too large to decode:" << name << out.storedSize;
            return fail(&out, QStringLiteral("too large"));
        }
    }

    if (out.format == "jpeg") {
        bool complete;
        if (auto *buffer = qobject_cast<QBuffer *>(device)) {
            complete = jpegIsComplete(buffer->buffer());
        } else {
            const qint64 pos = device->pos();
            device->seek(0);
            complete = jpegIsComplete(device->readAll());
            device->seek(pos);
        }
        if (!complete) {
            qCWarning(lcOrvUtils) << "truncated or damaged JPEG:" << name;
            return fail(&out, QStringLiteral("truncated"));
        }
    }

    if (target.isValid() && decoderScales) {
        reader.setScaledSize(target);
        out.scaledByDecoder = true;
    }
    QImage image = reader.read();
    if (image.isNull()) {
        qCWarning(lcOrvUtils) << "cannot decode picture:" << name << reader.errorString();
        return fail(&out, reader.errorString());
    }
    out.decodedSize = image.size();
    if (!out.storedSize.isValid()) {
        // The header did not tell; the picture is in memory now, shrink it if asked.
        out.storedSize = image.size();
        target = (bound.isValid() && !bound.isEmpty()) ? OrvUtils::boundedSize(image.size(), storedBound(bound, orientation))
                                                       : QSize();
    }
    out.shownSize = swapsSides(orientation) ? out.storedSize.transposed() : out.storedSize;
    if (target.isValid() && image.size() != target)
        image = image.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    image = applyOrientation(std::move(image), orientation);
    out.resultSize = image.size();
    return image;
}

} // namespace

QImage OrvUtils::loadImageFromDevice(QIODevice *device, const QSize &bound, bool autoTransform, DecodeInfo *info)
{
    DecodeInfo local;
    DecodeInfo &out = info ? *info : local;
    out = DecodeInfo();
    const QString name = describe(device);

    // JPEGs are decoded from memory: a buffer's bytes in place, anything else read first.
    QByteArray held;
    QBuffer heldBuffer;
    const uchar *data = nullptr;
    qsizetype size = 0;
    if (auto *buffer = qobject_cast<QBuffer *>(device)) {
        const qsizetype pos = qsizetype(qBound<qint64>(0, buffer->pos(), buffer->buffer().size()));
        data = reinterpret_cast<const uchar *>(buffer->buffer().constData()) + pos;
        size = buffer->buffer().size() - pos;
    } else {
        const QByteArray start = device->peek(3);
        if (OrvJpegDecoder::looksLikeJpeg(reinterpret_cast<const uchar *>(start.constData()), start.size())) {
            held = device->readAll();
            data = reinterpret_cast<const uchar *>(held.constData());
            size = held.size();
            heldBuffer.setBuffer(&held);
            heldBuffer.open(QIODevice::ReadOnly);
        }
    }
    if (data && OrvJpegDecoder::looksLikeJpeg(data, size)) {
        bool handled = false;
        QImage image = loadJpeg(data, size, bound, autoTransform, out, name, &handled);
        if (handled)
            return image;
        out = DecodeInfo();
        if (heldBuffer.isOpen())
            return loadWithQt(&heldBuffer, bound, autoTransform, out, name);
    }
    return loadWithQt(device, bound, autoTransform, out, name);
}

QImage OrvUtils::loadImageFromPath(const QString &path, const QSize &bound, DecodeInfo *info)
{
    FileBytes bytes;
    if (!bytes.open(path)) {
        qCWarning(lcOrvUtils) << "cannot open picture" << path << bytes.file.errorString();
        return fail(info, bytes.file.errorString());
    }
    if (!bytes.data)
        return loadImageFromDevice(&bytes.file, bound, true, info);
    // Over the mapped bytes: decoders read them in place.
    QByteArray view = QByteArray::fromRawData(reinterpret_cast<const char *>(bytes.data), int(bytes.size));
    QBuffer buffer(&view);
    buffer.open(QIODevice::ReadOnly);
    QImage image = loadImageFromDevice(&buffer, bound, true, info);
    if (image.isNull())
        qCWarning(lcOrvUtils) << "  (file" << path << ")";
    return image;
}

QImage OrvUtils::loadImageFromData(const QByteArray &data, const QSize &bound, bool autoTransform, DecodeInfo *info)
{
    if (data.isEmpty()) {
        qCWarning(lcOrvUtils) << "no picture data";
        return fail(info, QStringLiteral("no data"));
    }
    QByteArray bytes = data;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return loadImageFromDevice(&buffer, bound, autoTransform, info);
}

QPixmap OrvUtils::loadFromPath(const QString &path, const QSize &bound)
{
    return QPixmap::fromImage(loadImageFromPath(path, bound));
}

QPixmap OrvUtils::loadFromData(const QByteArray &data, const QSize &bound, bool autoTransform)
{
    return QPixmap::fromImage(loadImageFromData(data, bound, autoTransform));
}

QImage OrvUtils::loadQuickPreview(const QString &path, const QSize &minSize, DecodeInfo *info)
{
    DecodeInfo local;
    DecodeInfo &out = info ? *info : local;
    out = DecodeInfo();
    // One read of the header, from the mapped file: this runs before the window's first paint.
    FileBytes bytes;
    if (!bytes.open(path) || !bytes.data)
        return QImage();
    OrvJpegDecoder jpeg(bytes.data, bytes.size);
    if (!jpeg.readHeader() || !jpeg.isSupported())
        return QImage();
    out.format = "jpeg";
    out.storedSize = jpeg.storedSize();
    const QImageIOHandler::Transformations orientation = jpeg.orientation();
    out.shownSize = swapsSides(orientation) ? out.storedSize.transposed() : out.storedSize;
    // The picture as large as it will show when fitted into minSize.
    const QSize want = boundedSize(out.storedSize, storedBound(minSize, orientation));
    for (int eighths = 1; eighths <= 4; eighths *= 2) {
        const QSize reduced = jpeg.scaledSize(eighths);
        if (reduced.width() < want.width() || reduced.height() < want.height())
            continue;
        if (qint64(reduced.width()) * reduced.height() > MaxDecodedPixels)
            return QImage();
        QImage image = jpeg.decode(eighths);
        out.bands = jpeg.bandCount();
        if (image.isNull()) {
            out.error = jpeg.errorString(); // the full load says what is wrong
            return image;
        }
        out.scaledByDecoder = true;
        out.decodedSize = image.size();
        image = applyOrientation(std::move(image), orientation);
        out.resultSize = image.size();
        return image;
    }
    return QImage();
}

QSize OrvUtils::imageSize(const QString &path)
{
    FileBytes bytes;
    if (bytes.open(path) && bytes.data && OrvJpegDecoder::looksLikeJpeg(bytes.data, bytes.size)) {
        OrvJpegDecoder jpeg(bytes.data, bytes.size);
        if (jpeg.readHeader() && jpeg.isSupported())
            return swapsSides(jpeg.orientation()) ? jpeg.storedSize().transposed() : jpeg.storedSize();
    }
    QImageReader reader(path);
    reader.setDecideFormatFromContent(true);
    if (!reader.canRead())
        return QSize();
    const QSize size = reader.size();
    return swapsSides(reader.transformation()) ? size.transposed() : size;
}

QString OrvUtils::defaultSaveFilePath()
{
    QString folder = OrvSettings::instance()->value(QLatin1String(DefaultSaveFilePathKey)).toString();
    if (folder.isEmpty())
        folder = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + QStringLiteral("/FileRecv");
    if (!QDir().mkpath(folder))
        qCWarning(lcOrvUtils) << "cannot create the save folder" << folder;
    return folder;
}

bool OrvUtils::writeRichImageToMimeData(QMimeData *mimeData, const QString &imagePath)
{
    if (!mimeData || imagePath.isEmpty())
        return false;
    const QString url = QUrl::fromLocalFile(imagePath).toString(QUrl::FullyEncoded);
    mimeData->setHtml(QStringLiteral("<img src=\"%1\">").arg(url.toHtmlEscaped()));
    return true;
}

QString OrvUtils::getMessageBoxTitle(bool inClassroom)
{
    return OrvLang::text(inClassroom ? "ID_Classroom_MessageBoxTitle" : "ID_Information");
}
