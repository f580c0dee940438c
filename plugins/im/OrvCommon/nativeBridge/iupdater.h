// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>
#include <QString>

/// The client's updater.
class IUpdater : public QObject
{
    Q_OBJECT
public:
    static constexpr const char *ExtensionName = "IUpdater";
    using QObject::QObject;
    virtual QString updateUrl() const = 0;
    virtual bool startUpdater(const QString &updateUrl, const QString &version) = 0;
    /// Ends the client's other processes that the update replaces.
    virtual void endUpdatedProcesses() = 0;
    virtual void exitApplication() = 0;
};
