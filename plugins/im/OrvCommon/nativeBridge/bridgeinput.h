// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QUrl>

/**
 * Reading what pages send. Pages are trusted to be ours, not to be right: arguments may be
 * malformed, of the wrong type or absurdly large. These helpers read leniently where pages
 * differ (ids as numbers or digit strings) and refuse the rest, so a bridge logs and does nothing.
 */
class BridgeInput
{
public:
    /// Longer argument texts are refused before parsing.
    static constexpr int MaxTextLength = 4 * 1024 * 1024;
    /// Lists with more entries are refused: each entry may cost a request or a file.
    static constexpr int MaxEntries = 1000;

    static bool parseObject(const QString &text, QJsonObject *out);
    static bool parseArray(const QString &text, QJsonArray *out);
    /// A JSON object or array within the limits.
    static bool isJsonContainer(const QString &text);

    /// A non-negative whole number, or a text of digits (ids beyond 2^53 travel as text).
    static bool toId(const QJsonValue &value, quint64 *out);
    /// The id under key, 0 when absent or not an id.
    static quint64 id(const QJsonObject &object, const QString &key);
    /// A whole number or a text of one; fallback otherwise.
    static int integer(const QJsonObject &object, const QString &key, int fallback = 0);
    /// A text, or a number written as text; empty otherwise.
    static QString text(const QJsonObject &object, const QString &key);
    static bool boolean(const QJsonObject &object, const QString &key, bool fallback = false);

    /// The entry at index of a page's JSON array of files. False (logging "parse json error!" for
    /// a text that is no array) when there is no such entry; files gets the whole array.
    static bool entryAt(const QString &fileInfos, int index, QJsonArray *files, QJsonObject *entry);

    /**
     * Addresses pages name for the client's viewers, openers and browser: an absolute http(s)
     * address with a host, else empty. Local paths, file:, smb:, javascript:, data: and the
     * like never pass.
     */
    static QUrl webAddress(const QString &text);
    /// The web addresses among texts, in order; the others are logged and left out.
    static QStringList webAddresses(const QStringList &texts, const char *caller);
    /**
     * The entries of a page's file list whose addresses (members named ...url, ...path, ...src,
     * ...href, ...uri, ...link) are web addresses or pages of the client's web service; the
     * others are logged and left out. *index is moved to the same entry among those that stay,
     * or set to -1 when that entry was left out.
     */
    static QJsonArray webFileEntries(const QJsonArray &files, int *index, const char *caller);

    /// A window size "W*H" as pages send it; 740 by 600 when it is missing or not understood.
    static QSize windowSize(const QString &text);

    /// The start of text, for log lines.
    static QString excerpt(const QString &text);
};
