// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// What the picture window tests share: the local web service with the cloud disk and chat files,
// the client pointed at it, settings and folders in a temporary place, pictures made on the spot.

#include "bridgedialogs.h"
#include "imagesamples.h"
#include "orvchatfiles.h"
#include "orvclouddisk.h"
#include "orvhttpmanager.h"
#include "orvsettings.h"
#include "orvtrack.h"
#include "orvutils.h"
#include "orvwebservice.h"
#include "serverenvironment.h"

#include <QDir>
#include <QImage>
#include <QPixmap>
#include <QTemporaryDir>
#include <QtTest>

namespace Pictures {

class Environment
{
public:
    OrvWebService service;
    OrvCloudDisk disk;
    OrvChatFiles chatFiles;
    QTemporaryDir dir;

    bool start()
    {
        if (!dir.isValid())
            return false;
        OrvSettings::instance()->setFileName(dir.filePath("settings.ini"));
        OrvSettings::instance()->setValue(QLatin1String(OrvUtils::DefaultSaveFilePathKey), dir.filePath("received"));
        OrvSettings::instance()->setValue(QStringLiteral("saveAsPath"), dir.filePath("saved"));
        disk.install(service);
        chatFiles.install(service);
        if (!service.start())
            return false;
        OrvHttpManager::instance()->setBaseUrl(service.baseUrl());
        ServerEnvironment::setHost(ServerEnvironment::DownloadServer, QString(), service.baseUrl());
        // Message boxes answer at once.
        BridgeDialogs::setMessageHandler([this](QWidget *, const QString &title, const QString &text, const QStringList &) {
            messages << title + QLatin1Char('|') + text;
            return 0;
        });
        return true;
    }

    QString path(const QString &name) const { return dir.filePath(name); }

    /// A picture file written on the spot; JPEGs are camera-like, PNGs the four-colour probe.
    QString picture(const QString &name, const QSize &size, quint32 seed = 1)
    {
        const QString file = path(name);
        const bool jpeg = name.endsWith(QLatin1String(".jpg"));
        const QByteArray bytes = jpeg ? ImageSamples::encode(ImageSamples::cameraLike(size, seed), "jpg", 90)
                                      : ImageSamples::encode(ImageSamples::quadrantProbe(size), "png");
        return ImageSamples::writeFile(file, bytes) ? file : QString();
    }

    QStringList messages;
};

inline QPixmap solid(const QSize &size, const QColor &color = Qt::darkCyan)
{
    QPixmap p(size);
    p.fill(color);
    return p;
}

} // namespace Pictures
