// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "courseinfo.h"

#include <QHash>
#include <QObject>
#include <vector>

namespace OrvEngine {

/// Reference course engine: the snapshot of the user's courses and lessons, and the schools.
class CourseEngine : public QObject
{
    Q_OBJECT
public:
    static CourseEngine *instance();
    static void release();

    /// Courses in the order the snapshot lists them.
    virtual QList<SnapshotCoursePtr> getSnapshotCourses() const;
    virtual SnapshotCoursePtr getSnapshotCourse(quint64 courseId) const { return m_courses.value(courseId); }
    virtual QString getCourseName(quint64 courseId) const;
    /// 0 when the course is unknown.
    virtual quint64 getSchoolIdOfCourse(quint64 courseId) const;
    virtual SchoolInfoPtr getSchoolInfo(quint64 schoolId, bool fetchIfMissing = false) const;
    /// Asks for the school's information (storage included) again; signalSchoolInfoChanged
    /// announces it on a later turn of the event loop. The reference engine re-announces what it holds.
    virtual void refreshSchoolInfo(quint64 schoolId);
    virtual std::vector<SnapshotLessonPtr> getLessons(quint64 schoolId, quint64 courseId) const;
    SnapshotLessonPtr getLesson(quint64 courseId, quint64 lessonId) const;
    /// The lesson is running and the user still has a role in it: it waits to be entered.
    virtual bool isLessonWaitingToEnter(const SnapshotLessonPtr &lesson) const;

    // Mutations.
    void setSchool(const SchoolInfoPtr &school);
    void addCourse(const SnapshotCoursePtr &course, const std::vector<SnapshotLessonPtr> &lessons = {});
    void removeCourse(quint64 courseId);
    void renameCourse(quint64 courseId, const QString &name);
    void addLesson(const SnapshotLessonPtr &lesson);
    void removeLesson(quint64 courseId, quint64 lessonId);
    /// Sets a lesson's state and emits the matching single-lesson signal (start, end, prepare, info).
    void setLessonState(quint64 courseId, quint64 lessonId, int state);
    void setLessonRoleValid(quint64 courseId, quint64 lessonId, bool valid);
    void changeLessons(const LessonChangeList &lessons);
    void completeSnapshot();
    void insertCourseQuietly(const SnapshotCoursePtr &course, const std::vector<SnapshotLessonPtr> &lessons);
    void insertSchoolQuietly(const SchoolInfoPtr &school);
    void clear();

Q_SIGNALS:
    void signalSnapshotCompleted();
    void signalCourseAdded(quint64 schoolId, quint64 courseId);
    void signalRemoveCourse(quint64 schoolId, quint64 courseId);
    void signalLessonAdded(quint64 schoolId, quint64 courseId, quint64 lessonId);
    void signalRemoveLesson(quint64 schoolId, quint64 courseId, quint64 lessonId);
    void signalLessonRoleInvalid(quint64 schoolId, quint64 courseId, quint64 lessonId);
    void signalLessonInfoChanged(quint64 schoolId, quint64 courseId, quint64 lessonId);
    void signalLessonPrepare(quint64 schoolId, quint64 courseId, quint64 lessonId);
    void signalLessonStart(quint64 schoolId, quint64 courseId, quint64 lessonId);
    void signalLessonEnd(quint64 schoolId, quint64 courseId, quint64 lessonId);
    void signalLessonsInfoChanged(const OrvEngine::LessonChangeList &lessons);
    void signalCourseNameChanged(quint64 schoolId, quint64 courseId, const QString &name);
    void signalSchoolInfoChanged(quint64 schoolId);

protected:
    CourseEngine();

private:
    QHash<quint64, SnapshotCoursePtr> m_courses;
    QList<quint64> m_courseOrder;
    QHash<quint64, std::vector<SnapshotLessonPtr>> m_lessons;
    QHash<quint64, SchoolInfoPtr> m_schools;
    static CourseEngine *s_instance;
};

} // namespace OrvEngine
