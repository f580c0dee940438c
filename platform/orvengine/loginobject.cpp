// SPDX-License-Identifier: LGPL-2.1-or-later
#include "loginobject.h"

namespace OrvEngine {

QString LoginObject::maskAccount(const QString &account)
{
    const int at = account.indexOf(QLatin1Char('@'));
    if (at > 0)
        return account.left(1) + QStringLiteral("***") + account.mid(at);
    if (account.size() >= 7)
        return account.left(3) + QStringLiteral("****") + account.right(4);
    if (account.size() > 1)
        return account.left(1) + QStringLiteral("***");
    return account;
}

void LoginObject::receiveCheckInForce(uint respCode, const QString &hintMsg, const QString &version,
                                      const QString &downloadLink, const QString &plain)
{
    Q_EMIT recvCheckInForce(respCode, hintMsg, version, downloadLink, plain);
}

} // namespace OrvEngine
