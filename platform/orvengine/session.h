// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clusterid.h"

#include <memory>
#include <vector>

namespace OrvEngine {

/// One entry of the recent chats: who, and when the last message came.
class Session
{
public:
    Session(const ClusterID &id, quint32 msgTime) : m_id(id), m_msgTime(msgTime) {}

    ClusterID clusterID() const { return m_id; }
    quint32 msgTime() const { return m_msgTime; }
    void setMsgTime(quint32 t) { m_msgTime = t; }

private:
    ClusterID m_id;
    quint32 m_msgTime;
};
using SessionPtr = std::shared_ptr<Session>;
using Sessions = std::vector<SessionPtr>;

} // namespace OrvEngine

Q_DECLARE_METATYPE(OrvEngine::Sessions)
