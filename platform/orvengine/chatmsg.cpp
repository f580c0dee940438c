#include "chatmsg.h"
#include "orvengine_logging.h"

#include <QJsonDocument>

namespace OrvEngine {

namespace {
QVariant decodeKey(const QString &json, const QString &key, const QVariant &defaultValue)
{
    if (json.isEmpty())
        return defaultValue;
    const QJsonDocument doc = QJsonDocument::fromJson(json.toUtf8());
    if (!doc.isObject()) {
        qCDebug(lcOrvEngine) << "message field is not a JSON object, key" << key;
        return defaultValue;
    }
    const QJsonValue v = doc.object().value(key);
    return v.isUndefined() ? defaultValue : v.toVariant();
}
} // namespace

QVariant ChatMsg::decodeFromContent(const QString &key, const QVariant &defaultValue) const
{
    return decodeKey(m_content, key, defaultValue);
}

QVariant ChatMsg::decodeFromExtra(const QString &key, const QVariant &defaultValue) const
{
    return decodeKey(m_extra, key, defaultValue);
}

void ChatMsg::encodeToExtra(const QString &key, const QVariant &value)
{
    QJsonObject obj = QJsonDocument::fromJson(m_extra.toUtf8()).object();
    obj.insert(key, QJsonValue::fromVariant(value));
    m_extra = QString::fromUtf8(QJsonDocument(obj).toJson(QJsonDocument::Compact));
}

QVariant ChatInClassMessage::decodeFromContent(const QString &key, const QVariant &defaultValue) const
{
    return decodeKey(m_content, key, defaultValue);
}

QVariant ChatInClassMessage::decodeFromExtra(const QString &key, const QVariant &defaultValue) const
{
    return decodeKey(m_extra, key, defaultValue);
}

} // namespace OrvEngine
