#include "extensionsystem.h"
#include "orvutils_logging.h"

ExtensionSystem *ExtensionSystem::s_instance = nullptr;

ExtensionSystem *ExtensionSystem::instance()
{
    if (!s_instance)
        s_instance = new ExtensionSystem;
    return s_instance;
}

void ExtensionSystem::release()
{
    delete s_instance;
    s_instance = nullptr;
}

void ExtensionSystem::addObject(const QString &name, QObject *object)
{
    if (!object) {
        qCWarning(lcOrvUtils) << "extension" << name << "published as null, ignored";
        return;
    }
    m_objects.insert(name, object);
    Q_EMIT objectAdded(name, object);
}

void ExtensionSystem::removeObject(const QString &name)
{
    if (m_objects.remove(name))
        Q_EMIT objectRemoved(name);
}

QObject *ExtensionSystem::getObject(const QString &name) const
{
    return m_objects.value(name).data();
}
