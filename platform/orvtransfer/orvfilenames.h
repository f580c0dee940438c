// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QSet>
#include <QString>

/**
 * File names that come from pages and servers are never trusted as paths. These helpers turn
 * such a name into a plain name that can only land inside the folder the user chose, and pick
 * a free name there instead of replacing a file.
 */
class OrvFileNames
{
public:
    /// Numbered names stop here; a folder holding that many copies gets no more.
    static constexpr int MaxNumber = 9999;
    /// Longest name in UTF-8 bytes, leaving room for "(9999)" under the usual 255-byte limit.
    static constexpr int MaxNameBytes = 240;

    /**
     * The last component of name (both '/' and '\\' separate), without control characters and
     * characters Windows refuses (replaced by '_'), without leading dots and spaces or trailing
     * dots and spaces, device names ("CON", "lpt1.txt", ...) prefixed with '_', cut to
     * MaxNameBytes with the suffix kept. Empty when nothing usable is left ("", "..", "/").
     */
    static QString plainFileName(const QString &name);

    /// "report.pdf", 1 → "report(1).pdf"; a name without suffix gets the number at its end.
    static QString numberedFileName(const QString &fileName, int number);

    /**
     * Absolute path of the first free name among fileName, fileName(1), ... inside folder: free
     * means nothing exists there (a dangling link counts as existing) and the path is not in
     * taken. fileName must already be plain. Empty when all numbers up to MaxNumber are used.
     */
    static QString uniqueFilePath(const QString &folder, const QString &fileName, const QSet<QString> &taken = {});

    /// True for anything at path, a link whose target is gone included.
    static bool pathExists(const QString &path);

    /// True when path names an entry directly inside folder, both cleaned and made absolute.
    static bool isDirectlyInside(const QString &folder, const QString &path);
};
