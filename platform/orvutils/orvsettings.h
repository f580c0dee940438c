// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QDateTime>
#include <QObject>
#include <QSet>
#include <QVariant>

/**
 * The platform settings store (user settings of the signed-in user): one JSON object of key →
 * value in a file under the application's config location, unless setFileName() points elsewhere
 * (tests and the demo use a temporary file).
 *
 * Values are strings, booleans, numbers and lists or maps of those; 64-bit integers keep every
 * digit. Reading a file costs no more than its size, and a file larger than MaxFileSize, not JSON
 * or not an object is damaged: it is renamed to "<name>.damaged" (or "<name>.damaged-2", ...)
 * before anything is written, and the store starts empty. A file that exists but cannot be read
 * is never written over.
 *
 * Every change is written at once (atomically, through a temporary file beside it). A write that
 * fails is logged with the path and the reason; the value stays in memory and the next change or
 * sync() tries again. Changes made to the file by another process are read before each write.
 */
class OrvSettings : public QObject
{
    Q_OBJECT
public:
    enum Status {
        NoError,
        AccessError, ///< the file could not be read or written
        FormatError, ///< the file was damaged and has been kept aside
    };
    Q_ENUM(Status)

    static constexpr qint64 MaxFileSize = 4 * 1024 * 1024;

    static OrvSettings *instance();
    static void release();

    void setFileName(const QString &path);
    QString fileName() const { return m_path; }

    QVariant value(const QString &key, const QVariant &defaultValue = {}) const;
    /// A value JSON cannot hold (an image, a rectangle...) is refused with a log line.
    void setValue(const QString &key, const QVariant &value);
    void remove(const QString &key);
    bool contains(const QString &key) const { return m_values.contains(key); }
    /// Reads changes made by others and writes what an earlier write could not.
    void sync();

    /// Outcome of the last read or write of the file.
    Status status() const { return m_status; }
    /// Where the last damaged file was kept; empty when none was.
    QString damagedCopy() const { return m_damagedCopy; }

Q_SIGNALS:
    void valueChanged(const QString &key);

private:
    OrvSettings();
    ~OrvSettings() override;

    struct FileState
    {
        bool exists = false;
        qint64 size = -1;
        QDateTime modified;
        bool operator==(const FileState &o) const { return exists == o.exists && size == o.size && modified == o.modified; }
    };
    FileState currentFileState() const;
    void load();
    void reloadIfChanged();
    void keepDamagedFileAside(const QString &reason);
    bool save();

    QString m_path;
    QVariantMap m_values;
    // Changes not yet on disk: kept over a reload until a write succeeds.
    QVariantMap m_unsaved;
    QSet<QString> m_unsavedRemovals;
    FileState m_seen; // the file as last read or written
    bool m_readBlocked = false; // the file exists but could not be read: never written over
    Status m_status = NoError;
    QString m_damagedCopy;
    static OrvSettings *s_instance;
};
