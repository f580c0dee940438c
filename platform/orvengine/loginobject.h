// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>
#include <QString>

namespace OrvEngine {

/**
 * Reference login object: the sign-in of one account, owned by CoreEngine from the moment the
 * login window starts a sign-in. Its check-in with the server may answer with a forced upgrade
 * (recvCheckInForce); it also knows whether an upgrade suggestion is due for this account.
 */
class LoginObject : public QObject
{
    Q_OBJECT
public:
    explicit LoginObject(QObject *parent = nullptr) : QObject(parent) {}

    bool isLogined() const { return m_logined; }
    void setLogined(bool logined) { m_logined = logined; }

    /// The account typed at sign-in: a telephone number, an e-mail address or a user name.
    QString loginAccount() const { return m_account; }
    void setLoginAccount(const QString &account) { m_account = account; }
    /// The account as shown to others until the user picks a name: "138****5678", "a***@mail.com".
    QString maskedLoginAccount() const { return maskAccount(m_account); }
    static QString maskAccount(const QString &account);

    /// The server suggests (but does not force) an upgrade to this account.
    bool isNeedShowUpgradeSuggest() const { return m_needUpgradeSuggest; }
    void setNeedShowUpgradeSuggest(bool need) { m_needUpgradeSuggest = need; }

    /// The check-in answered that this client must be upgraded.
    void receiveCheckInForce(uint respCode, const QString &hintMsg, const QString &version,
                             const QString &downloadLink, const QString &plain);

Q_SIGNALS:
    void recvCheckInForce(uint respCode, const QString &hintMsg, const QString &version, const QString &downloadLink,
                          const QString &plain);

private:
    bool m_logined = false;
    bool m_needUpgradeSuggest = false;
    QString m_account;
};

} // namespace OrvEngine
