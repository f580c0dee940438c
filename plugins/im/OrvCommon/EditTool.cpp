// SPDX-License-Identifier: LGPL-2.1-or-later
#include "EditTool.h"

#include "orvcommon_logging.h"
#include "orvtrack.h"

EditTool::EditTool(ImageGraphicsView *view, QWidget *boxParent, bool popupBoxes, QObject *parent)
    : BaseEditTool(view, boxParent, popupBoxes, parent)
{
}

EditTool::~EditTool() = default;

void EditTool::onSaveImage(QString fileName)
{
    if (fileName.isEmpty())
        return;
    BaseEditTool::onSaveImage(fileName);
    QVariantMap properties = m_trackProperties;
    properties.insert(QStringLiteral("is_success"), m_lastSaveOk);
    properties.insert(QStringLiteral("save_method"), m_saveMethod);
    OrvTrack::instance()->track(QStringLiteral("SaveEditedPicture"), properties);
    if (m_lastSaveOk) {
        qCInfo(lcOrvCommon) << "edited picture saved to" << m_lastSavedPath << "(" << m_saveMethod << ")";
        Q_EMIT saveSuccess(m_lastSavedPath);
    }
}

void EditTool::onShotFinished()
{
    BaseEditTool::onShotFinished();
    qCInfo(lcOrvCommon) << "screenshot pasted onto the picture";
}

void EditTool::onShotCanceled()
{
    BaseEditTool::onShotCanceled();
    qCInfo(lcOrvCommon) << "screenshot for the picture cancelled";
}
