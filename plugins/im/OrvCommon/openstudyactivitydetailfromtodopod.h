// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QMetaType>
#include <QSharedPointer>
#include <QSize>
#include <QString>

/**
 * A request to open the study-activity (homework) window of a course, sent through the hub's
 * openStudyActivityWidget. Ids travel as decimal text because the window passes them on to a
 * web page's query string unchanged.
 */
struct OpenStudyActivityDetailFromToDoPod
{
    QString courseId;
    QString schoolId;
    /// Page of the window to open: 1 is the course's activity list.
    int pageType = 1;
    /// Activity to open inside that page; 0 opens none.
    quint64 activityId = 0;
    QSize windowSize{1080, 720};
    /// The signed-in user, as the web page identifies them (uid as text).
    QString userId;
    /// Page address to load; empty lets the window pick its default.
    QString url;
};

Q_DECLARE_METATYPE(QSharedPointer<OpenStudyActivityDetailFromToDoPod>)
