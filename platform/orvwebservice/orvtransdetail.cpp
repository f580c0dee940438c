// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvtransdetail.h"

#include "orvclouddisk.h"
#include "orvwebservice_logging.h"

#include <QJsonObject>
#include <QUrl>

OrvTransDetail::OrvTransDetail(const OrvCloudDisk &disk)
    : m_disk(disk)
{
}

void OrvTransDetail::install(OrvWebService &service)
{
    m_service = &service;
    service.addRoute(QStringLiteral("GET"), QString::fromLatin1(Path),
                     [this](const OrvWebService::Request &r) { return detail(r); });
}

void OrvTransDetail::setMisbehave(Misbehave misbehave)
{
    QMutexLocker lock(&m_mutex);
    m_misbehave = misbehave;
}

OrvTransDetail::Misbehave OrvTransDetail::misbehave() const
{
    QMutexLocker lock(&m_mutex);
    return m_misbehave;
}

OrvWebService::Response OrvTransDetail::detail(const OrvWebService::Request &request) const
{
    const Misbehave mode = misbehave();
    if (mode == Misbehave::NeverAnswer) {
        // Held like a server that never answers; the service's stop ends it.
        while (m_service && m_service->waitUnlessStopping(100)) {
        }
        return {503, "text/plain", "stopping"};
    }
    const QString idText = request.queryValue(QStringLiteral("userFileId"));
    if (idText.isEmpty())
        return OrvWebService::fail(OrvWebService::MissingFieldErrorNo, QStringLiteral("missing field: userFileId"));
    const OrvCloudDisk::File file = m_disk.file(idText.toULongLong());
    const QString owner = request.queryValue(QStringLiteral("ownerUid"));
    if (file.userFileId == 0 || (!owner.isEmpty() && owner.toULongLong() != file.ownerUid))
        return OrvWebService::fail(OrvCloudDisk::NoSuchFileErrorNo, QStringLiteral("no such file: %1").arg(idText.left(40)));
    if (mode == Misbehave::Refuse)
        return OrvWebService::fail(RefusedErrorNo, QStringLiteral("transcoding details are not available"));

    const QString path = OrvCloudDisk::downloadPath(file);
    const bool picture = file.fileType == 4;
    QJsonObject detail{{QStringLiteral("userFileId"), double(file.userFileId)},
                       {QStringLiteral("ownerUid"), double(file.ownerUid)},
                       {QStringLiteral("fileName"), file.userFileName},
                       {QStringLiteral("path"), path},
                       {QStringLiteral("orvFileType"), mode == Misbehave::BoardFile ? QStringLiteral("orv-eppt")
                                                       : picture                    ? QStringLiteral("orv-image")
                                                                                    : QStringLiteral("orv-doc")},
                       {QStringLiteral("transState"), mode == Misbehave::Transcoding ? 1 : 2},
                       {QStringLiteral("foul"), mode == Misbehave::Foul || mode == Misbehave::FoulNoStandIn},
                       {QStringLiteral("replaceUrl"), QString()}};
    QJsonObject output;
    if (picture && mode != Misbehave::Transcoding) {
        QString midsize = QLatin1Char('/') + path + QStringLiteral("&size=midsize");
        if (mode == Misbehave::AbsoluteUrls) {
            const QByteArray host = request.header("Host");
            midsize = QStringLiteral("http://%1%2").arg(QString::fromLatin1(host), midsize);
        }
        output.insert(QStringLiteral("IMAGE"), QJsonObject{{QStringLiteral("midsize"), midsize},
                                                           {QStringLiteral("url"), QLatin1Char('/') + path}});
    }
    detail.insert(QStringLiteral("output"), output);
    if (mode == Misbehave::Foul) {
        // The first picture of the disk stands in for what the service will not show.
        const QByteArray host = request.header("Host");
        for (const OrvCloudDisk::File &f : m_disk.files()) {
            if (f.fileType == 4) {
                detail.insert(QStringLiteral("replaceUrl"),
                              QStringLiteral("http://%1/%2").arg(QString::fromLatin1(host), OrvCloudDisk::downloadPath(f)));
                break;
            }
        }
    }
    qCDebug(lcOrvWebService) << "transcoding details of" << file.userFileId;
    return OrvWebService::ok(detail);
}
