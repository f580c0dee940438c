// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>

namespace Bench {

/// Writes a benchmark's results ({"metrics": {...}, ...}) for scripts/bench.sh; false and a
/// message when the file cannot be written.
inline bool writeJson(const QString &path, const QJsonObject &results)
{
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
        return false;
    }
    f.write(QJsonDocument(results).toJson());
    return true;
}

} // namespace Bench
