#include "avatarmanager.h"
#include "contactsengine.h"

#include <QPainter>
#include <QPainterPath>

AvatarManager *AvatarManager::s_instance = nullptr;

AvatarManager &AvatarManager::instance()
{
    if (!s_instance) {
        OrvEngine::registerMetaTypes();
        s_instance = new AvatarManager;
    }
    return *s_instance;
}

void AvatarManager::release()
{
    delete s_instance;
    s_instance = nullptr;
}

QPixmap AvatarManager::getClusterAvatar(const OrvEngine::ClusterID &id, bool round) const
{
    QPixmap p = m_clusters.value(id);
    if (p.isNull() && id.type() == OrvEngine::User)
        p = m_users.value(id.id());
    if (!round || p.isNull())
        return p;
    QPixmap out(p.size());
    out.fill(Qt::transparent);
    QPainter painter(&out);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addEllipse(QRectF(out.rect()));
    painter.setClipPath(path);
    painter.drawPixmap(0, 0, p);
    return out;
}

void AvatarManager::setUserAvatar(quint64 uid, const QPixmap &pixmap, bool notify)
{
    m_users.insert(uid, pixmap);
    if (notify)
        Q_EMIT userAvatarChanged({uid});
}

void AvatarManager::setClusterAvatar(const OrvEngine::ClusterID &id, const QPixmap &pixmap, bool notify)
{
    m_clusters.insert(id, pixmap);
    if (notify)
        Q_EMIT clusterAvatarChanged({id});
}

void AvatarManager::clear()
{
    m_users.clear();
    m_clusters.clear();
}
