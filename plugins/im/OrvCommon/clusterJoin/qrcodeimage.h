// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QColor>
#include <QImage>
#include <QString>

/// QR codes drawn with libqrencode.
class QRCodeImage
{
public:
    /// The code of text (UTF-8, error correction M) with each module moduleSize pixels wide and
    /// a quiet zone of margin modules. A null image (and a log line) when the text cannot be
    /// encoded: empty, or too long for a QR code.
    static QImage encode(const QString &text, int moduleSize = 6, int margin = 2, const QColor &dark = Qt::black,
                         const QColor &light = QColor(QStringLiteral("#FFFFFF")));
    /// Modules per side of the code of text, 0 when it cannot be encoded.
    static int moduleCount(const QString &text);
};
