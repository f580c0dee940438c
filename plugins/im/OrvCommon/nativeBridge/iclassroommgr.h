// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "extensionsystem.h"
#include "nativebridge_logging.h"

#include <QObject>
#include <QSize>

class QWidget;

/// The running classroom, published by the classroom plug-in under ExtensionName.
class IClassRoomMgr : public QObject
{
    Q_OBJECT
public:
    static constexpr const char *ExtensionName = "IClassRoomMgr";

    using QObject::QObject;

    /// The running classroom, null when there is none (or its plug-in is not loaded).
    static IClassRoomMgr *current()
    {
        auto *mgr = ExtensionSystem::instance()->getObject<IClassRoomMgr>(QString::fromLatin1(ExtensionName));
        if (!mgr)
            qCWarning(lcBridge) << "pClassRoomMgr is null, maybe classroom plugin is not loaded";
        return mgr;
    }

    /// Parent for windows that belong to the classroom.
    virtual QWidget *classroomWindow() const = 0;
    virtual quint64 schoolId() const = 0;
    virtual quint64 courseId() const = 0;
    virtual quint64 lessonId() const = 0;
    /// The user attends as a student (or public student).
    virtual bool isStudent() const = 0;
    /// The lesson is running (rather than being prepared).
    virtual bool isInClass() const = 0;
    virtual bool isFriendsTempClassroom() const = 0;
    /// The cloud disk is shown on an extended screen.
    virtual bool isExtendScreen() const = 0;
    virtual void openSubWidget(const QString &url, const QSize &size) = 0;
};
