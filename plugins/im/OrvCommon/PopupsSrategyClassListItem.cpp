// SPDX-License-Identifier: LGPL-2.1-or-later
#include "PopupsSrategyClassListItem.h"

#include "courseengine.h"
#include "imsignalobject.h"

using OrvEngine::CourseEngine;

PopupsSrategyClassListItem::PopupsSrategyClassListItem(QObject *parent) : PopupsSrategyBaseItem(parent)
{
    connect(CourseEngine::instance(), &CourseEngine::signalSnapshotCompleted, this,
            &PopupsSrategyClassListItem::onSnapshotCompleted);
    connect(ImSignalObject::instance(), &ImSignalObject::signalNotProcessEnterClassWidget, this,
            &PopupsSrategyClassListItem::onNotProcessEnterClassWidget);
}

void PopupsSrategyClassListItem::onSnapshotCompleted()
{
    if (m_handled)
        return;
    m_handled = true;
    const CourseEngine *engine = CourseEngine::instance();
    bool waiting = false;
    const auto courses = engine->getSnapshotCourses();
    for (const auto &course : courses) {
        if (!course)
            continue;
        for (const auto &lesson : engine->getLessons(course->schoolId(), course->courseId())) {
            if (engine->isLessonWaitingToEnter(lesson)) {
                waiting = true;
                break;
            }
        }
        if (waiting)
            break;
    }
    decide(waiting);
    Q_EMIT hasSnapshotCompleted();
}

void PopupsSrategyClassListItem::onNotProcessEnterClassWidget()
{
    popupClosed();
}
