// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "orvwebservice.h"

#include <QHash>
#include <QJsonObject>
#include <QMutex>
#include <QVector>

/**
 * Schools and courses on the local web service: the routes of the class join panel and of the
 * school binding, each with misbehaviours for testing their clients (besides the service's own
 * faults: HTTP 500, garbage, slow, dropped).
 *
 * install() adds (errno 1 is success, see OrvWebService):
 *   GET  /api/course/getOpenCourseUrl    "schoolId", "courseId": data {"openCourseUrl", "openQRCodeUrl",
 *                                        "snCode", "courseName", "teacherName", "startTime" (s since
 *                                        epoch), "duration" (minutes)}; an unknown course: fail(NoCourseErrorNo)
 *   GET  /api/school/getSchoolAuthInfo   "schoolId": data {"SID": "<decimal id>", "name", "authStatus"};
 *                                        an unknown school: fail(NoSchoolErrorNo)
 *   POST /api/school/bindInstallPlace    form "schoolId", "schoolName", "machineId": recorded; data {"bound": true}
 * Join links point at the service itself ("<base>/join/<snCode>"). Handlers run on the service's
 * threads; the data is guarded, and the object must outlive the service it was installed in.
 */
class OrvSchoolService
{
public:
    enum class Misbehave {
        None,
        Refuse,        ///< errno RefusedErrorNo with a message (networkError 0)
        MissingFields, ///< success with an empty data object
        OtherSchool,   ///< school info of another school ("SID" differs)
        BadValues,     ///< fields of the wrong type ("SID" not a number, URLs as numbers)
    };

    struct Course
    {
        quint64 schoolId = 0;
        quint64 courseId = 0;
        QString name;
        QString teacherName;
        qint64 startTime = 0; ///< seconds since the epoch
        int minutes = 0;
        QString snCode;
    };

    static constexpr int RefusedErrorNo = 40300;
    static constexpr int NoCourseErrorNo = 40401;
    static constexpr int NoSchoolErrorNo = 40402;

    static constexpr const char *OpenCourseUrlPath = "/api/course/getOpenCourseUrl";
    static constexpr const char *SchoolAuthInfoPath = "/api/school/getSchoolAuthInfo";
    static constexpr const char *BindInstallPlacePath = "/api/school/bindInstallPlace";

    void install(OrvWebService &service);

    void addSchool(quint64 schoolId, const QString &name);
    void addCourse(const Course &course);
    void setMisbehave(const QString &path, Misbehave misbehave);
    /// Form fields of every binding received, oldest first.
    QVector<QJsonObject> bindings() const;

private:
    OrvWebService::Response openCourseUrl(const OrvWebService::Request &request) const;
    OrvWebService::Response schoolAuthInfo(const OrvWebService::Request &request) const;
    OrvWebService::Response bindInstallPlace(const OrvWebService::Request &request);
    Misbehave misbehaveOf(const char *path) const;

    mutable QMutex m_mutex;
    QHash<quint64, QString> m_schools;
    QHash<quint64, Course> m_courses;
    QHash<QString, Misbehave> m_misbehave;
    QVector<QJsonObject> m_bindings;
};
