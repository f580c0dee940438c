// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QMap>
#include <QPair>
#include <QSharedPointer>
#include <QString>
#include <QVector>
#include <tuple>
#include <vector>

namespace OrvEngine {

/// (school id, course id, lesson id) of each changed lesson.
using LessonChangeList = std::vector<std::tuple<quint64, quint64, quint64>>;

class LessonInfo
{
public:
    LessonInfo() = default;
    LessonInfo(quint64 id, const QString &name, int minutes) : m_id(id), m_name(name), m_minutes(minutes) {}

    quint64 id() const { return m_id; }
    QString name() const { return m_name; }
    /// Length as shown in lists: "45 min", "1 h 30 min".
    QString lengthText() const;

private:
    quint64 m_id = 0;
    QString m_name;
    int m_minutes = 0;
};

class CourseInfo
{
public:
    explicit CourseInfo(quint64 id = 0, bool everyoneCanJoin = false) : m_id(id), m_everyoneCanJoin(everyoneCanJoin) {}
    quint64 id() const { return m_id; }
    bool everyoneCanJoin() const { return m_everyoneCanJoin; }

private:
    quint64 m_id;
    bool m_everyoneCanJoin;
};

/// The course engine's snapshot of a course.
class SnapshotCourse
{
public:
    /// Kinds 3 and 6 are single-lesson courses (open classes, trial lessons).
    enum Kind { Regular = 1, Series = 2, SingleOpen = 3, Public = 4, Trial = 6 };

    SnapshotCourse(quint64 id, quint64 schoolId, const QString &name, int kind)
        : m_id(id), m_schoolId(schoolId), m_name(name), m_kind(kind) {}

    quint64 courseId() const { return m_id; }
    quint64 schoolId() const { return m_schoolId; }
    QString name() const { return m_name; }
    int kind() const { return m_kind; }
    bool everyoneCanJoin() const { return m_everyoneCanJoin; }

    void setName(const QString &v) { m_name = v; }
    void setKind(int v) { m_kind = v; }
    void setEveryoneCanJoin(bool v) { m_everyoneCanJoin = v; }

private:
    quint64 m_id;
    quint64 m_schoolId;
    QString m_name;
    int m_kind;
    bool m_everyoneCanJoin = false;
};

/// The course engine's snapshot of one lesson.
class SnapshotLesson
{
public:
    /// State 1 is "not yet scheduled".
    enum State { Unscheduled = 1, Scheduled = 2, Running = 3, Ended = 4 };

    SnapshotLesson(quint64 id, quint64 courseId, quint64 schoolId, const QString &name)
        : m_id(id), m_courseId(courseId), m_schoolId(schoolId), m_name(name) {}

    quint64 lessonId() const { return m_id; }
    quint64 courseId() const { return m_courseId; }
    quint64 schoolId() const { return m_schoolId; }
    QString name() const { return m_name; }
    int state() const { return m_state; }
    /// The lesson opens its course (the course's first scheduled lesson).
    bool isFirst() const { return m_first; }
    /// The signed-in user still has a role in this lesson.
    bool roleValid() const { return m_roleValid; }
    int minutes() const { return m_minutes; }

    void setName(const QString &v) { m_name = v; }
    void setState(int v) { m_state = v; }
    void setFirst(bool v) { m_first = v; }
    void setRoleValid(bool v) { m_roleValid = v; }
    void setMinutes(int v) { m_minutes = v; }

private:
    quint64 m_id;
    quint64 m_courseId;
    quint64 m_schoolId;
    QString m_name;
    int m_state = Scheduled;
    bool m_first = false;
    bool m_roleValid = true;
    int m_minutes = 45;
};

using SnapshotCoursePtr = QSharedPointer<SnapshotCourse>;
using SnapshotLessonPtr = QSharedPointer<SnapshotLesson>;

/// A school as the course engine knows it. Service type 2 marks a school whose name is not shown.
class SchoolInfo
{
public:
    SchoolInfo(quint64 id, const QString &name, int serviceType) : m_id(id), m_name(name), m_serviceType(serviceType) {}
    quint64 id() const { return m_id; }
    QString name() const { return m_name; }
    int serviceType() const { return m_serviceType; }
    void setName(const QString &v) { m_name = v; }
    void setServiceType(int v) { m_serviceType = v; }

private:
    quint64 m_id;
    QString m_name;
    int m_serviceType;
};
using SchoolInfoPtr = std::shared_ptr<SchoolInfo>;

namespace CourseUtilities {
/// Groups changed lessons by course: course id → (school id, lesson ids in list order).
QMap<quint64, QPair<quint64, QVector<quint64>>> convertLessonsInfo(const LessonChangeList &lessons);
}

} // namespace OrvEngine

Q_DECLARE_METATYPE(OrvEngine::LessonChangeList)
