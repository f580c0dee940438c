// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QPixmap>
#include <QString>
#include <functional>

class QWidget;

/**
 * Where the picture windows hand a picture to the image editor. The editor (ImageEditor, with
 * its instance(), setEntrancePage() and showImage()) is not part of this library yet; until it
 * is, a host may install its own editor here, and without one Edit only logs that no editor is
 * there. When ImageEditor lands, open() calls it directly and the handler goes.
 */
class ImageEditorSeam
{
public:
    using Handler = std::function<void(const QString &entrancePage, const QString &path, const QPixmap &pixmap,
                                       QWidget *parent)>;

    /// False (and a log line) when no editor is there.
    static bool open(const QString &entrancePage, const QString &path, const QPixmap &pixmap, QWidget *parent);
    static bool isAvailable();
    static void setHandler(Handler handler);
};
