// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvschoolservice.h"
#include "orvwebservice_logging.h"

#include <QUrl>

namespace {

// The address the client used to reach the service, for links that lead back to it.
QString baseOf(const OrvWebService::Request &request)
{
    const QByteArray host = request.header("Host");
    return host.isEmpty() ? QStringLiteral("http://127.0.0.1") : QStringLiteral("http://") + QString::fromLatin1(host);
}

quint64 idField(const QString &text)
{
    bool ok = false;
    const quint64 v = text.toULongLong(&ok);
    return ok ? v : 0;
}

} // namespace

void OrvSchoolService::install(OrvWebService &service)
{
    service.addRoute(QStringLiteral("GET"), QLatin1String(OpenCourseUrlPath),
                     [this](const OrvWebService::Request &r) { return openCourseUrl(r); });
    service.addRoute(QStringLiteral("GET"), QLatin1String(SchoolAuthInfoPath),
                     [this](const OrvWebService::Request &r) { return schoolAuthInfo(r); });
    service.addRoute(QStringLiteral("POST"), QLatin1String(BindInstallPlacePath),
                     [this](const OrvWebService::Request &r) { return bindInstallPlace(r); });
}

void OrvSchoolService::addSchool(quint64 schoolId, const QString &name)
{
    QMutexLocker lock(&m_mutex);
    m_schools.insert(schoolId, name);
}

void OrvSchoolService::addCourse(const Course &course)
{
    QMutexLocker lock(&m_mutex);
    m_courses.insert(course.courseId, course);
}

void OrvSchoolService::setMisbehave(const QString &path, Misbehave misbehave)
{
    QMutexLocker lock(&m_mutex);
    m_misbehave.insert(path, misbehave);
}

QVector<QJsonObject> OrvSchoolService::bindings() const
{
    QMutexLocker lock(&m_mutex);
    return m_bindings;
}

OrvSchoolService::Misbehave OrvSchoolService::misbehaveOf(const char *path) const
{
    return m_misbehave.value(QLatin1String(path), Misbehave::None);
}

OrvWebService::Response OrvSchoolService::openCourseUrl(const OrvWebService::Request &request) const
{
    QMutexLocker lock(&m_mutex);
    const quint64 courseId = idField(request.queryValue(QStringLiteral("courseId")));
    const auto it = m_courses.constFind(courseId);
    if (courseId == 0 || it == m_courses.constEnd())
        return OrvWebService::fail(NoCourseErrorNo, QStringLiteral("no course %1").arg(request.queryValue(QStringLiteral("courseId"))));
    switch (misbehaveOf(OpenCourseUrlPath)) {
    case Misbehave::Refuse:
        return OrvWebService::fail(RefusedErrorNo, QStringLiteral("joining this course is closed"));
    case Misbehave::MissingFields:
        return OrvWebService::ok(QJsonObject());
    case Misbehave::BadValues:
        return OrvWebService::ok(QJsonObject{{QStringLiteral("openCourseUrl"), 42}, {QStringLiteral("openQRCodeUrl"), QJsonValue()},
                                             {QStringLiteral("startTime"), QStringLiteral("soon")}});
    default:
        break;
    }
    const Course &c = *it;
    const QString base = baseOf(request);
    const QString code = QString::fromLatin1(QUrl::toPercentEncoding(c.snCode));
    return OrvWebService::ok(QJsonObject{
        {QStringLiteral("openCourseUrl"), base + QStringLiteral("/join/") + code},
        {QStringLiteral("openQRCodeUrl"), base + QStringLiteral("/join/") + code + QStringLiteral("?from=qr")},
        {QStringLiteral("snCode"), c.snCode},
        {QStringLiteral("courseName"), c.name},
        {QStringLiteral("teacherName"), c.teacherName},
        {QStringLiteral("startTime"), double(c.startTime)},
        {QStringLiteral("duration"), c.minutes},
    });
}

OrvWebService::Response OrvSchoolService::schoolAuthInfo(const OrvWebService::Request &request) const
{
    QMutexLocker lock(&m_mutex);
    const quint64 schoolId = idField(request.queryValue(QStringLiteral("schoolId")));
    const auto it = m_schools.constFind(schoolId);
    if (schoolId == 0 || it == m_schools.constEnd())
        return OrvWebService::fail(NoSchoolErrorNo, QStringLiteral("no school %1").arg(request.queryValue(QStringLiteral("schoolId"))));
    switch (misbehaveOf(SchoolAuthInfoPath)) {
    case Misbehave::Refuse:
        return OrvWebService::fail(RefusedErrorNo, QStringLiteral("the school's authorisation has expired"));
    case Misbehave::MissingFields:
        return OrvWebService::ok(QJsonObject());
    case Misbehave::OtherSchool:
        return OrvWebService::ok(QJsonObject{{QStringLiteral("SID"), QString::number(schoolId + 1)},
                                             {QStringLiteral("name"), QStringLiteral("Another school")},
                                             {QStringLiteral("authStatus"), 1}});
    case Misbehave::BadValues:
        return OrvWebService::ok(QJsonObject{{QStringLiteral("SID"), QStringLiteral("9x")}, {QStringLiteral("name"), 7}});
    default:
        break;
    }
    return OrvWebService::ok(QJsonObject{{QStringLiteral("SID"), QString::number(schoolId)},
                                         {QStringLiteral("name"), *it},
                                         {QStringLiteral("authStatus"), 1}});
}

OrvWebService::Response OrvSchoolService::bindInstallPlace(const OrvWebService::Request &request)
{
    QMutexLocker lock(&m_mutex);
    switch (misbehaveOf(BindInstallPlacePath)) {
    case Misbehave::Refuse:
        return OrvWebService::fail(RefusedErrorNo, QStringLiteral("this computer cannot be bound"));
    case Misbehave::MissingFields:
        return OrvWebService::ok(QJsonObject());
    default:
        break;
    }
    const quint64 schoolId = idField(request.formValue(QStringLiteral("schoolId")));
    if (schoolId == 0 || !request.hasFormField(QStringLiteral("machineId")))
        return OrvWebService::fail(OrvWebService::MissingFieldErrorNo, QStringLiteral("schoolId and machineId are required"));
    if (!m_schools.contains(schoolId))
        return OrvWebService::fail(NoSchoolErrorNo, QStringLiteral("no school %1").arg(schoolId));
    QJsonObject record;
    for (const auto &field : request.form)
        record.insert(field.first, field.second);
    m_bindings.append(record);
    qCInfo(lcOrvWebService) << "installation" << request.formValue(QStringLiteral("machineId")) << "bound to school" << schoolId;
    return OrvWebService::ok(QJsonObject{{QStringLiteral("bound"), true}});
}
