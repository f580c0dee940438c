// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QUrl>

class OrvCloudDisk;
class OrvExamService;
class OrvSchoolService;
class OrvWebService;

/// The demo's one local web service, with the cloud disk on it, started on first use and pointed
/// to by the HTTP manager, the browser's trusted origins and the download servers.
class DemoServices
{
public:
    /// Null (with a log line) when the service cannot listen.
    static OrvWebService *webService();
    static OrvCloudDisk *cloudDisk();
    /// Schools and courses of the join panel and the school binding.
    static OrvSchoolService *schoolService();
    /// Exam files, the object storage and photos from phones; pushes reach the core engine.
    static OrvExamService *examService();
    static QUrl baseUrl();
};
