#include "orvsettings.h"

#include <QSettings>
#include <QStandardPaths>

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
    m_settings = std::make_unique<QSettings>(dir + QStringLiteral("/orvcommon.ini"), QSettings::IniFormat);
}

OrvSettings::~OrvSettings() = default;

void OrvSettings::setFileName(const QString &path)
{
    m_settings->sync();
    m_settings = std::make_unique<QSettings>(path, QSettings::IniFormat);
}

QString OrvSettings::fileName() const
{
    return m_settings->fileName();
}

QVariant OrvSettings::value(const QString &key, const QVariant &defaultValue) const
{
    return m_settings->value(key, defaultValue);
}

void OrvSettings::setValue(const QString &key, const QVariant &value)
{
    m_settings->setValue(key, value);
    Q_EMIT valueChanged(key);
}

void OrvSettings::remove(const QString &key)
{
    m_settings->remove(key);
    Q_EMIT valueChanged(key);
}

bool OrvSettings::contains(const QString &key) const
{
    return m_settings->contains(key);
}

void OrvSettings::sync()
{
    m_settings->sync();
}
