// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvutils.h"
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

QImage OrvUtils::loadImageFromDevice(QIODevice *device, const QSize &bound, bool autoTransform, DecodeInfo *info)
{
    DecodeInfo local;
    DecodeInfo &out = info ? *info : local;
    out = DecodeInfo();

    QImageReader reader(device);
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(false); // applied below, so the decoder's own output can be told
    if (!reader.canRead()) {
        qCWarning(lcOrvUtils) << "not a picture:" << describe(device) << reader.errorString();
        return fail(&out, QStringLiteral("not a picture"));
    }
    out.format = reader.format();
    out.storedSize = reader.size();
    const QImageIOHandler::Transformations orientation =
        autoTransform ? reader.transformation() : QImageIOHandler::TransformationNone;
    if (out.storedSize.isValid() && out.storedSize.isEmpty()) {
        qCWarning(lcOrvUtils) << "picture without pixels:" << describe(device) << out.storedSize;
        return fail(&out, QStringLiteral("empty picture"));
    }

    QSize target;
    const bool decoderScales = reader.supportsOption(QImageIOHandler::ScaledSize);
    if (out.storedSize.isValid() && bound.isValid() && !bound.isEmpty()) {
        const QSize storedBound = swapsSides(orientation) ? bound.transposed() : bound;
        const QSize bounded = boundedSize(out.storedSize, storedBound);
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
        if (pixels > MaxDecodedPixels) {
            qCWarning(lcOrvUtils) << "picture too large to decode:" << describe(device) << out.storedSize;
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
            qCWarning(lcOrvUtils) << "truncated or damaged JPEG:" << describe(device);
            return fail(&out, QStringLiteral("truncated"));
        }
    }

    if (target.isValid() && decoderScales) {
        reader.setScaledSize(target);
        out.scaledByDecoder = true;
    }
    QImage image = reader.read();
    if (image.isNull()) {
        qCWarning(lcOrvUtils) << "cannot decode picture:" << describe(device) << reader.errorString();
        return fail(&out, reader.errorString());
    }
    out.decodedSize = image.size();
    if (!out.storedSize.isValid()) {
        // The header did not tell; the picture is in memory now, shrink it if asked.
        out.storedSize = image.size();
        const QSize storedBound = swapsSides(orientation) ? bound.transposed() : bound;
        target = (bound.isValid() && !bound.isEmpty()) ? boundedSize(image.size(), storedBound) : QSize();
    }
    if (target.isValid() && image.size() != target)
        image = image.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    image = applyOrientation(std::move(image), orientation);
    out.resultSize = image.size();
    return image;
}

QImage OrvUtils::loadImageFromPath(const QString &path, const QSize &bound, DecodeInfo *info)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcOrvUtils) << "cannot open picture" << path << file.errorString();
        return fail(info, file.errorString());
    }
    // Mapped, so checking a JPEG's end costs no copy.
    const qint64 size = file.size();
    if (size > 0 && size < qint64(std::numeric_limits<int>::max())) {
        if (uchar *mapped = file.map(0, size)) {
            QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(mapped), int(size));
            QBuffer buffer(&bytes);
            buffer.open(QIODevice::ReadOnly);
            QImage image = loadImageFromDevice(&buffer, bound, true, info);
            if (image.isNull())
                qCWarning(lcOrvUtils) << "  (file" << path << ")";
            return image;
        }
    }
    return loadImageFromDevice(&file, bound, true, info);
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
    QImageReader probe(path);
    probe.setDecideFormatFromContent(true);
    if (!probe.canRead() || probe.format() != "jpeg")
        return QImage();
    const QSize stored = probe.size();
    if (!stored.isValid() || stored.isEmpty())
        return QImage();
    // The picture as large as it will show when fitted into minSize.
    const QSize want = boundedSize(stored, swapsSides(probe.transformation()) ? minSize.transposed() : minSize);
    for (int reduction = kMaxJpegReduction; reduction >= 2; reduction /= 2) {
        // The decoder rounds up; asking for the rounded-down size keeps it on this reduction.
        const QSize reduced(stored.width() / reduction, stored.height() / reduction);
        if (reduced.isEmpty())
            continue;
        if (reduced.width() >= want.width() && reduced.height() >= want.height())
            return loadImageFromPath(path, swapsSides(probe.transformation()) ? reduced.transposed() : reduced, info);
    }
    return QImage();
}

QSize OrvUtils::imageSize(const QString &path)
{
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
