// SPDX-License-Identifier: LGPL-2.1-or-later
#include "imageeditorseam.h"
#include "orvcommon_logging.h"

namespace {
ImageEditorSeam::Handler &handler()
{
    static ImageEditorSeam::Handler h;
    return h;
}
} // namespace

bool ImageEditorSeam::open(const QString &entrancePage, const QString &path, const QPixmap &pixmap, QWidget *parent)
{
    if (pixmap.isNull()) {
        qCWarning(lcOrvCommon) << "no picture to edit";
        return false;
    }
    if (!handler()) {
        qCWarning(lcOrvCommon) << "no image editor in this build; cannot edit the picture from" << entrancePage;
        return false;
    }
    handler()(entrancePage, path, pixmap, parent);
    return true;
}

bool ImageEditorSeam::isAvailable()
{
    return bool(handler());
}

void ImageEditorSeam::setHandler(Handler h)
{
    handler() = std::move(h);
}
