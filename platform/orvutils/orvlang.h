// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

/**
 * The client's translation layer: user-visible texts are looked up by string ID
 * ("ID_ContactsTreeModel_MyFriends"). An ID with no entry in the loaded table comes
 * back as itself, so a missing translation is visible but never blank.
 */
class OrvLang
{
public:
    static QString text(const QString &id);
    static QString text(const char *id) { return text(QString::fromLatin1(id)); }
    /// The text with %1, %2... filled in. A text without the markers (a missing translation
    /// shows its ID) gets the values after it, so they are never lost.
    static QString format(const char *id, const QStringList &args);

    /// Loads a JSON object of ID → text, merged over what is loaded. False (and a log line) on a bad file.
    static bool loadTable(const QString &path);
    static void insert(const QString &id, const QString &text);
    static void clear();
    static int size();

private:
    static QHash<QString, QString> &table();
};
