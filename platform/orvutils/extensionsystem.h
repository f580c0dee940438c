// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QHash>
#include <QObject>
#include <QPointer>

/**
 * The host's extension system: plug-ins publish objects under a name and others look them up
 * (the classroom plug-in, the courseware manager, ...). A lookup of a name nobody published
 * answers null; callers treat that as "feature not present".
 */
class ExtensionSystem : public QObject
{
    Q_OBJECT
public:
    static ExtensionSystem *instance();
    static void release();

    void addObject(const QString &name, QObject *object);
    void removeObject(const QString &name);
    QObject *getObject(const QString &name) const;

    template<typename T>
    T *getObject(const QString &name) const { return qobject_cast<T *>(getObject(name)); }

Q_SIGNALS:
    void objectAdded(const QString &name, QObject *object);
    void objectRemoved(const QString &name);

private:
    ExtensionSystem() = default;
    QHash<QString, QPointer<QObject>> m_objects;
    static ExtensionSystem *s_instance;
};
