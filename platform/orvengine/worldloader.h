// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QJsonObject>
#include <QString>

/**
 * Fills the reference engines from a world document: one JSON object describing the signed-in
 * user and everything they know (users, friends, clusters with members, sessions, courses and
 * lessons, schools and companies with departments and employees). See README "World files".
 *
 * A document with an entry of the wrong shape is refused whole: error() names the file and the
 * entry ("clusters[3].members[0].uid: expected a positive integer") and the engines keep what
 * they had.
 */
class WorldLoader
{
public:
    /// Loads and applies a world file. Relative avatar paths are read from the file's folder.
    bool loadFile(const QString &path);
    /// Applies an in-memory world; baseDir resolves relative avatar paths.
    bool load(const QJsonObject &world, const QString &baseDir = QString());

    QString error() const { return m_error; }

    /// Emits what the engines emit when the client's first sync has finished: the org chart's,
    /// the school chart's and the contacts engine's sync-complete signals, in that order.
    static void finishSync();
    /// Empties every reference engine.
    static void clearEngines();

private:
    QString m_error;
    QString m_path;
};
