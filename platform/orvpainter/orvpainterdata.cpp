// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvpainterdata.h"
#include "orvpainter_logging.h"
#include "orvpainteritems.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGraphicsItem>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace OrvPainterBase {

namespace {

const QString Format = QStringLiteral("orv-annotations");
constexpr int Version = 1;
constexpr int MaxItems = 100000;
// Written a moment after the last change, so a stroke-by-stroke session writes once.
constexpr int WriteDelayMs = 400;

QHash<QString, LayerData *> &store()
{
    static QHash<QString, LayerData *> layers;
    return layers;
}

QString &storageFolder()
{
    static QString folder;
    return folder;
}

} // namespace

LayerData::LayerData(const QString &key, QObject *parent)
    : QObject(parent)
    , m_key(key)
{
    // Annotations are placed anywhere in picture pixels; no index rebuilds while drawing.
    m_scene.setItemIndexMethod(QGraphicsScene::BspTreeIndex);
    connect(&m_stack, &QUndoStack::indexChanged, this, &LayerData::notifyChanged);
    m_writeTimer.setSingleShot(true);
    m_writeTimer.setInterval(WriteDelayMs);
    connect(&m_writeTimer, &QTimer::timeout, this, &LayerData::flush);
}

LayerData::~LayerData()
{
    if (m_writeTimer.isActive())
        flush();
    // Commands first: they release the items they hold out of the scene.
    m_stack.clear();
}

QList<QGraphicsItem *> LayerData::annotations() const
{
    QList<QGraphicsItem *> list;
    const auto items = m_scene.items(Qt::AscendingOrder);
    for (QGraphicsItem *item : items) {
        if (!item->parentItem())
            list.append(item);
    }
    return list;
}

int LayerData::annotationCount() const
{
    int count = 0;
    const auto items = m_scene.items(Qt::AscendingOrder);
    for (const QGraphicsItem *item : items) {
        if (!item->parentItem())
            ++count;
    }
    return count;
}

qreal LayerData::nextZ() const
{
    qreal z = 0;
    const auto items = m_scene.items();
    for (const QGraphicsItem *item : items)
        z = qMax(z, item->zValue() + 1);
    return z;
}

void LayerData::retain(QGraphicsItem *item)
{
    ++m_refs[item];
}

void LayerData::release(QGraphicsItem *item)
{
    auto it = m_refs.find(item);
    if (it == m_refs.end())
        return;
    if (--it.value() > 0)
        return;
    m_refs.erase(it);
    if (!item->scene())
        delete item;
}

void LayerData::notifyChanged()
{
    scheduleWrite();
    Q_EMIT changed();
}

void LayerData::discardAll()
{
    m_stack.clear();
    // Whatever a layer still held for a gesture under way goes with the rest.
    m_refs.clear();
    const auto items = m_scene.items();
    for (QGraphicsItem *item : items) {
        if (!item->parentItem()) {
            m_scene.removeItem(item);
            delete item;
        }
    }
    notifyChanged();
}

QByteArray LayerData::toData(const QSize &pictureSize) const
{
    QJsonArray items;
    const auto list = annotations();
    for (QGraphicsItem *item : list) {
        switch (item->type()) {
        case PathAnnotation::Type:
            items.append(static_cast<PathAnnotation *>(item)->toJson());
            break;
        case TextAnnotation::Type:
            // An empty box being typed into is not an annotation yet.
            if (!static_cast<TextAnnotation *>(item)->toPlainText().isEmpty())
                items.append(static_cast<TextAnnotation *>(item)->toJson());
            break;
        case PictureAnnotation::Type:
            items.append(static_cast<PictureAnnotation *>(item)->toJson());
            break;
        default:
            qCDebug(lcOrvPainter) << "an item of type" << item->type() << "is not kept with the data";
            break;
        }
    }
    const QSize size = pictureSize.isValid() ? pictureSize : m_pictureSize;
    QJsonObject root{{QStringLiteral("format"), Format},
                     {QStringLiteral("version"), Version},
                     {QStringLiteral("key"), m_key},
                     {QStringLiteral("picture"), QJsonArray{size.width(), size.height()}},
                     {QStringLiteral("items"), items}};
    return QJsonDocument(root).toJson(QJsonDocument::Compact);
}

bool LayerData::fromData(const QByteArray &data, QString *errorOut)
{
    QString error;
    QList<QGraphicsItem *> loaded;
    auto fail = [&](const QString &why) {
        qDeleteAll(loaded);
        qCWarning(lcOrvPainter) << "annotation data of" << m_key << "refused:" << why;
        if (errorOut)
            *errorOut = why;
        return false;
    };
    QJsonParseError parse;
    const QJsonDocument doc = QJsonDocument::fromJson(data, &parse);
    if (parse.error != QJsonParseError::NoError)
        return fail(QStringLiteral("not JSON (%1 at %2)").arg(parse.errorString()).arg(parse.offset));
    const QJsonObject root = doc.object();
    if (root.value(QStringLiteral("format")).toString() != Format)
        return fail(QStringLiteral("not annotation data"));
    if (root.value(QStringLiteral("version")).toInt() != Version)
        return fail(QStringLiteral("version %1 unknown").arg(root.value(QStringLiteral("version")).toVariant().toString()));
    const QJsonArray items = root.value(QStringLiteral("items")).toArray();
    if (items.size() > MaxItems)
        return fail(QStringLiteral("%1 annotations, more than %2").arg(items.size()).arg(MaxItems));
    for (int i = 0; i < items.size(); ++i) {
        const QJsonObject object = items.at(i).toObject();
        const QString type = object.value(QStringLiteral("type")).toString();
        QGraphicsItem *item = nullptr;
        if (type == QLatin1String("path"))
            item = PathAnnotation::fromJson(object, &error);
        else if (type == QLatin1String("text"))
            item = TextAnnotation::fromJson(object, &error);
        else if (type == QLatin1String("picture"))
            item = PictureAnnotation::fromJson(object, &error);
        else
            error = QStringLiteral("unknown kind \"%1\"").arg(type.left(40));
        if (!item)
            return fail(QStringLiteral("items[%1]: %2").arg(i).arg(error));
        loaded.append(item);
    }
    const QJsonArray picture = root.value(QStringLiteral("picture")).toArray();
    if (picture.size() == 2)
        m_pictureSize = QSize(picture.at(0).toInt(), picture.at(1).toInt());
    m_stack.clear();
    const auto old = m_scene.items();
    for (QGraphicsItem *item : old) {
        if (!item->parentItem()) {
            m_scene.removeItem(item);
            delete item;
        }
    }
    for (QGraphicsItem *item : loaded)
        m_scene.addItem(item);
    notifyChanged();
    return true;
}

LayerData *LayerData::forKey(const QString &key)
{
    LayerData *&data = store()[key];
    if (!data) {
        data = new LayerData(key);
        data->readFromStorage();
    }
    return data;
}

LayerData *LayerData::existing(const QString &key)
{
    return store().value(key);
}

void LayerData::discard(const QString &key)
{
    LayerData *data = store().take(key);
    if (!data)
        return;
    data->m_writeTimer.stop();
    const QString path = storagePath(key);
    if (!path.isEmpty() && QFile::exists(path) && !QFile::remove(path))
        qCWarning(lcOrvPainter) << "cannot remove the stored annotations" << path;
    data->deleteLater();
}

void LayerData::setStorageDirectory(const QString &folder)
{
    storageFolder() = folder;
    if (!folder.isEmpty() && !QDir().mkpath(folder))
        qCWarning(lcOrvPainter) << "cannot create the annotation folder" << folder;
}

QString LayerData::storageDirectory()
{
    return storageFolder();
}

QString LayerData::storagePath(const QString &key)
{
    if (storageFolder().isEmpty() || key.isEmpty())
        return QString();
    // The key may be a path or anything else: a hash makes a safe file name of it.
    const QByteArray hash = QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha1).toHex();
    return QDir(storageFolder()).filePath(QString::fromLatin1(hash) + QStringLiteral(".json"));
}

void LayerData::readFromStorage()
{
    const QString path = storagePath(m_key);
    if (path.isEmpty() || !QFile::exists(path))
        return;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcOrvPainter) << "cannot read the stored annotations" << path << file.errorString();
        return;
    }
    const QByteArray bytes = file.readAll();
    file.close();
    QString error;
    if (fromData(bytes, &error)) {
        const QJsonObject root = QJsonDocument::fromJson(bytes).object();
        if (root.value(QStringLiteral("key")).toString() != m_key)
            qCWarning(lcOrvPainter) << "stored annotations" << path << "were written for another key";
        qCInfo(lcOrvPainter) << "annotations of" << m_key << "read from" << path << ":" << annotationCount();
        return;
    }
    // Kept aside rather than overwritten by the next change: whatever it held is not lost.
    const QString aside = path + QStringLiteral(".damaged-")
        + QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddhhmmsszzz"));
    if (QFile::rename(path, aside))
        qCWarning(lcOrvPainter) << "damaged annotation file kept as" << aside;
    else
        qCWarning(lcOrvPainter) << "damaged annotation file" << path << "could not be moved aside";
}

void LayerData::scheduleWrite()
{
    if (!storagePath(m_key).isEmpty())
        m_writeTimer.start();
}

void LayerData::flush()
{
    m_writeTimer.stop();
    const QString path = storagePath(m_key);
    if (path.isEmpty())
        return;
    if (annotationCount() == 0) {
        if (QFile::exists(path) && !QFile::remove(path))
            qCWarning(lcOrvPainter) << "cannot remove the stored annotations" << path;
        return;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(toData(QSize())) < 0 || !file.commit())
        qCWarning(lcOrvPainter) << "cannot store the annotations of" << m_key << "in" << path << file.errorString();
}

} // namespace OrvPainterBase
