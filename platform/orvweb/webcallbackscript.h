// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

/**
 * The lines of script by which a bridge answers its page, and the answer object they carry.
 * Every answer goes through here, so the page sees one format:
 *
 *     window.orvClientAPI.callback('<key>', '<payload>')        line(key, payload)
 *     window.orvClientAPI.callback('<key>')                     line(key)
 *     window.orvClientAPI.callback('<key>' , '<escaped>')       escapedLine(key, payload); the blank
 *                                                               before the comma and the trailing
 *                                                               blank are part of the format
 *
 * The payload of line() is put in as it is: use it for text without quotes or backslashes (a
 * JSON text with escapes inside strings would lose them). escapedLine() doubles every backslash,
 * puts a backslash before every single quote and writes line breaks as \n and \r, so the page
 * gets the exact text back. The key is always escaped that way; ordinary keys are unchanged by it.
 */
class WebCallbackScript
{
public:
    static QString line(const QString &cbKey);
    static QString line(const QString &cbKey, const QString &payload);
    static QString escapedLine(const QString &cbKey, const QString &payload);
    /// line(cbKey, payload) when the payload can stand in it unchanged, escapedLine() when it
    /// holds a quote, a backslash or a line break: for text that comes from elsewhere (a page).
    static QString answerLine(const QString &cbKey, const QString &payload);
    /// The fixed answer for edited exam images, escaped.
    static QString commitExamEditImgsLine(const QJsonObject &images);

    static QString escape(const QString &text);
    static QString compact(const QJsonObject &object);
    static QString compact(const QJsonArray &array);

    /// {"result": result, "expand": the object parsed from expandJson ({} when it is none)}.
    static QJsonObject answer(const QString &result, const QString &expandJson);
    /// The same with resultJson parsed and embedded when it is a JSON object or array; any other
    /// text is embedded as a string.
    static QJsonObject answerWithJsonResult(const QString &resultJson, const QString &expandJson);
};
