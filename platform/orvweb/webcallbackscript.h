// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

/**
 * A line of script that the client runs in one of its pages: an answer to a callback key, a
 * notice, the theme, a call of a page function. Bridges and views run nothing else in a page
 * (OrvWebBridge::runJavaScript and QCefWebPage::runJavaScript take only this type), and only the
 * builders below make one, so every text from elsewhere is escaped on its way in:
 *
 *     window.orvClientAPI.callback('<key>')                     line(key)
 *     window.orvClientAPI.callback('<key>', '<payload>')        line(key, payload), when the payload
 *                                                               holds no quote, backslash or line break
 *     window.orvClientAPI.callback('<key>' , '<escaped>')       line(key, payload) otherwise, and
 *                                                               escapedLine(key, payload) always; the
 *                                                               blank before the comma and the trailing
 *                                                               blank are part of the format
 *
 * escape() doubles every backslash, puts a backslash before every single quote and writes line
 * breaks as \n and \r, so the page gets the exact text back. The key is always escaped that way;
 * ordinary keys are unchanged by it.
 */
class WebCallbackScript
{
public:
    WebCallbackScript() = default;

    static WebCallbackScript line(const QString &cbKey);
    static WebCallbackScript line(const QString &cbKey, const QString &payload);
    static WebCallbackScript escapedLine(const QString &cbKey, const QString &payload);
    /// The fixed answer for edited exam images, escaped.
    static WebCallbackScript commitExamEditImgsLine(const QJsonObject &images);
    /// window.orvClientAPI.commonNotice(name, data): the page's onNotice(name) handlers.
    static WebCallbackScript notice(const QString &name, const QJsonObject &data);
    /// The notice "updateStorageState".
    static WebCallbackScript storageState(const QJsonObject &state);
    /// The view's theme changed: "light" or "dark".
    static WebCallbackScript theme(bool dark);
    /// Calls the page's global function name() without arguments, when the page has one. A name
    /// that is no script identifier gives an empty script.
    static WebCallbackScript pageFunction(const QString &name);

    bool isEmpty() const { return m_text.isEmpty(); }
    /// The line as it is run.
    const QString &toString() const { return m_text; }
    bool operator==(const WebCallbackScript &other) const { return m_text == other.m_text; }
    bool operator!=(const WebCallbackScript &other) const { return m_text != other.m_text; }

    static QString escape(const QString &text);
    /// The text holds nothing escape() would change.
    static bool isPlain(const QString &text);
    static QString compact(const QJsonObject &object);
    static QString compact(const QJsonArray &array);

    /// {"result": result, "expand": the object parsed from expandJson ({} when it is none)}.
    static QJsonObject answer(const QString &result, const QString &expandJson);
    /// The same with resultJson parsed and embedded when it is a JSON object or array; any other
    /// text is embedded as a string.
    static QJsonObject answerWithJsonResult(const QString &resultJson, const QString &expandJson);

private:
    explicit WebCallbackScript(QString text)
        : m_text(std::move(text))
    {
    }

    QString m_text;
};
