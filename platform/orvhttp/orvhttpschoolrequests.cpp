// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvhttpmanager.h"

namespace {

OrvHttpReply *deliver(OrvHttpReply *reply, QObject *context, OrvHttpManager::ReplyCallback callback)
{
    QObject::connect(reply, &OrvHttpReply::finished, context ? context : reply, std::move(callback));
    return reply;
}

} // namespace

OrvHttpReply *OrvHttpManager::requestGetOpenCourseUrl(quint64 schoolId, quint64 courseId, QObject *context,
                                                      ReplyCallback callback)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("schoolId"), QString::number(schoolId));
    query.addQueryItem(QStringLiteral("courseId"), QString::number(courseId));
    return deliver(get(QStringLiteral("/api/course/getOpenCourseUrl"), query), context, std::move(callback));
}

OrvHttpReply *OrvHttpManager::requestGetSchoolAuthInfo(quint64 schoolId, QObject *context, ReplyCallback callback)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("schoolId"), QString::number(schoolId));
    return deliver(get(QStringLiteral("/api/school/getSchoolAuthInfo"), query), context, std::move(callback));
}

OrvHttpReply *OrvHttpManager::requestBindInstallPlace(quint64 schoolId, const QString &schoolName, const QString &machineId,
                                                      QObject *context, ReplyCallback callback)
{
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("schoolId"), QString::number(schoolId));
    form.addQueryItem(QStringLiteral("schoolName"), schoolName);
    form.addQueryItem(QStringLiteral("machineId"), machineId);
    return deliver(postForm(QStringLiteral("/api/school/bindInstallPlace"), form), context, std::move(callback));
}
