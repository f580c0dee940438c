// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvjpegdecoder.h"

#include <QByteArray>
#include <QThread>
#include <QThreadPool>
#include <QVector>
#include <QtConcurrent>
#include <QtEndian>

#include <atomic>
#include <csetjmp>
#include <cstdio>
#include <cstring>

// jpeglib.h needs size_t and FILE declared first.
#include <jpeglib.h>
#include <jerror.h>

namespace {

// libjpeg reports errors through error_exit, which must not return: it jumps back to the call.
// Only C frames and trivially destructible locals lie between the jump and its target.
struct ErrorManager
{
    jpeg_error_mgr pub;
    std::jmp_buf jump;
    bool dataEnded = false;
    bool tooLarge = false;
    char message[JMSG_LENGTH_MAX] = {};
};

extern "C" void orvJpegError(j_common_ptr cinfo)
{
    auto *err = reinterpret_cast<ErrorManager *>(cinfo->err);
    (*cinfo->err->format_message)(cinfo, err->message);
    // Past max_memory_to_use libjpeg asks for a backing store, which this build has not.
    err->tooLarge = cinfo->err->msg_code == JERR_NO_BACKING_STORE || cinfo->err->msg_code == JERR_OUT_OF_MEMORY;
    std::longjmp(err->jump, 1);
}

// Warnings (corrupt data the decoder works around) are not errors, except data running out.
extern "C" void orvJpegMessage(j_common_ptr cinfo, int level)
{
    if (level < 0 && cinfo->err->msg_code == JWRN_JPEG_EOF)
        reinterpret_cast<ErrorManager *>(cinfo->err)->dataEnded = true;
}

void setUpErrors(jpeg_decompress_struct *cinfo, ErrorManager *err)
{
    cinfo->err = jpeg_std_error(&err->pub);
    err->pub.error_exit = orvJpegError;
    err->pub.emit_message = orvJpegMessage;
}

// A band's stream: the header (its height changed), the band's entropy-coded bytes in place, EOI.
struct PieceSource
{
    jpeg_source_mgr pub;
    const JOCTET *pieces[3];
    size_t lengths[3];
    int next;
};

const JOCTET kEoi[2] = {0xFF, JPEG_EOI};

extern "C" void pieceInit(j_decompress_ptr)
{
}

extern "C" boolean pieceFill(j_decompress_ptr cinfo)
{
    auto *src = reinterpret_cast<PieceSource *>(cinfo->src);
    while (src->next < 3 && src->lengths[src->next] == 0)
        ++src->next;
    if (src->next < 3) {
        src->pub.next_input_byte = src->pieces[src->next];
        src->pub.bytes_in_buffer = src->lengths[src->next];
        ++src->next;
        return TRUE;
    }
    // As libjpeg's memory source does: say so and end the picture.
    WARNMS(cinfo, JWRN_JPEG_EOF);
    src->pub.next_input_byte = kEoi;
    src->pub.bytes_in_buffer = 2;
    return TRUE;
}

extern "C" void pieceSkip(j_decompress_ptr cinfo, long count)
{
    auto *src = reinterpret_cast<PieceSource *>(cinfo->src);
    if (count <= 0)
        return;
    while (size_t(count) > src->pub.bytes_in_buffer) {
        count -= long(src->pub.bytes_in_buffer);
        pieceFill(cinfo);
    }
    src->pub.next_input_byte += count;
    src->pub.bytes_in_buffer -= size_t(count);
}

extern "C" void pieceTerm(j_decompress_ptr)
{
}

// EXIF orientation (tag 0x0112 of the first IFD) from an APP1 block; 0 when there is none.
int exifOrientation(const JOCTET *data, unsigned length)
{
    if (length < 6 + 8 || std::memcmp(data, "Exif\0\0", 6) != 0)
        return 0;
    const uchar *tiff = data + 6;
    const quint32 size = length - 6;
    bool little;
    if (tiff[0] == 'I' && tiff[1] == 'I')
        little = true;
    else if (tiff[0] == 'M' && tiff[1] == 'M')
        little = false;
    else
        return 0;
    auto u16 = [&](quint32 at) { return little ? qFromLittleEndian<quint16>(tiff + at) : qFromBigEndian<quint16>(tiff + at); };
    auto u32 = [&](quint32 at) { return little ? qFromLittleEndian<quint32>(tiff + at) : qFromBigEndian<quint32>(tiff + at); };
    if (u16(2) != 42)
        return 0;
    const quint32 ifd = u32(4);
    if (ifd > size - 2 || ifd < 8)
        return 0;
    const quint32 entries = u16(ifd);
    for (quint32 i = 0; i < entries; ++i) {
        const quint32 at = ifd + 2 + i * 12;
        if (at > size - 12)
            return 0;
        if (u16(at) != 0x0112)
            continue;
        if (u16(at + 2) != 3 || u32(at + 4) != 1) // one SHORT
            return 0;
        const int value = u16(at + 8);
        return value >= 1 && value <= 8 ? value : 0;
    }
    return 0;
}

QImageIOHandler::Transformations fromExif(int orientation)
{
    switch (orientation) {
    case 2:
        return QImageIOHandler::TransformationMirror;
    case 3:
        return QImageIOHandler::TransformationRotate180;
    case 4:
        return QImageIOHandler::TransformationFlip;
    case 5:
        return QImageIOHandler::TransformationFlipAndRotate90;
    case 6:
        return QImageIOHandler::TransformationRotate90;
    case 7:
        return QImageIOHandler::TransformationMirrorAndRotate90;
    case 8:
        return QImageIOHandler::TransformationRotate270;
    default:
        return QImageIOHandler::TransformationNone;
    }
}

#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
constexpr J_COLOR_SPACE kRgb32Space = JCS_EXT_BGRX; // RGB32 as it lies in memory
#else
constexpr J_COLOR_SPACE kRgb32Space = JCS_EXT_XRGB;
#endif

// Bands are decoded on a pool of their own: the global one is busy with whole pictures.
QThreadPool *bandPool()
{
    static QThreadPool *pool = [] {
        auto *p = new QThreadPool;
        p->setMaxThreadCount(qMax(1, QThread::idealThreadCount()));
        p->setExpiryTimeout(10000);
        return p;
    }();
    return pool;
}

// One libjpeg decompressor with its error manager; the guarded steps return false on error.
struct Decompressor
{
    jpeg_decompress_struct cinfo;
    ErrorManager err;
    bool created = false;
    bool used = false; // started decoding: a new picture needs a new header read

    Decompressor()
    {
        std::memset(&cinfo, 0, sizeof(cinfo));
        setUpErrors(&cinfo, &err);
    }
    ~Decompressor()
    {
        if (created)
            jpeg_destroy_decompress(&cinfo);
    }

    // Header of bytes in memory, or of a band's pieces when source is given.
    bool start(const uchar *data, size_t size, PieceSource *source, bool saveExif)
    {
        if (setjmp(err.jump))
            return false;
        created = true; // destroying a half-made one is safe: the struct starts zeroed
        jpeg_create_decompress(&cinfo);
        cinfo.mem->max_memory_to_use = long(OrvJpegDecoder::MaxMemory);
        if (source)
            cinfo.src = &source->pub;
        else
            jpeg_mem_src(&cinfo, data, static_cast<unsigned long>(size));
        if (saveExif)
            jpeg_save_markers(&cinfo, JPEG_APP0 + 1, 0xFFFF);
        jpeg_read_header(&cinfo, TRUE);
        return true;
    }

    bool setScale(int eighths)
    {
        if (setjmp(err.jump))
            return false;
        cinfo.scale_num = unsigned(eighths);
        cinfo.scale_denom = 8;
        cinfo.out_color_space = cinfo.num_components == 1 ? JCS_GRAYSCALE : kRgb32Space;
        jpeg_calc_output_dimensions(&cinfo);
        return true;
    }

    // All rows into bits (rows of bytesPerLine), then to the end of the picture.
    bool readInto(uchar *bits, qsizetype bytesPerLine, int rows)
    {
        used = true;
        if (setjmp(err.jump))
            return false;
        jpeg_start_decompress(&cinfo);
        while (cinfo.output_scanline < cinfo.output_height && int(cinfo.output_scanline) < rows) {
            JSAMPROW row = bits + qsizetype(cinfo.output_scanline) * bytesPerLine;
            if (jpeg_read_scanlines(&cinfo, &row, 1) != 1)
                break;
        }
        jpeg_finish_decompress(&cinfo);
        return true;
    }
};

} // namespace

struct OrvJpegDecoder::Private
{
    Private(const uchar *bytes, qsizetype length)
        : data(bytes)
        , size(length)
    {
    }

    const uchar *data;
    qsizetype size;
    Decompressor main;
    bool headerRead = false;
    int orientation = 0;
    int bands = 0;
    bool truncated = false;
    bool tooLarge = false;
    QString error;

    // Where the entropy-coded data of the (first) scan starts, and where SOF's height lies.
    qsizetype scanStart = 0;
    qsizetype sofHeightAt = -1;

    QVector<qsizetype> restartMarkers(qsizetype *end) const;
    QImage decodeSerial(int eighths);
    QImage decodeBands(int eighths, int maxThreads);
};

OrvJpegDecoder::OrvJpegDecoder(const uchar *data, qsizetype size)
    : d(new Private(data, size))
{
}

OrvJpegDecoder::~OrvJpegDecoder() = default;

bool OrvJpegDecoder::looksLikeJpeg(const uchar *data, qsizetype size)
{
    return size >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF;
}

bool OrvJpegDecoder::readHeader()
{
    if (d->headerRead)
        return true;
    if (!looksLikeJpeg(d->data, d->size)) {
        d->error = QStringLiteral("not a JPEG");
        return false;
    }
    if (!d->main.start(d->data, size_t(d->size), nullptr, true)) {
        d->error = QString::fromLocal8Bit(d->main.err.message);
        return false;
    }
    d->headerRead = true;
    d->scanStart = qsizetype(d->main.cinfo.src->next_input_byte - d->data);
    for (jpeg_saved_marker_ptr m = d->main.cinfo.marker_list; m && !d->orientation; m = m->next) {
        if (m->marker == JPEG_APP0 + 1)
            d->orientation = exifOrientation(m->data, m->data_length);
    }
    // Find SOF among the header's segments (a band is the same header with another height).
    qsizetype i = 2;
    while (i + 4 <= d->scanStart) {
        if (d->data[i] != 0xFF) {
            ++i;
            continue;
        }
        const uchar marker = d->data[i + 1];
        if (marker == 0xFF) {
            ++i;
            continue;
        }
        const int length = (d->data[i + 2] << 8) | d->data[i + 3];
        if (marker == 0xC0 || marker == 0xC1) { // baseline or extended sequential, Huffman
            if (length >= 8 && i + 7 <= d->scanStart)
                d->sofHeightAt = i + 5;
            break;
        }
        if (marker == 0xDA || length < 2)
            break;
        i += 2 + length;
    }
    return true;
}

QSize OrvJpegDecoder::storedSize() const
{
    return d->headerRead ? QSize(int(d->main.cinfo.image_width), int(d->main.cinfo.image_height)) : QSize();
}

QImageIOHandler::Transformations OrvJpegDecoder::orientation() const
{
    return fromExif(d->orientation);
}

bool OrvJpegDecoder::isSupported() const
{
    if (!d->headerRead)
        return false;
    const J_COLOR_SPACE space = d->main.cinfo.jpeg_color_space;
    return (d->main.cinfo.num_components == 1 && space == JCS_GRAYSCALE)
        || (d->main.cinfo.num_components == 3 && (space == JCS_YCbCr || space == JCS_RGB));
}

bool OrvJpegDecoder::isProgressive() const
{
    return d->headerRead && d->main.cinfo.progressive_mode;
}

int OrvJpegDecoder::restartInterval() const
{
    return d->headerRead ? int(d->main.cinfo.restart_interval) : 0;
}

QSize OrvJpegDecoder::scaledSize(int eighths) const
{
    if (!d->headerRead || eighths < 1 || eighths > 8)
        return QSize();
    // As libjpeg rounds: up.
    const qint64 w = (qint64(d->main.cinfo.image_width) * eighths + 7) / 8;
    const qint64 h = (qint64(d->main.cinfo.image_height) * eighths + 7) / 8;
    return QSize(int(w), int(h));
}

int OrvJpegDecoder::bandCount() const
{
    return d->bands;
}

bool OrvJpegDecoder::isTruncated() const
{
    return d->truncated;
}

bool OrvJpegDecoder::isTooLarge() const
{
    return d->tooLarge;
}

QString OrvJpegDecoder::errorString() const
{
    return d->error;
}

QImage OrvJpegDecoder::decode(int eighths, int maxThreads)
{
    d->bands = 0;
    d->truncated = false;
    d->tooLarge = false;
    d->error.clear();
    if (!readHeader())
        return QImage();
    if (!isSupported()) {
        d->error = QStringLiteral("colour model not handled here");
        return QImage();
    }
    if (eighths < 1 || eighths > 8) {
        d->error = QStringLiteral("no such reduction");
        return QImage();
    }
    if (maxThreads <= 0)
        maxThreads = QThread::idealThreadCount();
    if (maxThreads > 1) {
        QImage image = d->decodeBands(eighths, maxThreads);
        if (!image.isNull() || !d->error.isEmpty())
            return image;
    }
    return d->decodeSerial(eighths);
}

QImage OrvJpegDecoder::Private::decodeSerial(int eighths)
{
    bands = 1;
    // The header's decompressor decodes; a later call needs a fresh one.
    Decompressor fresh;
    Decompressor *dec = &main;
    if (main.used) {
        if (!fresh.start(data, size_t(size), nullptr, false)) {
            error = QString::fromLocal8Bit(fresh.err.message);
            return QImage();
        }
        dec = &fresh;
    }
    if (!dec->setScale(eighths)) {
        error = QString::fromLocal8Bit(dec->err.message);
        return QImage();
    }
    const QSize out(int(dec->cinfo.output_width), int(dec->cinfo.output_height));
    QImage image(out, dec->cinfo.out_color_space == JCS_GRAYSCALE ? QImage::Format_Grayscale8 : QImage::Format_RGB32);
    if (image.isNull()) {
        error = QStringLiteral("no memory for %1 x %2").arg(out.width()).arg(out.height());
        return image;
    }
    const bool ok = dec->readInto(image.bits(), image.bytesPerLine(), image.height());
    if (!ok) {
        tooLarge = dec->err.tooLarge;
        error = QString::fromLocal8Bit(dec->err.message);
        return QImage();
    }
    if (dec->err.dataEnded) {
        truncated = true;
        error = QStringLiteral("the data ends early");
        return QImage();
    }
    return image;
}

// Offsets of the restart markers of the scan, in order; empty when they are not all there in
// sequence (a damaged or cut file: the one-pass decode deals with those). *end: where EOI lies.
QVector<qsizetype> OrvJpegDecoder::Private::restartMarkers(qsizetype *end) const
{
    QVector<qsizetype> markers;
    qsizetype i = scanStart;
    while (i < size) {
        const void *ff = std::memchr(data + i, 0xFF, size_t(size - i));
        if (!ff)
            return {};
        i = static_cast<const uchar *>(ff) - data;
        if (i + 1 >= size)
            return {};
        const uchar next = data[i + 1];
        if (next == 0x00 || next == 0xFF) {
            i += next == 0x00 ? 2 : 1;
            continue;
        }
        if (next >= 0xD0 && next <= 0xD7) {
            if ((next & 7) != (markers.size() & 7))
                return {};
            markers.append(i);
            i += 2;
            continue;
        }
        if (next != JPEG_EOI)
            return {}; // another scan or a marker in the data: one pass
        *end = i;
        return markers;
    }
    return {};
}

QImage OrvJpegDecoder::Private::decodeBands(int eighths, int maxThreads)
{
    const jpeg_decompress_struct &c = main.cinfo;
    if (c.progressive_mode || c.arith_code || c.restart_interval == 0 || sofHeightAt < 0
        || c.comps_in_scan != c.num_components || main.used)
        return QImage();
    Decompressor &dec = main;
    if (!dec.setScale(eighths)) {
        error = QString::fromLocal8Bit(dec.err.message);
        return QImage();
    }
    // Bands join seamlessly only when no component is stretched across rows.
    for (int ci = 0; ci < c.num_components; ++ci) {
        const jpeg_component_info &comp = c.comp_info[ci];
        if (comp.v_samp_factor * comp.DCT_scaled_size != c.max_v_samp_factor * c.min_DCT_scaled_size)
            return QImage();
    }
    // MCU geometry of the (interleaved) scan.
    const int mcuHeight = c.num_components == 1 ? 8 : c.max_v_samp_factor * 8;
    const int mcuWidth = c.num_components == 1 ? 8 : c.max_h_samp_factor * 8;
    const qint64 mcusPerRow = (qint64(c.image_width) + mcuWidth - 1) / mcuWidth;
    const qint64 mcuRows = (qint64(c.image_height) + mcuHeight - 1) / mcuHeight;
    const qint64 interval = c.restart_interval;
    const qint64 segments = (mcusPerRow * mcuRows + interval - 1) / interval;

    // A band may start at an MCU row that starts a segment whose number is a multiple of 8:
    // its decoder then expects the markers the file has (RST0 first).
    QVector<qint64> starts;
    for (qint64 row = 0; row < mcuRows; ++row) {
        const qint64 mcu = row * mcusPerRow;
        if (mcu % interval == 0 && (mcu / interval) % 8 == 0)
            starts.append(row);
    }
    const int wanted = int(qMin<qint64>(qint64(maxThreads) * 2, mcuRows / 8));
    if (starts.size() < 2 || wanted < 2)
        return QImage();

    qsizetype end = -1;
    const QVector<qsizetype> markers = restartMarkers(&end);
    if (markers.size() != segments - 1)
        return QImage();

    // Evenly spread band starts among the possible ones.
    QVector<qint64> bandRows{0};
    for (int b = 1; b < wanted; ++b) {
        const qint64 target = mcuRows * b / wanted;
        const auto it = std::lower_bound(starts.cbegin(), starts.cend(), target);
        if (it != starts.cend() && *it > bandRows.last() && *it < mcuRows)
            bandRows.append(*it);
    }
    if (bandRows.size() < 2)
        return QImage();
    bandRows.append(mcuRows);

    const QSize out(int(c.output_width), int(c.output_height));
    QImage image(out, c.out_color_space == JCS_GRAYSCALE ? QImage::Format_Grayscale8 : QImage::Format_RGB32);
    if (image.isNull()) {
        error = QStringLiteral("no memory for %1 x %2").arg(out.width()).arg(out.height());
        return image;
    }
    const int bandCount = bandRows.size() - 1;
    QVector<QByteArray> headers(bandCount);
    for (int b = 0; b < bandCount; ++b) {
        const qint64 top = bandRows[b] * mcuHeight;
        const qint64 bottom = qMin<qint64>(bandRows[b + 1] * mcuHeight, c.image_height);
        QByteArray header(reinterpret_cast<const char *>(data), int(scanStart));
        qToBigEndian<quint16>(quint16(bottom - top), header.data() + sofHeightAt);
        headers[b] = header;
    }

    // Bands write disjoint rows; the image is not touched through QImage from the threads.
    uchar *const bits = image.bits();
    const qsizetype bytesPerLine = image.bytesPerLine();
    const int width = image.width();
    const int height = image.height();
    std::atomic<int> next{0};
    std::atomic<bool> failed{false};
    std::atomic<bool> ended{false};
    const int scale = eighths;
    auto work = [&] {
        for (int b = next.fetch_add(1); b < bandCount && !failed; b = next.fetch_add(1)) {
            const qint64 firstSegment = bandRows[b] * mcusPerRow / interval;
            const qint64 lastSegment = bandRows[b + 1] == mcuRows ? segments : bandRows[b + 1] * mcusPerRow / interval;
            const qsizetype from = firstSegment == 0 ? scanStart : markers[int(firstSegment - 1)] + 2;
            const qsizetype to = lastSegment == segments ? end : markers[int(lastSegment - 1)];
            PieceSource source;
            source.pub.init_source = pieceInit;
            source.pub.fill_input_buffer = pieceFill;
            source.pub.skip_input_data = pieceSkip;
            source.pub.resync_to_restart = jpeg_resync_to_restart;
            source.pub.term_source = pieceTerm;
            source.pub.next_input_byte = nullptr;
            source.pub.bytes_in_buffer = 0;
            source.pieces[0] = reinterpret_cast<const JOCTET *>(headers[b].constData());
            source.lengths[0] = size_t(headers[b].size());
            source.pieces[1] = data + from;
            source.lengths[1] = size_t(to - from);
            source.pieces[2] = kEoi;
            source.lengths[2] = 2;
            source.next = 0;
            Decompressor band;
            if (!band.start(nullptr, 0, &source, false) || !band.setScale(scale)) {
                failed = true;
                return;
            }
            const int row = int(bandRows[b] * mcuHeight * scale / 8);
            if (int(band.cinfo.output_width) != width || row + int(band.cinfo.output_height) > height
                || !band.readInto(bits + row * bytesPerLine, bytesPerLine, int(band.cinfo.output_height))) {
                failed = true;
                return;
            }
            if (band.err.dataEnded)
                ended = true;
        }
    };
    QThreadPool *pool = bandPool();
    const int helpers = qMin(maxThreads, bandCount) - 1;
    QVector<QFuture<void>> running;
    for (int h = 0; h < helpers; ++h)
        running.append(QtConcurrent::run(pool, work));
    work();
    for (QFuture<void> &f : running)
        f.waitForFinished(); // one not yet started runs here, and finds nothing left
    if (failed || ended)
        return QImage(); // the one-pass decode says what is wrong
    bands = bandCount;
    return image;
}
