#include "courseinfo.h"

namespace OrvEngine {

QString LessonInfo::lengthText() const
{
    if (m_minutes < 60)
        return QStringLiteral("%1 min").arg(m_minutes);
    if (m_minutes % 60 == 0)
        return QStringLiteral("%1 h").arg(m_minutes / 60);
    return QStringLiteral("%1 h %2 min").arg(m_minutes / 60).arg(m_minutes % 60);
}

QMap<quint64, QPair<quint64, QVector<quint64>>> CourseUtilities::convertLessonsInfo(const LessonChangeList &lessons)
{
    QMap<quint64, QPair<quint64, QVector<quint64>>> out;
    for (const auto &[schoolId, courseId, lessonId] : lessons) {
        auto it = out.find(courseId);
        if (it == out.end())
            it = out.insert(courseId, qMakePair(schoolId, QVector<quint64>()));
        if (!it->second.contains(lessonId))
            it->second.append(lessonId);
    }
    return out;
}

} // namespace OrvEngine
