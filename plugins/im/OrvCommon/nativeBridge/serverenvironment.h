// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QStringList>
#include <QUrl>

/**
 * The server environment the client runs against, by its code: "13", "14", "15", "im" and "im2"
 * each name their own servers, any other code the default ones. The hosts are configuration:
 * setHost() fills them in (the host reads them from its configuration, tests and the demo point
 * them at the local web service). A host nobody configured is the web service address of
 * OrvHttpManager.
 */
class ServerEnvironment
{
public:
    enum Service {
        DownloadServer, ///< where "download..." paths are fetched from
        WebHost,        ///< the web pages of the environment (login page)
    };

    /// Settings key of the current code.
    static constexpr const char *CodeKey = "ServerEnvironment";

    static QStringList knownCodes();
    static QString code();
    static void setCode(const QString &code);

    /// An empty code sets the default host, used by unknown codes and unconfigured known ones.
    static void setHost(Service service, const QString &code, const QUrl &host);
    static QUrl host(Service service);
    static QUrl host(Service service, const QString &code);
    static void clearHosts();
};
