// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QString>
#include <memory>

namespace OrvEngine {

class UserInfo
{
public:
    explicit UserInfo(quint64 uid = 0) : m_uid(uid) {}

    quint64 uid() const { return m_uid; }
    /// The remark the signed-in user gave this person, else the nickname.
    QString displayName() const { return m_remark.isEmpty() ? m_nickname : m_remark; }
    QString nickname() const { return m_nickname; }
    QString remark() const { return m_remark; }
    QString telephone() const { return m_telephone; }
    /// False once the account is closed: it can no longer be chatted with.
    bool isValid() const { return m_valid; }

    void setNickname(const QString &v) { m_nickname = v; }
    void setRemark(const QString &v) { m_remark = v; }
    void setTelephone(const QString &v) { m_telephone = v; }
    void setValid(bool v) { m_valid = v; }

private:
    quint64 m_uid;
    QString m_nickname;
    QString m_remark;
    QString m_telephone;
    bool m_valid = true;
};
using UserInfoPtr = std::shared_ptr<UserInfo>;

} // namespace OrvEngine
