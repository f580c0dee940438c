#include "worldloader.h"
#include "avatarmanager.h"
#include "chatengine.h"
#include "contactsengine.h"
#include "courseengine.h"
#include "noticeengine.h"
#include "orgchartmanager.h"
#include "orvengine_logging.h"
#include "schoolchartmanager.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPixmap>
#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>

using namespace OrvEngine;

namespace {

// The largest id: JSON numbers are doubles, and above 2^53 - 1 a written number may be read
// as a neighbouring one.
constexpr double kMaxId = 9007199254740991.0;
constexpr qint64 kIntMax = std::numeric_limits<int>::max();
constexpr qint64 kTimeMax = std::numeric_limits<quint32>::max();

bool inRange(double v, double min, double max)
{
    return std::isfinite(v) && v >= min && v <= max && v == std::floor(v);
}

struct BadEntry : std::runtime_error {
    using std::runtime_error::runtime_error;
};

[[noreturn]] void fail(const QString &where, const QString &what)
{
    throw BadEntry((where + QStringLiteral(": ") + what).toStdString());
}

// Typed reads with the entry path for the error message.
class Entry
{
public:
    Entry(const QJsonObject &o, const QString &path) : m_o(o), m_path(path) {}

    QString path() const { return m_path; }
    QString sub(const QString &key) const { return m_path.isEmpty() ? key : m_path + QLatin1Char('.') + key; }

    /// A positive integer up to kMaxId.
    quint64 id(const QString &key) const
    {
        const QJsonValue v = m_o.value(key);
        if (!v.isDouble() || !inRange(v.toDouble(), 1, kMaxId))
            fail(sub(key), QStringLiteral("expected a positive integer up to %1").arg(quint64(kMaxId)));
        return quint64(v.toDouble());
    }
    /// An optional id where 0 means none.
    quint64 optionalId(const QString &key) const
    {
        const QJsonValue v = m_o.value(key);
        if (v.isUndefined())
            return 0;
        if (!v.isDouble() || !inRange(v.toDouble(), 0, kMaxId))
            fail(sub(key), QStringLiteral("expected 0 or a positive integer up to %1").arg(quint64(kMaxId)));
        return quint64(v.toDouble());
    }
    /// An integer from min to max; the range is checked before any conversion.
    qint64 integer(const QString &key, qint64 def, qint64 min, qint64 max) const
    {
        const QJsonValue v = m_o.value(key);
        if (v.isUndefined())
            return def;
        if (!v.isDouble() || !inRange(v.toDouble(), double(min), double(max)))
            fail(sub(key), QStringLiteral("expected an integer from %1 to %2").arg(min).arg(max));
        return qint64(v.toDouble());
    }
    QString string(const QString &key, bool required = false) const
    {
        const QJsonValue v = m_o.value(key);
        if (v.isUndefined() && !required)
            return {};
        if (!v.isString())
            fail(sub(key), QStringLiteral("expected a string"));
        return v.toString();
    }
    bool boolean(const QString &key, bool def) const
    {
        const QJsonValue v = m_o.value(key);
        if (v.isUndefined())
            return def;
        if (!v.isBool())
            fail(sub(key), QStringLiteral("expected true or false"));
        return v.toBool();
    }
    template<typename E>
    E choice(const QString &key, std::initializer_list<std::pair<const char *, E>> values, E def) const
    {
        const QJsonValue v = m_o.value(key);
        if (v.isUndefined())
            return def;
        for (const auto &[name, value] : values) {
            if (v.toString() == QLatin1String(name))
                return value;
        }
        QStringList names;
        for (const auto &p : values)
            names << QString::fromLatin1(p.first);
        fail(sub(key), QStringLiteral("expected one of ") + names.join(QLatin1Char('|')));
    }
    void forEach(const QString &key, const std::function<void(const Entry &)> &fn) const
    {
        const QJsonValue v = m_o.value(key);
        if (v.isUndefined())
            return;
        if (!v.isArray())
            fail(sub(key), QStringLiteral("expected an array"));
        const QJsonArray a = v.toArray();
        for (int i = 0; i < a.size(); ++i) {
            const QString p = QStringLiteral("%1[%2]").arg(sub(key)).arg(i);
            if (!a.at(i).isObject())
                fail(p, QStringLiteral("expected an object"));
            fn(Entry(a.at(i).toObject(), p));
        }
    }

private:
    QJsonObject m_o;
    QString m_path;
};

ClusterType clusterType(const Entry &e, const QString &key, ClusterType def)
{
    return e.choice<ClusterType>(key, {{"class", Class}, {"group", Group}, {"user", User}, {"assistant", Assistant},
                                       {"unlisted", Unlisted}}, def);
}

// Everything a world holds, parsed and checked before any engine is touched.
struct Staged {
    quint64 self = 0;
    std::vector<UserInfoPtr> users;
    QHash<quint64, QString> avatars;
    std::vector<ClusterInfoPtr> clusters;
    Sessions sessions;
    std::vector<std::pair<SnapshotCoursePtr, std::vector<SnapshotLessonPtr>>> courses;
    std::vector<SchoolInfoPtr> courseSchools;
    ChartStore<SchoolChart::EmployeeInfo> schoolChart;
    ChartStore<Org::EmployeeInfo> orgChart;
    int unreadNotices = 0;
};

// Where each department of one school or company was listed, and the departments that
// enclose the one being read. The chart keys departments by id: an id listed twice would
// merge two departments, and one listed inside itself would make the chart endless.
struct DepartmentIds {
    QHash<quint64, QString> listedAt;
    std::vector<quint64> enclosing;
};

template<typename Employee>
void readDepartments(const Entry &parent, quint64 sid, quint64 parentId, ChartStore<Employee> &store, DepartmentIds &ids)
{
    parent.forEach(QStringLiteral("departments"), [&](const Entry &d) {
        const quint64 did = d.id(QStringLiteral("id"));
        if (std::find(ids.enclosing.begin(), ids.enclosing.end(), did) != ids.enclosing.end())
            fail(d.sub(QStringLiteral("id")), QStringLiteral("department %1 is listed inside itself (at %2)").arg(did).arg(ids.listedAt.value(did)));
        if (ids.listedAt.contains(did))
            fail(d.sub(QStringLiteral("id")), QStringLiteral("department %1 is listed twice (first at %2)").arg(did).arg(ids.listedAt.value(did)));
        ids.listedAt.insert(did, d.path());
        store.addDepartment(std::make_shared<Org::DepartmentInfo>(did, sid, parentId, d.string(QStringLiteral("name"), true),
                                                                  int(d.integer(QStringLiteral("order"), 0, 0, kIntMax))));
        d.forEach(QStringLiteral("employees"), [&](const Entry &e) {
            store.addEmployee(std::make_shared<Employee>(e.id(QStringLiteral("uid")), sid, did, e.string(QStringLiteral("name"), true)));
        });
        ids.enclosing.push_back(did);
        readDepartments(d, sid, did, store, ids);
        ids.enclosing.pop_back();
    });
}

Staged parse(const QJsonObject &root)
{
    Staged s;
    const Entry world(root, QString());
    s.self = world.id(QStringLiteral("self"));
    s.unreadNotices = int(world.integer(QStringLiteral("unreadNotices"), 0, 0, kIntMax));

    world.forEach(QStringLiteral("users"), [&](const Entry &e) {
        auto u = std::make_shared<UserInfo>(e.id(QStringLiteral("uid")));
        u->setNickname(e.string(QStringLiteral("nickname"), true));
        u->setRemark(e.string(QStringLiteral("remark")));
        u->setTelephone(e.string(QStringLiteral("telephone")));
        u->setValid(e.boolean(QStringLiteral("valid"), true));
        const QString avatar = e.string(QStringLiteral("avatar"));
        if (!avatar.isEmpty())
            s.avatars.insert(u->uid(), avatar);
        s.users.push_back(u);
    });

    world.forEach(QStringLiteral("friends"), [&](const Entry &e) {
        auto c = std::make_shared<ClusterInfo>(ClusterID(e.id(QStringLiteral("uid")), User));
        c->setFriendly(e.boolean(QStringLiteral("friendly"), true));
        c->userConfig()->setAlias(e.string(QStringLiteral("alias")));
        c->setStatus(e.choice<ClusterStatus>(QStringLiteral("status"),
                                             {{"normal", ClusterStatus::Normal}, {"removed", ClusterStatus::Removed}},
                                             ClusterStatus::Normal));
        s.clusters.push_back(c);
    });

    world.forEach(QStringLiteral("clusters"), [&](const Entry &e) {
        const ClusterType type = clusterType(e, QStringLiteral("type"), Group);
        auto c = std::make_shared<ClusterInfo>(ClusterID(e.id(QStringLiteral("id")), type));
        c->setName(e.string(QStringLiteral("name"), true));
        c->userConfig()->setAlias(e.string(QStringLiteral("alias")));
        c->setSchoolId(e.optionalId(QStringLiteral("schoolId")));
        c->setOwnerUID(e.optionalId(QStringLiteral("owner")));
        c->setCourseType(int(e.integer(QStringLiteral("courseType"), 0, 0, kIntMax)));
        c->setHasCourseAttr(e.boolean(QStringLiteral("courseAttr"), type == Class));
        c->setEveryoneCanJoin(e.boolean(QStringLiteral("everyoneCanJoin"), false));
        c->setStatus(e.choice<ClusterStatus>(QStringLiteral("status"),
                                             {{"normal", ClusterStatus::Normal}, {"dismissed", ClusterStatus::Dismissed},
                                              {"removed", ClusterStatus::Removed}},
                                             ClusterStatus::Normal));
        ClusterMembers members;
        e.forEach(QStringLiteral("members"), [&](const Entry &m) {
            auto mi = std::make_shared<ClusterMemberInfo>(m.id(QStringLiteral("uid")));
            mi->setNickname(m.string(QStringLiteral("nickname")));
            mi->setTelephone(m.string(QStringLiteral("telephone")));
            mi->setIdentity(m.choice<Identity>(QStringLiteral("identity"),
                                               {{"owner", Identity::Owner}, {"admin", Identity::Admin}, {"member", Identity::Member}},
                                               Identity::Member));
            mi->setLessonIdentity(m.choice<LessonIdentity>(QStringLiteral("lessonIdentity"),
                                                           {{"student", LessonIdentity::Student}, {"parent", LessonIdentity::Parent},
                                                            {"teacher", LessonIdentity::Teacher}, {"assistant", LessonIdentity::Assistant},
                                                            {"unknown", LessonIdentity::Unknown}},
                                                           LessonIdentity::Student));
            mi->setMemberStatus(m.choice<MemberStatus>(QStringLiteral("status"),
                                                       {{"normal", MemberStatus::Normal}, {"left", MemberStatus::Left},
                                                        {"removed", MemberStatus::Removed}, {"banned", MemberStatus::Banned}},
                                                       MemberStatus::Normal));
            members.push_back(mi);
        });
        c->setMembers(std::move(members));
        s.clusters.push_back(c);
    });

    world.forEach(QStringLiteral("sessions"), [&](const Entry &e) {
        const ClusterType type = clusterType(e, QStringLiteral("type"), User);
        s.sessions.push_back(std::make_shared<Session>(ClusterID(e.id(QStringLiteral("id")), type),
                                                       quint32(e.integer(QStringLiteral("msgTime"), 0, 0, kTimeMax))));
    });

    world.forEach(QStringLiteral("courses"), [&](const Entry &e) {
        const quint64 cid = e.id(QStringLiteral("id"));
        const quint64 sid = e.optionalId(QStringLiteral("schoolId"));
        auto course = SnapshotCoursePtr::create(cid, sid, e.string(QStringLiteral("name"), true),
                                                int(e.integer(QStringLiteral("kind"), SnapshotCourse::Regular, 0, kIntMax)));
        course->setEveryoneCanJoin(e.boolean(QStringLiteral("everyoneCanJoin"), false));
        std::vector<SnapshotLessonPtr> lessons;
        e.forEach(QStringLiteral("lessons"), [&](const Entry &l) {
            auto lesson = SnapshotLessonPtr::create(l.id(QStringLiteral("id")), cid, sid, l.string(QStringLiteral("name")));
            lesson->setState(int(l.integer(QStringLiteral("state"), SnapshotLesson::Scheduled, 0, kIntMax)));
            lesson->setFirst(l.boolean(QStringLiteral("first"), false));
            lesson->setRoleValid(l.boolean(QStringLiteral("roleValid"), true));
            lesson->setMinutes(int(l.integer(QStringLiteral("minutes"), 45, 0, kIntMax)));
            lessons.push_back(lesson);
        });
        s.courses.emplace_back(course, lessons);
    });

    world.forEach(QStringLiteral("schools"), [&](const Entry &e) {
        const quint64 sid = e.id(QStringLiteral("id"));
        const QString name = e.string(QStringLiteral("name"), true);
        s.courseSchools.push_back(std::make_shared<SchoolInfo>(sid, name, int(e.integer(QStringLiteral("serviceType"), 1, 0, kIntMax))));
        if (e.boolean(QStringLiteral("member"), true)) {
            s.schoolChart.addSchool(std::make_shared<Org::SchoolInfo>(sid, name));
            DepartmentIds ids;
            readDepartments(e, sid, 0, s.schoolChart, ids);
        }
    });

    world.forEach(QStringLiteral("companies"), [&](const Entry &e) {
        const quint64 sid = e.id(QStringLiteral("id"));
        s.orgChart.addSchool(std::make_shared<Org::SchoolInfo>(sid, e.string(QStringLiteral("name"), true)));
        DepartmentIds ids;
        readDepartments(e, sid, 0, s.orgChart, ids);
    });
    return s;
}

template<typename Employee>
void copyChart(const ChartStore<Employee> &from, ChartStore<Employee> &to, const QHash<quint64, QPixmap> &avatars)
{
    std::function<void(quint64, quint64)> copyDept = [&](quint64 sid, quint64 did) {
        for (const auto &d : from.departments(sid, did)) {
            to.addDepartment(d);
            for (const auto &e : from.employees(sid, d->id())) {
                if constexpr (std::is_same_v<Employee, SchoolChart::EmployeeInfo>)
                    e->setAvatar(avatars.value(e->uid()));
                to.addEmployee(e);
            }
            copyDept(sid, d->id());
        }
    };
    for (const auto &school : from.schools()) {
        to.addSchool(school);
        copyDept(school->id(), 0);
    }
}

} // namespace

bool WorldLoader::loadFile(const QString &path)
{
    m_path = path;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        m_error = QStringLiteral("%1: cannot open: %2").arg(path, file.errorString());
        qCWarning(lcOrvEngine).noquote() << "world not loaded:" << m_error;
        return false;
    }
    QJsonParseError pe{};
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &pe);
    if (pe.error != QJsonParseError::NoError || !doc.isObject()) {
        m_error = pe.error != QJsonParseError::NoError
            ? QStringLiteral("%1: not JSON: %2 at offset %3").arg(path, pe.errorString()).arg(pe.offset)
            : QStringLiteral("%1: the document is not a JSON object").arg(path);
        qCWarning(lcOrvEngine).noquote() << "world not loaded:" << m_error;
        return false;
    }
    return load(doc.object(), QFileInfo(path).absolutePath());
}

bool WorldLoader::load(const QJsonObject &world, const QString &baseDir)
{
    const QString where = m_path.isEmpty() ? QStringLiteral("<world>") : m_path;
    m_error.clear();
    Staged s;
    try {
        s = parse(world);
    } catch (const BadEntry &e) {
        m_error = where + QStringLiteral(": ") + QString::fromStdString(e.what());
        qCWarning(lcOrvEngine).noquote() << "world not loaded:" << m_error;
        return false;
    }

    // Pictures need a GUI application; a core-only host runs without avatars.
    QHash<quint64, QPixmap> avatars;
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance())) {
        const QDir dir(baseDir);
        for (auto it = s.avatars.cbegin(); it != s.avatars.cend(); ++it) {
            QPixmap p(dir.absoluteFilePath(it.value()));
            if (p.isNull())
                qCWarning(lcOrvEngine) << "avatar of" << it.key() << "cannot be read:" << dir.absoluteFilePath(it.value());
            else
                avatars.insert(it.key(), p);
        }
    }

    clearEngines();
    auto *contacts = ContactsEngine::instance();
    contacts->setCurrentUid(s.self);
    for (const auto &u : s.users)
        contacts->insertUserQuietly(u);
    for (const auto &c : s.clusters)
        contacts->insertClusterQuietly(c);
    for (const auto &session : s.sessions)
        ChatEngine::instance()->insertSessionQuietly(session);
    for (const auto &school : s.courseSchools)
        CourseEngine::instance()->insertSchoolQuietly(school);
    for (const auto &[course, lessons] : s.courses)
        CourseEngine::instance()->insertCourseQuietly(course, lessons);
    copyChart(s.schoolChart, SchoolChartManager::instance()->store(), avatars);
    copyChart(s.orgChart, OrgChartManager::instance()->store(), avatars);
    for (auto it = avatars.cbegin(); it != avatars.cend(); ++it)
        AvatarManager::instance().setUserAvatar(it.key(), it.value(), false);
    {
        QSignalBlocker block(NoticeEngine::instance());
        NoticeEngine::instance()->setUnreadNoticeCount(s.unreadNotices);
    }
    qCInfo(lcOrvEngine).noquote() << "world loaded from" << where << ":" << s.users.size() << "users,"
                                  << s.clusters.size() << "clusters," << s.sessions.size() << "sessions";
    return true;
}

void WorldLoader::finishSync()
{
    OrgChartManager::instance()->completeSync();
    SchoolChartManager::instance()->completeSync();
    ContactsEngine::instance()->completeSync();
}

void WorldLoader::clearEngines()
{
    ContactsEngine::instance()->clear();
    ChatEngine::instance()->clear();
    CourseEngine::instance()->clear();
    SchoolChartManager::instance()->clear();
    OrgChartManager::instance()->clear();
    AvatarManager::instance().clear();
    QSignalBlocker block(NoticeEngine::instance());
    NoticeEngine::instance()->setUnreadNoticeCount(0);
}
