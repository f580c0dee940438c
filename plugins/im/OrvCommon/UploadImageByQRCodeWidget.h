// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "commonpodsns.h"

#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <QPixmap>
#include <QPointer>
#include <QSize>
#include <QString>
#include <QVector>
#include <QWidget>
#include <utility>
#include <vector>

/// Photos pushed as addresses, with their sizes.
using UploadedImageList = std::vector<std::pair<QString, QSize>>;

class OrvMessageBox;
class QLabel;
class QPushButton;
class QStackedWidget;
class QTimer;
class WaitingSpinnerWidget;

/**
 * Sending photos from a phone: the widget asks the web API for an upload page for a fresh request
 * id, shows the page's short address as a QR code and waits; the phone opens the page and sends
 * photos; the engine pushes them back (OrvEngine::CoreEngine::signalRecvUploadPhotoInfo) and the
 * widget hands them to its owner: one picture (acceptUploadImage) or a list of addresses with
 * sizes (acceptUploadMultipleImages). Pushes for another request id are ignored.
 *
 * The constructor's confirmSinglePhoto: a single photo (tag 1) is first shown in the widget,
 * where it can be turned in quarter turns and confirmed with OK; without it the photo is passed on
 * at once. mode 0 and 1 (exam answers) ask for the exam tags, 4 with multiple, else 5; other
 * modes for tag 3, or tag 1 when the background configuration "QRCodeUploadPhotoByUrl" is false.
 *
 * Looks follow the setting "Theme" (":/im/qss/OrvCommon/UploadImageByQRCodeWidget_light.qss" and
 * "..._dark.qss"). Frameless; closing it without a photo emits rejectUploadImage.
 */
class UploadImageByQRCodeWidget : public QWidget
{
    Q_OBJECT
public:
    enum Mode { ModeExamTeacher = 0, ModeExamStudent = 1, ModeGeneral = 2 };
    enum Page { CodePage = 0, PreviewPage = 1 };

    static constexpr int LoadingTimeoutMs = 10000;
    /// Background configuration: photos come as addresses (tag 3) rather than base64 (tag 1).
    static constexpr const char *PhotoByUrlConfigKey = "QRCodeUploadPhotoByUrl";
    static constexpr int QrCodeSide = 200;

    UploadImageByQRCodeWidget(QWidget *parent = nullptr, bool confirmSinglePhoto = false, int mode = ModeGeneral,
                              int multiple = 0);
    ~UploadImageByQRCodeWidget() override;

    void setEnableWaterMark(bool enable);
    bool isWaterMarkEnabled() const { return m_waterMark; }

    QString requestId() const { return m_requestId; }
    CommonPodsNs::RequestQRCodeTag requestTag() const { return m_tag; }
    QString pageUrl() const { return m_pageUrl; }
    /// What the QR code says (the short address); empty until it is shown.
    QString qrCodeText() const { return m_qrText; }
    QImage qrCodeImage() const { return m_qrImage; }
    QPixmap currentPixmap() const { return m_currentPixmap; }
    int rotateAngle() const { return m_rotateAngle; }
    int currentPage() const;
    bool isLoading() const;
    QTimer *loadingTimer() const { return m_loadingTimer; }
    /// The Retry/Cancel box while it is open.
    OrvMessageBox *errorBox() const;

    /// The pushed images of tag 1: every element that is base64 of a picture, decoded.
    static QVector<QPixmap> parsePixmapArray(const QJsonArray &array);
    /// The pushed images of tags 3, 4 and 5: {"url", "width", "height"} (sizes as text or numbers;
    /// a missing or unreadable one is 0); elements without an http(s) "url" are skipped.
    static UploadedImageList parseUrlArray(const QJsonArray &array);
    /// The QR code of text as drawn: margin 1, black modules on "#FFFFFF", about QrCodeSide wide.
    static QImage genQrCode(const QString &text);

public Q_SLOTS:
    void initLoadingWidget();
    void startLoading(const QString &Text);
    void stopLoading();
    void loadingTimeOutSlot();
    void closeWidget();
    void leftRotateSlot();
    void rightRotateSlot();
    void okBtnSlot();
    void cancelBtnSlot();
    void requestPicQcode();
    void onGetPicQcodeFinished(const QJsonObject &jsonDataObject, int networkError, int errorNo, QString errorString);
    void onGetLurlTransToSurl(QString &surl, int networkError, int errorNo, const QString &errorString);
    void onUploadPhoto(const QString &json);
    void updateDisplayPixmap();
    QPixmap addWaterMark(QPixmap pixmap);
    QPixmap rotatePixmap(QPixmap pixmap, int rotateAngle);

Q_SIGNALS:
    void acceptUploadImage(QPixmap pixmap);
    void rejectUploadImage();
    void acceptUploadMultipleImages(const std::vector<std::pair<QString, QSize>> &images);
    void signalUploadLocalImage();
    void signalUploadCloudImage();

protected:
    void closeEvent(QCloseEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;

private:
    void buildUi();
    void showError(const QString &text);
    QString getDomainUrl() const;
    static QString urlSplicing(const QString &domain, const QString &path);
    void showCode(const QString &text);
    void showPreview(const QPixmap &pixmap);

    bool m_confirmSingle;
    int m_mode;
    int m_multiple;
    QString m_requestId;
    CommonPodsNs::RequestQRCodeTag m_tag = CommonPodsNs::RequestQRCodeTagPhotoUrl;
    QString m_pageUrl;
    QString m_qrText;
    QImage m_qrImage;
    QPixmap m_receivedPixmap;
    QPixmap m_currentPixmap;
    int m_rotateAngle = 0;
    bool m_waterMark = false;
    bool m_accepted = false;
    qint64 m_loadingStart = 0;
    QTimer *m_loadingTimer = nullptr;
    QPointer<WaitingSpinnerWidget> m_spinner;
    QPointer<OrvMessageBox> m_errorBox;
    QStackedWidget *m_stack = nullptr;
    QLabel *m_codeLabel = nullptr;
    QLabel *m_tipLabel = nullptr;
    QLabel *m_previewLabel = nullptr;
    QPushButton *m_localBtn = nullptr;
    QPushButton *m_cloudBtn = nullptr;
    QPoint m_dragOffset;
    quint64 m_requestSerial = 0; // replies of earlier requests are ignored
};

Q_DECLARE_METATYPE(UploadedImageList)
