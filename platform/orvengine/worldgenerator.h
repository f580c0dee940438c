// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QJsonObject>

/// Makes synthetic worlds (mixed Chinese and Latin names) for benchmarks and scale tests.
class WorldGenerator
{
public:
    struct Params {
        quint32 seed = 1;
        int friends = 200;
        int groups = 20;
        int courses = 10;
        int sessions = 50;
        int companies = 1;
        int employeesPerCompany = 50;
        int schools = 1;
        int staffPerSchool = 40;
        int classesPerSchool = 4;
        int membersPerClass = 20;
        int departmentsPerUnit = 5;   ///< top-level departments of each school or company
        /// People who are at once friend, company employee and school staff (the first uids).
        int sharedPeople = 5;
    };

    /// The "large school" world of the contacts benchmark.
    static Params largeSchool();
    static QJsonObject generate(const Params &params);
    /// A deterministic mixed-script personal name for index i.
    static QString personName(quint32 seed, int i);
};
