// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clusterjoininfo.h"

#include <QImage>
#include <QPointer>
#include <QWidget>

class JoinHoverPixmapWidget;
class QLabel;
class QPushButton;
class QRCodeLabel;
class QStackedWidget;

/**
 * The QR-code page of the join panel, with two inner tabs: the bare code, and an invitation card
 * (course, institution, teacher, time, duration, the code and a caption). Either can be saved as
 * a PNG, copied to the clipboard or shown large; the code is also enlarged while hovered.
 */
class ClusterQRCodeWidget : public QWidget
{
    Q_OBJECT
public:
    enum InnerTab { QrCodeTab = 0, InvitationTab = 1 };

    ClusterQRCodeWidget(int mode, bool isPublicCourse, QWidget *parent = nullptr);
    ~ClusterQRCodeWidget() override;

    void setInfo(const ClusterJoinInfo &info);
    ClusterJoinInfo info() const { return m_info; }
    /// Without access the page shows the no-access picture and offers nothing to save or copy.
    void setIsHaveAccess(bool access);
    bool isHaveAccess() const { return m_access; }

    /// The code of the QR link (null until there is one).
    QImage qrCodeImage() const { return m_code; }
    /// The invitation card as saved and copied.
    QImage invitationImage() const;
    int currentInnerTab() const;
    /// "kadioqr_gkk-1_<yyyy-MM-dd_hhmmss>.png" for that local time.
    static QString defaultFileName(const QDateTime &localTime);
    JoinHoverPixmapWidget *bigImageWidget() const;
    JoinHoverPixmapWidget *hoverWidget() const;
    QLabel *toastLabel() const { return m_toast; }
    QRCodeLabel *codeLabel() const { return m_codeLabel; }

public Q_SLOTS:
    void qrCodeTabBtnSlot();
    void invitationTabBtnSlot();
    void saveQrCodeBtnSlot();
    void saveInvitationBtnSlot();
    void copyQrCodeBtnSlot();
    void copyInvitationBtnSlot();
    void onLookBigImage();
    void onCloseImagePreviewWidget();

Q_SIGNALS:
    /// A picture was written to path.
    void saved(const QString &path);

private:
    void updatePictures();
    void updateButtons();
    bool savePicture(const QImage &image, const char *what);
    void copyPicture(const QImage &image, const char *what);
    void track(const QString &action, const char *what) const;
    void showToast(const QString &text);
    QString caption() const;

    int m_mode;
    bool m_isPublic;
    bool m_access = true;
    ClusterJoinInfo m_info;
    QImage m_code;
    QPushButton *m_codeTabBtn;
    QPushButton *m_cardTabBtn;
    QStackedWidget *m_stack;
    QRCodeLabel *m_codeLabel;
    QLabel *m_cardLabel;
    QLabel *m_noAccessLabel;
    QPushButton *m_saveBtn;
    QPushButton *m_copyBtn;
    QPushButton *m_bigBtn;
    QLabel *m_toast;
    QPointer<JoinHoverPixmapWidget> m_big;
    QPointer<JoinHoverPixmapWidget> m_hover;
};
