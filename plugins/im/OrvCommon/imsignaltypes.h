// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// Value types that travel through ImSignalObject's signals and belong to the host's windows.

#include "courseinfo.h"
#include "session.h"

#include <QMetaType>
#include <QSharedPointer>
#include <QString>
#include <QVariant>
#include <vector>

/// Kind of classroom a start-up signal asks for.
enum RoomType : int {
    RoomTypeUnknown = 0,
    RoomTypeLesson = 1,        ///< a scheduled lesson of a course
    RoomTypeTempClassroom = 2, ///< a classroom opened from a chat, no lesson behind it
    RoomTypeOpenClass = 3,     ///< a public open class
    RoomTypeMeeting = 4,       ///< a meeting
    RoomTypeMicrolecture = 5,  ///< the micro-lecture recorder (a classroom of one)
    RoomTypeTrial = 6,         ///< a trial lesson
};

/// Page of the assistant's help window.
enum HelpWidgetType : int {
    HelpWidgetHome = 0,
    HelpWidgetFaq = 1,
    HelpWidgetFeedback = 2,
    HelpWidgetRobotChat = 3,
    HelpWidgetWebPage = 4,
};

Q_DECLARE_METATYPE(RoomType)
Q_DECLARE_METATYPE(HelpWidgetType)
Q_DECLARE_METATYPE(OrvEngine::SnapshotLessonPtr)
Q_DECLARE_METATYPE(QSharedPointer<QVariant>)
Q_DECLARE_METATYPE(std::vector<QString>)
