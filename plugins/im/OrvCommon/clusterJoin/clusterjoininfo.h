// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QDateTime>
#include <QString>

/// What the join pages show of a class or public course.
struct ClusterJoinInfo
{
    QString courseName;  ///< the course (public course topic)
    QString className;   ///< the class chat's name
    QString schoolName;  ///< the institution
    QString teacherName;
    QString snCode;      ///< the serial code people type to join
    QString link;        ///< join link
    QString qrLink;      ///< what the QR code holds
    QDateTime startTime; ///< invalid when unknown
    int minutes = 0;
    quint64 courseId = 0;
};
