// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>
#include <QStringList>

/// Shows pictures by address in the client's image viewer.
class IImagePreviewService : public QObject
{
    Q_OBJECT
public:
    static constexpr const char *ExtensionName = "IImagePreviewService";
    using QObject::QObject;
    virtual void previewImages(const QStringList &urls) = 0;
};
