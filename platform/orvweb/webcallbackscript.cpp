// SPDX-License-Identifier: LGPL-2.1-or-later
#include "webcallbackscript.h"

#include <QJsonDocument>

QString WebCallbackScript::line(const QString &cbKey)
{
    return QStringLiteral("window.orvClientAPI.callback('%1')").arg(escape(cbKey));
}

QString WebCallbackScript::line(const QString &cbKey, const QString &payload)
{
    return QStringLiteral("window.orvClientAPI.callback('%1', '%2')").arg(escape(cbKey), payload);
}

QString WebCallbackScript::escapedLine(const QString &cbKey, const QString &payload)
{
    return QStringLiteral("window.orvClientAPI.callback('%1' , '%2') ").arg(escape(cbKey), escape(payload));
}

QString WebCallbackScript::answerLine(const QString &cbKey, const QString &payload)
{
    for (const QChar c : payload) {
        if (c == QLatin1Char('\\') || c == QLatin1Char('\'') || c == QLatin1Char('\n') || c == QLatin1Char('\r'))
            return escapedLine(cbKey, payload);
    }
    return line(cbKey, payload);
}

QString WebCallbackScript::commitExamEditImgsLine(const QJsonObject &images)
{
    return QStringLiteral("window.orvClientAPI.callback('commitExamEditImgs', '%1')").arg(escape(compact(images)));
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
