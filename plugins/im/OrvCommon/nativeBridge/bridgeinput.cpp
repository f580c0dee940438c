// SPDX-License-Identifier: LGPL-2.1-or-later
#include "bridgeinput.h"
#include "cloudpageaddress.h"
#include "nativebridge_logging.h"
#include "orvwebview.h"

#include <QJsonDocument>

#include <cmath>

namespace {

constexpr double kMaxExactDouble = 9007199254740992.0; // 2^53
constexpr int kExcerptLength = 80;

bool parse(const QString &text, QJsonDocument *doc)
{
    if (text.isEmpty() || text.size() > BridgeInput::MaxTextLength)
        return false;
    QJsonParseError error;
    *doc = QJsonDocument::fromJson(text.toUtf8(), &error);
    return error.error == QJsonParseError::NoError;
}

bool isAddressKey(const QString &key)
{
    const QString lower = key.toLower();
    for (const char *end : {"url", "uri", "path", "src", "href", "link"}) {
        if (lower.endsWith(QLatin1String(end)))
            return true;
    }
    return false;
}

// What a file entry may name: a web address, or a page of the client by its path ("url" of exam
// and homework entries).
bool isEntryAddress(const QString &text)
{
    if (!BridgeInput::webAddress(text).isEmpty())
        return true;
    const QUrl url(text);
    return url.isValid() && url.isRelative() && text.startsWith(QLatin1Char('/'))
        && OrvWebView::isTrustedUrl(CloudPageAddress::join(text));
}

bool isWhole(double value)
{
    return std::isfinite(value) && value >= 0 && value <= kMaxExactDouble && std::floor(value) == value;
}

} // namespace

bool BridgeInput::parseObject(const QString &text, QJsonObject *out)
{
    QJsonDocument doc;
    if (!parse(text, &doc) || !doc.isObject())
        return false;
    *out = doc.object();
    return true;
}

bool BridgeInput::parseArray(const QString &text, QJsonArray *out)
{
    QJsonDocument doc;
    if (!parse(text, &doc) || !doc.isArray() || doc.array().size() > MaxEntries)
        return false;
    *out = doc.array();
    return true;
}

bool BridgeInput::isJsonContainer(const QString &text)
{
    QJsonDocument doc;
    return parse(text, &doc) && (doc.isObject() || (doc.isArray() && doc.array().size() <= MaxEntries));
}

bool BridgeInput::toId(const QJsonValue &value, quint64 *out)
{
    if (value.isDouble()) {
        const double d = value.toDouble();
        if (!isWhole(d))
            return false;
        *out = quint64(d);
        return true;
    }
    if (value.isString()) {
        const QString s = value.toString().trimmed();
        if (s.isEmpty() || s.size() > 20)
            return false;
        for (const QChar c : s) {
            if (!c.isDigit() || c.unicode() > '9')
                return false;
        }
        bool ok = false;
        *out = s.toULongLong(&ok);
        return ok;
    }
    return false;
}

quint64 BridgeInput::id(const QJsonObject &object, const QString &key)
{
    quint64 value = 0;
    return toId(object.value(key), &value) ? value : 0;
}

int BridgeInput::integer(const QJsonObject &object, const QString &key, int fallback)
{
    const QJsonValue value = object.value(key);
    if (value.isDouble()) {
        const double d = value.toDouble();
        if (std::isfinite(d) && std::floor(d) == d && d >= -2147483648.0 && d <= 2147483647.0)
            return int(d);
        return fallback;
    }
    if (value.isString()) {
        bool ok = false;
        const int i = value.toString().trimmed().toInt(&ok);
        return ok ? i : fallback;
    }
    return fallback;
}

QString BridgeInput::text(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = object.value(key);
    if (value.isString())
        return value.toString();
    if (value.isDouble()) {
        const double d = value.toDouble();
        return isWhole(d) ? QString::number(quint64(d)) : QString::number(d);
    }
    return QString();
}

bool BridgeInput::boolean(const QJsonObject &object, const QString &key, bool fallback)
{
    const QJsonValue value = object.value(key);
    if (value.isBool())
        return value.toBool();
    if (value.isDouble())
        return value.toDouble() != 0;
    if (value.isString()) {
        const QString s = value.toString();
        if (s == QLatin1String("true") || s == QLatin1String("1"))
            return true;
        if (s == QLatin1String("false") || s == QLatin1String("0"))
            return false;
    }
    return fallback;
}

QString BridgeInput::excerpt(const QString &text)
{
    return text.size() <= kExcerptLength ? text : text.left(kExcerptLength) + QStringLiteral("...");
}

QSize BridgeInput::windowSize(const QString &text)
{
    const QSize fallback(740, 600);
    if (text.isEmpty())
        return fallback;
    const QStringList parts = text.split(QLatin1Char('*'));
    bool okW = false;
    bool okH = false;
    const int w = parts.size() == 2 ? parts.at(0).trimmed().toInt(&okW) : 0;
    const int h = parts.size() == 2 ? parts.at(1).trimmed().toInt(&okH) : 0;
    if (okW && okH && w > 0 && h > 0 && w <= 10000 && h <= 10000)
        return QSize(w, h);
    qCInfo(lcBridge) << "window size" << excerpt(text) << "not understood; using 740*600";
    return fallback;
}

bool BridgeInput::entryAt(const QString &fileInfos, int index, QJsonArray *files, QJsonObject *entry)
{
    if (!parseArray(fileInfos, files)) {
        qCWarning(lcBridge) << "parse json error!";
        return false;
    }
    if (index < 0 || index >= files->size())
        return false;
    *entry = files->at(index).toObject();
    return true;
}

QUrl BridgeInput::webAddress(const QString &text)
{
    if (text.isEmpty() || text.size() > MaxTextLength)
        return {};
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    if (!url.isValid() || (scheme != QLatin1String("http") && scheme != QLatin1String("https")) || url.host().isEmpty())
        return {};
    return url;
}

QStringList BridgeInput::webAddresses(const QStringList &texts, const char *caller)
{
    QStringList out;
    for (const QString &text : texts) {
        if (webAddress(text).isEmpty())
            qCWarning(lcBridge).noquote() << caller << "drops an address that is no web address:" << excerpt(text);
        else
            out << text;
    }
    return out;
}

QJsonArray BridgeInput::webFileEntries(const QJsonArray &files, int *index, const char *caller)
{
    QJsonArray out;
    int moved = -1;
    for (int i = 0; i < files.size(); ++i) {
        const QJsonObject entry = files.at(i).toObject();
        bool keep = true;
        for (auto it = entry.begin(); it != entry.end() && keep; ++it) {
            if (!isAddressKey(it.key()) || !it.value().isString() || it.value().toString().isEmpty())
                continue;
            if (!isEntryAddress(it.value().toString())) {
                qCWarning(lcBridge).noquote() << caller << "drops entry" << i << "for its" << it.key() << excerpt(it.value().toString());
                keep = false;
            }
        }
        if (!keep)
            continue;
        if (i == *index)
            moved = out.size();
        out.append(files.at(i));
    }
    *index = moved;
    return out;
}
