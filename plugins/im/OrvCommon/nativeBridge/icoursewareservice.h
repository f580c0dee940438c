// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>

/// The courseware manager: board files ("edb").
class ICoursewareService : public QObject
{
    Q_OBJECT
public:
    static constexpr const char *ExtensionName = "ICoursewareService";
    using QObject::QObject;
    virtual void createEdb(quint64 folderId, int fileSource, qint64 orgDiskId, quint64 sid) = 0;
};
