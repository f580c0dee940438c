// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QJsonObject>
#include <QObject>

/// Online documents ("edoc").
class IDocumentService : public QObject
{
    Q_OBJECT
public:
    static constexpr const char *ExtensionName = "IDocumentService";
    using QObject::QObject;
    virtual void shareDocument(const QJsonObject &fileInfo) = 0;
};
