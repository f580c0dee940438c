// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>
#include <QVariant>
#include <memory>

class QSettings;

/**
 * The platform settings store (user settings of the signed-in user), on QSettings in INI form.
 * The file lives under the application's config location unless setFileName() points elsewhere
 * (tests and the demo use a temporary file).
 */
class OrvSettings : public QObject
{
    Q_OBJECT
public:
    static OrvSettings *instance();
    static void release();

    void setFileName(const QString &path);
    QString fileName() const;

    QVariant value(const QString &key, const QVariant &defaultValue = {}) const;
    void setValue(const QString &key, const QVariant &value);
    void remove(const QString &key);
    bool contains(const QString &key) const;
    void sync();

Q_SIGNALS:
    void valueChanged(const QString &key);

private:
    OrvSettings();
    ~OrvSettings() override;
    std::unique_ptr<QSettings> m_settings;
    static OrvSettings *s_instance;
};
