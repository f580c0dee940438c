#include "courseengine.h"
#include "clusterid.h"

#include <algorithm>

namespace OrvEngine {

CourseEngine *CourseEngine::s_instance = nullptr;

CourseEngine *CourseEngine::instance()
{
    if (!s_instance)
        s_instance = new CourseEngine;
    return s_instance;
}

void CourseEngine::release()
{
    delete s_instance;
    s_instance = nullptr;
}

CourseEngine::CourseEngine()
{
    registerMetaTypes();
}

QList<SnapshotCoursePtr> CourseEngine::getSnapshotCourses() const
{
    QList<SnapshotCoursePtr> out;
    out.reserve(m_courseOrder.size());
    for (quint64 id : m_courseOrder)
        out.append(m_courses.value(id));
    return out;
}

QString CourseEngine::getCourseName(quint64 courseId) const
{
    const auto c = m_courses.value(courseId);
    return c ? c->name() : QString();
}

quint64 CourseEngine::getSchoolIdOfCourse(quint64 courseId) const
{
    const auto c = m_courses.value(courseId);
    return c ? c->schoolId() : 0;
}

SchoolInfoPtr CourseEngine::getSchoolInfo(quint64 schoolId, bool) const
{
    return m_schools.value(schoolId);
}

std::vector<SnapshotLessonPtr> CourseEngine::getLessons(quint64, quint64 courseId) const
{
    return m_lessons.value(courseId);
}

SnapshotLessonPtr CourseEngine::getLesson(quint64 courseId, quint64 lessonId) const
{
    for (const auto &l : m_lessons.value(courseId)) {
        if (l->lessonId() == lessonId)
            return l;
    }
    return {};
}

bool CourseEngine::isLessonWaitingToEnter(const SnapshotLessonPtr &lesson) const
{
    return lesson && lesson->state() == SnapshotLesson::Running && lesson->roleValid();
}

void CourseEngine::refreshSchoolInfo(quint64 schoolId)
{
    if (!m_schools.contains(schoolId))
        return;
    QMetaObject::invokeMethod(this, [this, schoolId] { Q_EMIT signalSchoolInfoChanged(schoolId); }, Qt::QueuedConnection);
}

void CourseEngine::insertSchoolQuietly(const SchoolInfoPtr &school)
{
    if (school)
        m_schools.insert(school->id(), school);
}

void CourseEngine::setSchool(const SchoolInfoPtr &school)
{
    if (!school)
        return;
    insertSchoolQuietly(school);
    Q_EMIT signalSchoolInfoChanged(school->id());
}

void CourseEngine::insertCourseQuietly(const SnapshotCoursePtr &course, const std::vector<SnapshotLessonPtr> &lessons)
{
    if (!course)
        return;
    if (!m_courses.contains(course->courseId()))
        m_courseOrder.append(course->courseId());
    m_courses.insert(course->courseId(), course);
    m_lessons.insert(course->courseId(), lessons);
}

void CourseEngine::addCourse(const SnapshotCoursePtr &course, const std::vector<SnapshotLessonPtr> &lessons)
{
    if (!course)
        return;
    insertCourseQuietly(course, lessons);
    Q_EMIT signalCourseAdded(course->schoolId(), course->courseId());
}

void CourseEngine::removeCourse(quint64 courseId)
{
    const auto c = m_courses.take(courseId);
    if (!c)
        return;
    m_courseOrder.removeAll(courseId);
    m_lessons.remove(courseId);
    Q_EMIT signalRemoveCourse(c->schoolId(), courseId);
}

void CourseEngine::renameCourse(quint64 courseId, const QString &name)
{
    const auto c = m_courses.value(courseId);
    if (!c)
        return;
    c->setName(name);
    Q_EMIT signalCourseNameChanged(c->schoolId(), courseId, name);
}

void CourseEngine::addLesson(const SnapshotLessonPtr &lesson)
{
    if (!lesson || !m_courses.contains(lesson->courseId()))
        return;
    m_lessons[lesson->courseId()].push_back(lesson);
    Q_EMIT signalLessonAdded(lesson->schoolId(), lesson->courseId(), lesson->lessonId());
}

void CourseEngine::removeLesson(quint64 courseId, quint64 lessonId)
{
    auto it = m_lessons.find(courseId);
    if (it == m_lessons.end())
        return;
    auto &v = it.value();
    const auto pos = std::find_if(v.begin(), v.end(), [&](const SnapshotLessonPtr &l) { return l->lessonId() == lessonId; });
    if (pos == v.end())
        return;
    const quint64 schoolId = (*pos)->schoolId();
    v.erase(pos);
    Q_EMIT signalRemoveLesson(schoolId, courseId, lessonId);
}

void CourseEngine::setLessonState(quint64 courseId, quint64 lessonId, int state)
{
    const auto l = getLesson(courseId, lessonId);
    if (!l)
        return;
    l->setState(state);
    switch (state) {
    case SnapshotLesson::Running:
        Q_EMIT signalLessonStart(l->schoolId(), courseId, lessonId);
        break;
    case SnapshotLesson::Ended:
        Q_EMIT signalLessonEnd(l->schoolId(), courseId, lessonId);
        break;
    case SnapshotLesson::Scheduled:
        Q_EMIT signalLessonPrepare(l->schoolId(), courseId, lessonId);
        break;
    default:
        Q_EMIT signalLessonInfoChanged(l->schoolId(), courseId, lessonId);
        break;
    }
}

void CourseEngine::setLessonRoleValid(quint64 courseId, quint64 lessonId, bool valid)
{
    const auto l = getLesson(courseId, lessonId);
    if (!l)
        return;
    l->setRoleValid(valid);
    if (valid)
        Q_EMIT signalLessonInfoChanged(l->schoolId(), courseId, lessonId);
    else
        Q_EMIT signalLessonRoleInvalid(l->schoolId(), courseId, lessonId);
}

void CourseEngine::changeLessons(const LessonChangeList &lessons)
{
    Q_EMIT signalLessonsInfoChanged(lessons);
}

void CourseEngine::completeSnapshot()
{
    Q_EMIT signalSnapshotCompleted();
}

void CourseEngine::clear()
{
    m_courses.clear();
    m_courseOrder.clear();
    m_lessons.clear();
    m_schools.clear();
}

} // namespace OrvEngine
