// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvsettings.h"
#include "orvutils_logging.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QStandardPaths>
#include <cmath>
#include <limits>

namespace {

// Integers up to this size are exact in a JSON number (a double); larger ones are kept as text.
constexpr qint64 kExactInteger = qint64(1) << 53;

QVariant fromJson(const QJsonValue &value)
{
    switch (value.type()) {
    case QJsonValue::Bool:
        return value.toBool();
    case QJsonValue::Double: {
        const double d = value.toDouble();
        if (std::trunc(d) == d && std::fabs(d) <= double(kExactInteger)) {
            const qint64 i = qint64(d);
            if (i >= std::numeric_limits<int>::min() && i <= std::numeric_limits<int>::max())
                return int(i);
            return i;
        }
        return d;
    }
    case QJsonValue::String:
        return value.toString();
    case QJsonValue::Array: {
        QVariantList list;
        const QJsonArray array = value.toArray();
        list.reserve(array.size());
        for (const QJsonValue &v : array)
            list.append(fromJson(v));
        return list;
    }
    case QJsonValue::Object: {
        QVariantMap map;
        const QJsonObject object = value.toObject();
        for (auto it = object.begin(); it != object.end(); ++it)
            map.insert(it.key(), fromJson(it.value()));
        return map;
    }
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        break;
    }
    return QVariant();
}

// False for a value JSON cannot hold.
bool toJson(const QVariant &value, QJsonValue *out)
{
    switch (value.userType()) {
    case QMetaType::UnknownType:
        *out = QJsonValue::Null;
        return true;
    case QMetaType::Bool:
        *out = value.toBool();
        return true;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Long:
    case QMetaType::LongLong:
        if (qAbs(value.toLongLong()) <= kExactInteger)
            *out = double(value.toLongLong());
        else
            *out = value.toString();
        return true;
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        if (value.toULongLong() <= quint64(kExactInteger))
            *out = double(value.toULongLong());
        else
            *out = value.toString();
        return true;
    case QMetaType::Float:
    case QMetaType::Double:
        if (!std::isfinite(value.toDouble()))
            return false;
        *out = value.toDouble();
        return true;
    case QMetaType::QString:
    case QMetaType::QChar:
    case QMetaType::QUrl:
    case QMetaType::QByteArray:
        *out = value.toString();
        return true;
    case QMetaType::QStringList:
    case QMetaType::QVariantList: {
        QJsonArray array;
        for (const QVariant &v : value.toList()) {
            QJsonValue item;
            if (!toJson(v, &item))
                return false;
            array.append(item);
        }
        *out = array;
        return true;
    }
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            QJsonValue item;
            if (!toJson(it.value(), &item))
                return false;
            object.insert(it.key(), item);
        }
        *out = object;
        return true;
    }
    default:
        return false;
    }
}

// The values of a settings file, or an empty string as the reason it is damaged.
QString parse(const QByteArray &data, QVariantMap *values)
{
    values->clear();
    if (data.trimmed().isEmpty())
        return QString();
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError)
        return QStringLiteral("not JSON: %1 at byte %2").arg(error.errorString()).arg(error.offset);
    if (!doc.isObject())
        return QStringLiteral("not a JSON object");
    const QJsonObject object = doc.object();
    for (auto it = object.begin(); it != object.end(); ++it)
        values->insert(it.key(), fromJson(it.value()));
    return QString();
}

// Why path cannot be written, in words a log reader can act on.
QString writeProblem(const QString &path, const QString &fallback)
{
    const QFileInfo info(path);
    if (info.isDir())
        return QStringLiteral("it is a folder");
    QFileInfo folder(info.absolutePath());
    while (!folder.exists() && folder.absoluteFilePath() != folder.absolutePath())
        folder.setFile(folder.absolutePath());
    if (!folder.isDir())
        return QStringLiteral("%1 is not a folder").arg(folder.absoluteFilePath());
    if (info.exists() && !info.isWritable())
        return QStringLiteral("the file is read-only");
    return fallback;
}

} // namespace

OrvSettings *OrvSettings::s_instance = nullptr;

OrvSettings *OrvSettings::instance()
{
    if (!s_instance)
        s_instance = new OrvSettings;
    return s_instance;
}

void OrvSettings::release()
{
    delete s_instance;
    s_instance = nullptr;
}

OrvSettings::OrvSettings()
{
    const QString dir = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    m_path = dir + QStringLiteral("/orvcommon.json");
    load();
}

OrvSettings::~OrvSettings() = default;

void OrvSettings::setFileName(const QString &path)
{
    if (!m_unsaved.isEmpty() || !m_unsavedRemovals.isEmpty())
        qCWarning(lcOrvUtils) << "settings changes never written to" << m_path << "are dropped:"
                              << (m_unsaved.keys() + m_unsavedRemovals.values());
    m_path = path;
    m_unsaved.clear();
    m_unsavedRemovals.clear();
    load();
}

OrvSettings::FileState OrvSettings::currentFileState() const
{
    const QFileInfo info(m_path);
    if (!info.exists())
        return {};
    return {true, info.size(), info.lastModified()};
}

void OrvSettings::load()
{
    m_values.clear();
    m_readBlocked = false;
    m_status = NoError;
    m_seen = currentFileState();
    const QFileInfo info(m_path);
    if (!info.exists())
        return;

    QFile file(m_path);
    if (info.isDir() || !file.open(QIODevice::ReadOnly)) {
        qCWarning(lcOrvUtils) << "cannot read the settings file" << m_path << ":"
                              << (info.isDir() ? QStringLiteral("it is a folder") : file.errorString())
                              << "- settings stay in memory and the file is left as it is";
        m_readBlocked = true;
        m_status = AccessError;
        return;
    }
    // Never more than MaxFileSize + 1 bytes, whatever the file says about itself.
    const QByteArray data = file.read(MaxFileSize + 1);
    file.close();
    if (data.size() > MaxFileSize) {
        keepDamagedFileAside(QStringLiteral("larger than %1 bytes").arg(MaxFileSize));
        return;
    }
    const QString problem = parse(data, &m_values);
    if (!problem.isEmpty())
        keepDamagedFileAside(problem);
}

void OrvSettings::keepDamagedFileAside(const QString &reason)
{
    m_values.clear();
    m_status = FormatError;
    QString aside = m_path + QStringLiteral(".damaged");
    for (int n = 2; QFileInfo::exists(aside) && n < 1000; ++n)
        aside = m_path + QStringLiteral(".damaged-%1").arg(n);
    if (!QFile::rename(m_path, aside)) {
        qCWarning(lcOrvUtils) << "the settings file" << m_path << "is damaged (" << reason
                              << ") and cannot be kept aside; it is left as it is and not written over";
        m_readBlocked = true;
        return;
    }
    m_damagedCopy = aside;
    m_seen = currentFileState();
    qCWarning(lcOrvUtils) << "the settings file" << m_path << "is damaged (" << reason << "); kept as" << aside
                          << "and started afresh";
}

void OrvSettings::reloadIfChanged()
{
    if (currentFileState() == m_seen)
        return;
    const QVariantMap previous = m_values;
    load();
    // Damaged since we last read it: what we read then is the last good state.
    if (m_status == FormatError)
        m_values = previous;
    for (auto it = m_unsaved.cbegin(); it != m_unsaved.cend(); ++it)
        m_values.insert(it.key(), it.value());
    for (const QString &key : qAsConst(m_unsavedRemovals))
        m_values.remove(key);
}

bool OrvSettings::save()
{
    if (m_readBlocked) {
        qCWarning(lcOrvUtils) << "settings not written: the file" << m_path
                              << "could not be read and is not written over";
        m_status = AccessError;
        return false;
    }
    QJsonObject object;
    for (auto it = m_values.cbegin(); it != m_values.cend(); ++it) {
        QJsonValue value;
        if (toJson(it.value(), &value))
            object.insert(it.key(), value);
    }
    const QByteArray data = QJsonDocument(object).toJson(QJsonDocument::Indented);

    const QString folder = QFileInfo(m_path).absolutePath();
    QSaveFile file(m_path);
    bool ok = QDir().mkpath(folder) && file.open(QIODevice::WriteOnly);
    ok = ok && file.write(data) == data.size();
    ok = ok && file.commit();
    if (!ok) {
        qCWarning(lcOrvUtils) << "cannot write the settings file" << m_path << ":"
                              << writeProblem(m_path, file.errorString())
                              << "- the change is kept in memory only";
        file.cancelWriting();
        m_status = AccessError;
        return false;
    }
    m_unsaved.clear();
    m_unsavedRemovals.clear();
    m_seen = currentFileState();
    m_status = NoError;
    return true;
}

QVariant OrvSettings::value(const QString &key, const QVariant &defaultValue) const
{
    return m_values.value(key, defaultValue);
}

void OrvSettings::setValue(const QString &key, const QVariant &value)
{
    QJsonValue json;
    if (!toJson(value, &json)) {
        qCWarning(lcOrvUtils) << "setting" << key << "not stored: a value of type" << value.typeName()
                              << "cannot be kept in the settings file";
        return;
    }
    reloadIfChanged();
    m_values.insert(key, value);
    m_unsaved.insert(key, value);
    m_unsavedRemovals.remove(key);
    save();
    Q_EMIT valueChanged(key);
}

void OrvSettings::remove(const QString &key)
{
    reloadIfChanged();
    m_values.remove(key);
    m_unsaved.remove(key);
    m_unsavedRemovals.insert(key);
    save();
    Q_EMIT valueChanged(key);
}

void OrvSettings::sync()
{
    reloadIfChanged();
    if (!m_unsaved.isEmpty() || !m_unsavedRemovals.isEmpty())
        save();
}
