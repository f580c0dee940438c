#include "worldgenerator.h"

#include <QJsonArray>
#include <random>

namespace {

const char16_t *const kSurnames[] = {u"王", u"李", u"张", u"刘", u"陈", u"杨", u"赵", u"黄", u"周", u"吴",
                                     u"徐", u"孙", u"胡", u"朱", u"高", u"林", u"何", u"郭", u"马", u"罗"};
const char16_t *const kGiven[] = {u"伟", u"芳", u"娜", u"敏", u"静", u"丽", u"强", u"磊", u"军", u"洋",
                                  u"勇", u"艳", u"杰", u"娟", u"涛", u"明", u"超", u"秀英", u"霞", u"平",
                                  u"小明", u"晓东", u"子涵", u"欣怡", u"浩然"};
const char *const kFirst[] = {"Anna", "Ben", "Chloe", "David", "Emma", "Felix", "Grace", "Henry", "Iris", "Jack",
                              "Karen", "Leo", "Mia", "Noah", "Olivia", "Paul", "Quinn", "Ruby", "Sam", "Tina"};
const char *const kLast[] = {"Smith", "Müller", "García", "Brown", "Wang", "Martin", "Rossi", "Novak", "Kim", "Silva",
                             "Dubois", "Jensen", "Ozturk", "Nakamura", "Kowalski"};
const char16_t *const kSubjects[] = {u"数学", u"语文", u"English", u"物理", u"Chemistry", u"历史", u"Art", u"地理", u"Music", u"生物"};
const char16_t *const kDepts[] = {u"教务处", u"Admissions", u"后勤部", u"Research", u"信息中心", u"Finance", u"年级组", u"HR"};

template<typename T, size_t N>
constexpr size_t count(T (&)[N]) { return N; }

QString str(const char16_t *s) { return QString::fromUtf16(s); }

QJsonObject idObj(const char *key, quint64 id)
{
    QJsonObject o;
    o.insert(QLatin1String(key), double(id));
    return o;
}

} // namespace

QString WorldGenerator::personName(quint32 seed, int i)
{
    std::mt19937 rng(seed * 2654435761u + quint32(i));
    if (rng() % 2) {
        return str(kSurnames[rng() % count(kSurnames)]) + str(kGiven[rng() % count(kGiven)]);
    }
    return QString::fromUtf8(kFirst[rng() % count(kFirst)]) + QLatin1Char(' ') + QString::fromUtf8(kLast[rng() % count(kLast)]);
}

WorldGenerator::Params WorldGenerator::largeSchool()
{
    Params p;
    p.friends = 20000;
    p.groups = 2000;
    p.courses = 1000;
    p.sessions = 5000;
    p.companies = 10;
    p.employeesPerCompany = 2000;
    p.schools = 20;
    p.staffPerSchool = 500;
    p.classesPerSchool = 100;
    p.membersPerClass = 50;
    p.departmentsPerUnit = 8;
    p.sharedPeople = 100;
    return p;
}

QJsonObject WorldGenerator::generate(const Params &p)
{
    std::mt19937 rng(p.seed);
    const quint64 self = 1;
    QJsonArray users, friends, clusters, sessions, courses, schools, companies;
    quint64 nextUid = 2;
    auto addUser = [&](const QString &name) {
        QJsonObject u = idObj("uid", nextUid);
        u.insert(QStringLiteral("nickname"), name);
        users.append(u);
        return nextUid++;
    };
    QJsonObject me = idObj("uid", self);
    me.insert(QStringLiteral("nickname"), QStringLiteral("Me 我"));
    users.append(me);

    std::vector<quint64> friendUids;
    for (int i = 0; i < p.friends; ++i) {
        const quint64 uid = addUser(personName(p.seed, int(nextUid)));
        friendUids.push_back(uid);
        QJsonObject f = idObj("uid", uid);
        if (i % 50 == 0)
            f.insert(QStringLiteral("alias"), QStringLiteral("★ ") + personName(p.seed + 7, i));
        friends.append(f);
    }

    quint64 nextCluster = 1000000;
    for (int i = 0; i < p.groups; ++i) {
        QJsonObject c = idObj("id", nextCluster++);
        c.insert(QStringLiteral("type"), QStringLiteral("group"));
        c.insert(QStringLiteral("name"), str(kSubjects[size_t(i) % count(kSubjects)]) + QStringLiteral(" group %1").arg(i));
        clusters.append(c);
    }
    for (int i = 0; i < p.courses; ++i) {
        QJsonObject c = idObj("id", nextCluster++);
        c.insert(QStringLiteral("name"), str(kSubjects[size_t(i) % count(kSubjects)]) + QStringLiteral(" course %1").arg(i));
        c.insert(QStringLiteral("kind"), 1);
        QJsonArray lessons;
        QJsonObject l = idObj("id", quint64(i) * 10 + 1);
        l.insert(QStringLiteral("name"), QStringLiteral("Lesson 1"));
        l.insert(QStringLiteral("first"), true);
        lessons.append(l);
        c.insert(QStringLiteral("lessons"), lessons);
        courses.append(c);
    }

    // Units (companies and schools) share the department shape: N top-level departments, one
    // sub-department each, staff spread over all of them.
    quint64 nextDept = 1;
    auto makeUnit = [&](quint64 id, const QString &name, int staff, const std::vector<quint64> &sharedUids, bool school) {
        QJsonObject unit = idObj("id", id);
        unit.insert(QStringLiteral("name"), name);
        const int deptCount = std::max(1, p.departmentsPerUnit);
        std::vector<QJsonObject> depts;
        std::vector<QJsonArray> staffLists(size_t(deptCount) * 2);
        for (int s = 0; s < staff; ++s) {
            QJsonObject e;
            quint64 uid;
            if (size_t(s) < sharedUids.size()) {
                uid = sharedUids[size_t(s)];
            } else {
                uid = addUser(personName(p.seed, int(nextUid)));
            }
            e = idObj("uid", uid);
            e.insert(QStringLiteral("name"), personName(p.seed, int(uid)));
            staffLists[size_t(s) % staffLists.size()].append(e);
        }
        // The signed-in user works in every unit.
        QJsonObject selfEntry = idObj("uid", self);
        selfEntry.insert(QStringLiteral("name"), QStringLiteral("Me 我"));
        staffLists[0].append(selfEntry);
        QJsonArray top;
        for (int d = 0; d < deptCount; ++d) {
            QJsonObject dept = idObj("id", nextDept++);
            dept.insert(QStringLiteral("name"), str(kDepts[size_t(d) % count(kDepts)]) + QString::number(d));
            dept.insert(QStringLiteral("order"), d + 1);
            dept.insert(QStringLiteral("employees"), staffLists[size_t(d) * 2]);
            QJsonObject sub = idObj("id", nextDept++);
            sub.insert(QStringLiteral("name"), str(kDepts[size_t(d + 3) % count(kDepts)]) + QStringLiteral(" %1-1").arg(d));
            sub.insert(QStringLiteral("order"), 1);
            sub.insert(QStringLiteral("employees"), staffLists[size_t(d) * 2 + 1]);
            dept.insert(QStringLiteral("departments"), QJsonArray{sub});
            top.append(dept);
        }
        unit.insert(QStringLiteral("departments"), top);
        if (school)
            unit.insert(QStringLiteral("serviceType"), 1);
        return unit;
    };

    const std::vector<quint64> shared(friendUids.begin(),
                                      friendUids.begin() + std::min<size_t>(size_t(p.sharedPeople), friendUids.size()));
    for (int c = 0; c < p.companies; ++c)
        companies.append(makeUnit(500000 + quint64(c), QStringLiteral("Company %1 公司").arg(c), p.employeesPerCompany, shared, false));

    for (int s = 0; s < p.schools; ++s) {
        const quint64 sid = 600000 + quint64(s);
        schools.append(makeUnit(sid, QStringLiteral("第%1中学 School %1").arg(s + 1), p.staffPerSchool, shared, true));
        for (int k = 0; k < p.classesPerSchool; ++k) {
            QJsonObject c = idObj("id", nextCluster++);
            c.insert(QStringLiteral("type"), QStringLiteral("class"));
            c.insert(QStringLiteral("name"), QStringLiteral("%1年级%2班 Class %3").arg(k / 10 + 1).arg(k % 10 + 1).arg(k));
            c.insert(QStringLiteral("schoolId"), double(sid));
            c.insert(QStringLiteral("courseType"), 7);
            QJsonArray members;
            QJsonObject teacher = idObj("uid", self);
            teacher.insert(QStringLiteral("lessonIdentity"), QStringLiteral("teacher"));
            members.append(teacher);
            for (int m = 0; m < p.membersPerClass; ++m) {
                const quint64 uid = addUser(personName(p.seed, int(nextUid)));
                QJsonObject mo = idObj("uid", uid);
                mo.insert(QStringLiteral("nickname"), personName(p.seed + 3, int(uid)));
                members.append(mo);
            }
            c.insert(QStringLiteral("members"), members);
            clusters.append(c);
        }
    }

    // Recent chats: friends and groups, distinct last-message times.
    for (int i = 0; i < p.sessions; ++i) {
        QJsonObject s;
        if (i % 4 == 3 && p.groups > 0) {
            s = idObj("id", 1000000 + quint64(i / 4) % quint64(p.groups));
            s.insert(QStringLiteral("type"), QStringLiteral("group"));
        } else if (!friendUids.empty()) {
            s = idObj("id", friendUids[size_t(i) % friendUids.size()]);
            s.insert(QStringLiteral("type"), QStringLiteral("user"));
        } else {
            continue;
        }
        s.insert(QStringLiteral("msgTime"), double(1700000000u + (rng() % 10000000u)));
        sessions.append(s);
    }

    QJsonObject world;
    world.insert(QStringLiteral("self"), double(self));
    world.insert(QStringLiteral("users"), users);
    world.insert(QStringLiteral("friends"), friends);
    world.insert(QStringLiteral("clusters"), clusters);
    world.insert(QStringLiteral("sessions"), sessions);
    world.insert(QStringLiteral("courses"), courses);
    world.insert(QStringLiteral("schools"), schools);
    world.insert(QStringLiteral("companies"), companies);
    world.insert(QStringLiteral("unreadNotices"), 3);
    return world;
}
