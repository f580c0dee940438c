// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QByteArray>
#include <QGraphicsScene>
#include <QHash>
#include <QObject>
#include <QSize>
#include <QTimer>
#include <QUndoStack>

namespace OrvPainterBase {

/**
 * The annotations of one data key and their history: a scene in picture pixels and the undo
 * stack of everything done to it. Layers showing the same key share one of these.
 *
 * Items taken out of the scene by a command stay alive while any command refers to them
 * (retain/release), so dropping part of the history never frees an item another command
 * still needs.
 *
 * With a storage folder set, the annotations of a key are written there (debounced) as JSON and
 * read back when the key is first shown in a later run.
 */
class LayerData : public QObject
{
    Q_OBJECT
public:
    explicit LayerData(const QString &key, QObject *parent = nullptr);
    ~LayerData() override;

    QString key() const { return m_key; }
    QGraphicsScene *scene() { return &m_scene; }
    QUndoStack *undoStack() { return &m_stack; }

    /// The top-level items, bottom first.
    QList<QGraphicsItem *> annotations() const;
    int annotationCount() const;
    /// Above every annotation.
    qreal nextZ() const;

    void retain(QGraphicsItem *item);
    void release(QGraphicsItem *item);

    /// Drops every annotation and the history (not undoable).
    void discardAll();

    QByteArray toData(const QSize &pictureSize) const;
    /// Replaces annotations and history with data; false (and a log line) when data is not a valid
    /// annotation document, leaving everything as it was.
    bool fromData(const QByteArray &data, QString *error = nullptr);

    /// The layer data of key (created empty, or read from the storage folder, on first use).
    static LayerData *forKey(const QString &key);
    static LayerData *existing(const QString &key);
    static void discard(const QString &key);
    static void setStorageDirectory(const QString &folder);
    static QString storageDirectory();
    /// Where key's annotations are written in the storage folder.
    static QString storagePath(const QString &key);
    /// Writes what is pending now (normally on a short timer after each change).
    void flush();

    /// The picture size the layer was last shown at, kept with the data.
    void setPictureSize(const QSize &size) { m_pictureSize = size; }

Q_SIGNALS:
    /// Annotations were added, removed or changed.
    void changed();

public Q_SLOTS:
    void notifyChanged();

private:
    void readFromStorage();
    void scheduleWrite();

    QString m_key;
    QSize m_pictureSize;
    QGraphicsScene m_scene;
    QUndoStack m_stack; ///< after the scene: commands go before the items they refer to
    QHash<QGraphicsItem *, int> m_refs;
    QTimer m_writeTimer;
};

} // namespace OrvPainterBase
