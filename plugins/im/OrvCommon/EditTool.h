// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "BaseEditTool.h"

/**
 * The drawing tools of the picture editor: BaseEditTool plus what a save means to the client
 * (the "SaveEditedPicture" event with how it was saved, saveSuccess for the owner).
 */
class EditTool : public BaseEditTool
{
    Q_OBJECT
public:
    EditTool(ImageGraphicsView *view, QWidget *boxParent, bool popupBoxes = true, QObject *parent = nullptr);
    ~EditTool() override;

    /// How the next save is reported ("save_local", "share", "save_to_cloud", "finish").
    void setSaveMethod(const QString &method) { m_saveMethod = method; }
    QString saveMethod() const { return m_saveMethod; }
    /// Properties sent with every event of the editor (entrance page, classroom, ids, role).
    void setTrackProperties(const QVariantMap &properties) { m_trackProperties = properties; }

Q_SIGNALS:
    void saveSuccess(const QString &fileName);

public Q_SLOTS:
    void onSaveImage(QString fileName) override;
    void onShotFinished() override;
    void onShotCanceled() override;

private:
    QString m_saveMethod = QStringLiteral("save_local");
    QVariantMap m_trackProperties;
};
