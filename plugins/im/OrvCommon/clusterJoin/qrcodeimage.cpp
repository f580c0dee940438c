// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qrcodeimage.h"
#include "orvcommon_logging.h"

#include <QPainter>
#include <memory>
#include <qrencode.h>

namespace {

struct QRcodeDeleter {
    void operator()(QRcode *code) const { QRcode_free(code); }
};
using QRcodePtr = std::unique_ptr<QRcode, QRcodeDeleter>;

QRcodePtr makeCode(const QString &text)
{
    if (text.isEmpty())
        return {};
    const QByteArray utf8 = text.toUtf8();
    // Version 0: the smallest that holds the text; 8-bit mode keeps any UTF-8 as it is.
    QRcodePtr code(QRcode_encodeData(utf8.size(), reinterpret_cast<const unsigned char *>(utf8.constData()), 0, QR_ECLEVEL_M));
    if (!code)
        qCWarning(lcJoin) << "cannot make a QR code of" << utf8.size() << "bytes:" << strerror(errno);
    return code;
}

} // namespace

int QRCodeImage::moduleCount(const QString &text)
{
    const QRcodePtr code = makeCode(text);
    return code ? code->width : 0;
}

QImage QRCodeImage::encode(const QString &text, int moduleSize, int margin, const QColor &dark, const QColor &light)
{
    const QRcodePtr code = makeCode(text);
    if (!code)
        return {};
    moduleSize = std::max(1, moduleSize);
    margin = std::max(0, margin);
    const int side = (code->width + 2 * margin) * moduleSize;
    QImage image(side, side, QImage::Format_RGB32);
    image.fill(light);
    QPainter p(&image);
    p.setPen(Qt::NoPen);
    p.setBrush(dark);
    for (int y = 0; y < code->width; ++y) {
        const unsigned char *row = code->data + y * code->width;
        for (int x = 0; x < code->width; ++x) {
            // Bit 0 of each byte is the module's colour; the other bits describe its role.
            if (row[x] & 1)
                p.drawRect((x + margin) * moduleSize, (y + margin) * moduleSize, moduleSize, moduleSize);
        }
    }
    return image;
}
