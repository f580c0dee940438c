// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>
#include <QUrl>

/**
 * The host's own browser window for links opened inside the client (the classroom route).
 * The host publishes one in ExtensionSystem under ExtensionName.
 */
class InAppWebHandler : public QObject
{
    Q_OBJECT
public:
    static constexpr const char *ExtensionName = "InAppWebHandler";

    using QObject::QObject;
    virtual void openUrl(const QUrl &url) = 0;
};
