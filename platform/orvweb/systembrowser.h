// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QUrl>
#include <functional>

/**
 * Opens addresses in the desktop's own browser. Only http and https addresses with a host are
 * handed on: a page must not be able to start local programs, open local files or have the mail
 * program attach one (mailto:...?attach=) this way.
 */
class SystemBrowser
{
public:
    using Opener = std::function<bool(const QUrl &)>;

    /// False, with a log line, for a refused address or when the desktop could not open it.
    static bool openUrl(const QUrl &url);
    static bool isAllowed(const QUrl &url);

    /// Replaces the desktop's opener (tests, hosts with their own); an empty one restores it.
    static void setOpener(Opener opener);
};
