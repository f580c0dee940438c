// SPDX-License-Identifier: LGPL-2.1-or-later
#include "webcallbackscript.h"

#include <QJsonDocument>

namespace {

// A JSON text is a valid script expression: quoting through JSON escapes everything.
QString scriptString(const QString &text)
{
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1, array.size() - 2));
}

bool isIdentifier(const QString &name)
{
    if (name.isEmpty() || name.size() > 64)
        return false;
    for (int i = 0; i < name.size(); ++i) {
        const QChar c = name.at(i);
        const bool letter = (c >= QLatin1Char('a') && c <= QLatin1Char('z')) || (c >= QLatin1Char('A') && c <= QLatin1Char('Z'))
            || c == QLatin1Char('_') || c == QLatin1Char('$');
        if (!letter && !(i > 0 && c >= QLatin1Char('0') && c <= QLatin1Char('9')))
            return false;
    }
    return true;
}

} // namespace

WebCallbackScript WebCallbackScript::line(const QString &cbKey)
{
    return WebCallbackScript(QStringLiteral("window.orvClientAPI.callback('%1')").arg(escape(cbKey)));
}

WebCallbackScript WebCallbackScript::line(const QString &cbKey, const QString &payload)
{
    if (!isPlain(payload))
        return escapedLine(cbKey, payload);
    return WebCallbackScript(QStringLiteral("window.orvClientAPI.callback('%1', '%2')").arg(escape(cbKey), payload));
}

WebCallbackScript WebCallbackScript::escapedLine(const QString &cbKey, const QString &payload)
{
    return WebCallbackScript(QStringLiteral("window.orvClientAPI.callback('%1' , '%2') ").arg(escape(cbKey), escape(payload)));
}

WebCallbackScript WebCallbackScript::commitExamEditImgsLine(const QJsonObject &images)
{
    return WebCallbackScript(
        QStringLiteral("window.orvClientAPI.callback('commitExamEditImgs', '%1')").arg(escape(compact(images))));
}

WebCallbackScript WebCallbackScript::notice(const QString &name, const QJsonObject &data)
{
    return WebCallbackScript(QStringLiteral("window.orvClientAPI && window.orvClientAPI.commonNotice(%1, %2)")
                                 .arg(scriptString(name), compact(data)));
}

WebCallbackScript WebCallbackScript::storageState(const QJsonObject &state)
{
    return WebCallbackScript(
        QStringLiteral("window.orvClientAPI && window.orvClientAPI.updateStorageState(%1)").arg(compact(state)));
}

WebCallbackScript WebCallbackScript::theme(bool dark)
{
    return WebCallbackScript(QStringLiteral("window.orvClientAPI && window.orvClientAPI.__setTheme('%1')")
                                 .arg(dark ? QStringLiteral("dark") : QStringLiteral("light")));
}

WebCallbackScript WebCallbackScript::pageFunction(const QString &name)
{
    if (!isIdentifier(name))
        return {};
    return WebCallbackScript(QStringLiteral("window.orvClientAPI && window.orvClientAPI.__call('%1')").arg(name));
}

bool WebCallbackScript::isPlain(const QString &text)
{
    for (const QChar c : text) {
        if (c == QLatin1Char('\\') || c == QLatin1Char('\'') || c == QLatin1Char('\n') || c == QLatin1Char('\r'))
            return false;
    }
    return true;
}

QString WebCallbackScript::escape(const QString &text)
{
    QString out;
    out.reserve(text.size() + 8);
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '\\':
        case '\'':
            out += QLatin1Char('\\');
            out += c;
            break;
        // A raw line break ends a script string: the whole line would not parse.
        case '\n':
            out += QLatin1String("\\n");
            break;
        case '\r':
            out += QLatin1String("\\r");
            break;
        default:
            out += c;
        }
    }
    return out;
}

QString WebCallbackScript::compact(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QString WebCallbackScript::compact(const QJsonArray &array)
{
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
}

QJsonObject WebCallbackScript::answer(const QString &result, const QString &expandJson)
{
    return {{QStringLiteral("result"), result},
            {QStringLiteral("expand"), QJsonDocument::fromJson(expandJson.toUtf8()).object()}};
}

QJsonObject WebCallbackScript::answerWithJsonResult(const QString &resultJson, const QString &expandJson)
{
    const QJsonDocument doc = QJsonDocument::fromJson(resultJson.toUtf8());
    QJsonValue result = resultJson;
    if (doc.isObject())
        result = doc.object();
    else if (doc.isArray())
        result = doc.array();
    return {{QStringLiteral("result"), result},
            {QStringLiteral("expand"), QJsonDocument::fromJson(expandJson.toUtf8()).object()}};
}
