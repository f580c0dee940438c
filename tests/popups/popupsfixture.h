// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "PopupsSrategyManager.h"
#include "coreengine.h"
#include "courseengine.h"
#include "imsignalobject.h"
#include "noticeengine.h"
#include "orvsettings.h"
#include "popupactivitymanager.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTemporaryDir>

// Fresh engines, hub and settings for every test: the items connect to the engine instances
// alive when they are built.
struct PopupsFixture
{
    QTemporaryDir dir;

    void setUp()
    {
        tearDown();
        OrvSettings::instance()->setFileName(dir.filePath(QStringLiteral("settings.json")));
        OrvSettings::instance()->remove(QStringLiteral("UpgradeNoMoreReminders"));
        OrvSettings::instance()->remove(QStringLiteral("NOT_AUTH_SCHOOL_NOTICE"));
    }

    static void flushDeletes() { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }

    static void tearDown()
    {
        PopupsSrategyManager::getInstance()->release();
        flushDeletes();
        ImSignalObject::release();
        OrvEngine::CoreEngine::release();
        OrvEngine::NoticeEngine::release();
        OrvEngine::CourseEngine::release();
        OrvEngine::PopupActivityManager::release();
    }
};
