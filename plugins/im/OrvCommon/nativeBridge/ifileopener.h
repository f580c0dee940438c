// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QJsonArray>
#include <QObject>

// Published by another plug-in in the extension system under ExtensionName; missing means
// the feature is not there.
/// Opens cloud files in the client's viewers.
class IFileOpener : public QObject
{
    Q_OBJECT
public:
    static constexpr const char *ExtensionName = "IFileOpener";
    using QObject::QObject;
    virtual void openFiles(const QJsonArray &fileInfos, int currentIndex) = 0;
};
