// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QString>
#include <QUrl>

/**
 * Addresses of the cloud pages: a path on the client's web service (OrvHttpManager::baseUrl()),
 * passed through the front-end debug hook. The hook is the setting "FrontEndDebugAddress": when
 * it holds an address, pages are loaded from its scheme, host and port instead, so front-end
 * developers can point the client at their own server.
 */
class CloudPageAddress
{
public:
    static constexpr const char *DebugAddressKey = "FrontEndDebugAddress";

    /// path may carry a query and a fragment; a path without a leading '/' is
    /// resolved against the web service address, which is the same when that address is a host root.
    static QUrl join(const QString &path);
    /// The hook's server, when set, is trusted like the web service: its pages get the bridges.
    static QUrl applyDebugHook(const QUrl &url);
    /// Lets pages of url's origin see the bridges (once per origin).
    static void trust(const QUrl &url);
};
