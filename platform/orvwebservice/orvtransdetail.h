// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvwebservice.h"

#include <QMutex>

class OrvCloudDisk;

/**
 * Transcoding details of the cloud disk's files on the local web service, as pages that use cloud
 * pictures need them (the exam pages take the "midsize" picture of a file).
 *
 * install() adds (errno 1 is success, see OrvWebService):
 *   GET /cloudspace/api/user/file/trans/detail  "userFileId", "ownerUid" (optional): data
 *       {"userFileId", "ownerUid", "fileName", "path" (the file, relative to the download server),
 *        "orvFileType" ("orv-image" for pictures, "orv-doc" otherwise), "transState" (2: done),
 *        "output": {"IMAGE": {"midsize", "url"}} for pictures ({} otherwise; both addresses are
 *        paths on this service), "foul": false, "replaceUrl": ""};
 *       an unknown file: fail(OrvCloudDisk::NoSuchFileErrorNo), a missing id: fail(MissingFieldErrorNo).
 * Besides the service's own faults on the path (HTTP 500, garbage, slow, dropped), misbehaviours
 * for testing clients (setMisbehave). Handlers run on the service's threads; the disk must outlive
 * the service.
 */
class OrvTransDetail
{
public:
    static constexpr const char *Path = "/cloudspace/api/user/file/trans/detail";

    enum class Misbehave {
        None,
        Refuse,       ///< errno RefusedErrorNo with a message
        Transcoding,  ///< still transcoding: "transState" 1 and no output yet
        BoardFile,    ///< every file reported as a board file ("orv-eppt")
        Foul,         ///< withheld: "foul" true, "replaceUrl" the service's stand-in picture
        FoulNoStandIn,///< withheld without a stand-in
        AbsoluteUrls, ///< "midsize" as a full address of this service
        NeverAnswer,  ///< the request is held until the service stops
    };

    static constexpr int RefusedErrorNo = 40301;

    explicit OrvTransDetail(const OrvCloudDisk &disk);

    void install(OrvWebService &service);
    void setMisbehave(Misbehave misbehave);
    Misbehave misbehave() const;

private:
    OrvWebService::Response detail(const OrvWebService::Request &request) const;

    const OrvCloudDisk &m_disk;
    OrvWebService *m_service = nullptr;
    mutable QMutex m_mutex;
    Misbehave m_misbehave = Misbehave::None;
};
