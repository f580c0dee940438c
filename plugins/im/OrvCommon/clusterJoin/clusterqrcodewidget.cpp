// SPDX-License-Identifier: LGPL-2.1-or-later
#include "clusterqrcodewidget.h"
#include "bridgedialogs.h"
#include "clustersecretwidget.h"
#include "joinhoverpixmapwidget.h"
#include "orvcommon_logging.h"
#include "orvlang.h"
#include "orvtrack.h"
#include "qrcodeimage.h"
#include "qrcodelabel.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QSaveFile>
#include <QStackedWidget>
#include <QStandardPaths>
#include <QTimer>
#include <QVBoxLayout>

namespace {

constexpr int kCodeSide = 200;  // the code as the page shows it
constexpr int kCardWidth = 375;
constexpr int kCardHeight = 560;

void drawLine(QPainter &p, int &y, const QString &label, const QString &value)
{
    if (value.isEmpty())
        return;
    const QRect r(28, y, kCardWidth - 56, 22);
    p.setPen(QColor(0x808080));
    const QString head = label + QStringLiteral(": ");
    p.drawText(r, Qt::AlignLeft | Qt::AlignVCenter, head);
    const int w = p.fontMetrics().horizontalAdvance(head);
    p.setPen(QColor(0x232323));
    p.drawText(r.adjusted(w, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter,
               p.fontMetrics().elidedText(value, Qt::ElideRight, r.width() - w));
    y += 24;
}

} // namespace

ClusterQRCodeWidget::ClusterQRCodeWidget(int mode, bool isPublicCourse, QWidget *parent)
    : QWidget(parent)
    , m_mode(mode)
    , m_isPublic(isPublicCourse)
    , m_codeTabBtn(new QPushButton(OrvLang::text("ID_QRC_Invite")))
    , m_cardTabBtn(new QPushButton(OrvLang::text("ID_clusterqrcode_Invitation")))
    , m_stack(new QStackedWidget)
    , m_codeLabel(new QRCodeLabel)
    , m_cardLabel(new QLabel)
    , m_noAccessLabel(new QLabel)
    , m_saveBtn(new QPushButton(OrvLang::text("ID_clusterqrcode_Save")))
    , m_copyBtn(new QPushButton(OrvLang::text("ID_clusterqrcode_Copy")))
    , m_bigBtn(new QPushButton(OrvLang::text("ID_clusterqrcode_LookBig")))
    , m_toast(new QLabel)
{
    setObjectName(QStringLiteral("ClusterQRCodeWidget"));
    m_codeTabBtn->setObjectName(QStringLiteral("qrCodeTabBtn"));
    m_cardTabBtn->setObjectName(QStringLiteral("invitationTabBtn"));
    for (QPushButton *b : {m_codeTabBtn, m_cardTabBtn}) {
        b->setCheckable(true);
        b->setAutoExclusive(true);
    }
    m_codeTabBtn->setChecked(true);
    m_saveBtn->setObjectName(QStringLiteral("saveQrCodeBtn"));
    m_copyBtn->setObjectName(QStringLiteral("copyQrCodeBtn"));
    m_bigBtn->setObjectName(QStringLiteral("lookBigBtn"));
    m_cardLabel->setObjectName(QStringLiteral("invitationLabel"));
    m_cardLabel->setAlignment(Qt::AlignCenter);
    m_noAccessLabel->setObjectName(QStringLiteral("noAccessLabel"));
    m_noAccessLabel->setAlignment(Qt::AlignCenter);
    m_noAccessLabel->setPixmap(QPixmap(QStringLiteral(":/common/images/common/noaccess_background.png")));
    m_toast->setObjectName(QStringLiteral("qrToast"));
    m_toast->setAlignment(Qt::AlignCenter);

    m_stack->addWidget(m_codeLabel);
    m_stack->addWidget(m_cardLabel);
    m_stack->addWidget(m_noAccessLabel);

    auto *tabs = new QHBoxLayout;
    tabs->addStretch(1);
    tabs->addWidget(m_codeTabBtn);
    tabs->addWidget(m_cardTabBtn);
    tabs->addStretch(1);
    auto *actions = new QHBoxLayout;
    actions->addStretch(1);
    actions->addWidget(m_saveBtn);
    actions->addWidget(m_copyBtn);
    actions->addWidget(m_bigBtn);
    actions->addStretch(1);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(tabs);
    layout->addWidget(m_stack, 1);
    layout->addWidget(m_toast);
    layout->addLayout(actions);

    connect(m_codeTabBtn, &QPushButton::clicked, this, &ClusterQRCodeWidget::qrCodeTabBtnSlot);
    connect(m_cardTabBtn, &QPushButton::clicked, this, &ClusterQRCodeWidget::invitationTabBtnSlot);
    connect(m_saveBtn, &QPushButton::clicked, this, [this] {
        currentInnerTab() == QrCodeTab ? saveQrCodeBtnSlot() : saveInvitationBtnSlot();
    });
    connect(m_copyBtn, &QPushButton::clicked, this, [this] {
        currentInnerTab() == QrCodeTab ? copyQrCodeBtnSlot() : copyInvitationBtnSlot();
    });
    connect(m_bigBtn, &QPushButton::clicked, this, &ClusterQRCodeWidget::onLookBigImage);
    connect(m_codeLabel, &QRCodeLabel::clicked, this, &ClusterQRCodeWidget::onLookBigImage);
    connect(m_codeLabel, &QRCodeLabel::hoverEntered, this, [this](const QPoint &at) {
        if (m_code.isNull() || !m_access)
            return;
        if (!m_hover)
            m_hover = new JoinHoverPixmapWidget(this);
        m_hover->setPixmap(QPixmap::fromImage(m_code), 360);
        m_hover->showAt(at + QPoint(8, 0));
    });
    connect(m_codeLabel, &QRCodeLabel::hoverLeft, this, [this] {
        if (m_hover)
            m_hover->hide();
    });
    updatePictures();
}

ClusterQRCodeWidget::~ClusterQRCodeWidget()
{
    delete m_big.data();
    delete m_hover.data();
}

JoinHoverPixmapWidget *ClusterQRCodeWidget::bigImageWidget() const
{
    return m_big.data();
}

JoinHoverPixmapWidget *ClusterQRCodeWidget::hoverWidget() const
{
    return m_hover.data();
}

void ClusterQRCodeWidget::setInfo(const ClusterJoinInfo &info)
{
    m_info = info;
    m_code = QRCodeImage::encode(info.qrLink.isEmpty() ? info.link : info.qrLink, 6, 2);
    if (m_code.isNull() && !(info.qrLink.isEmpty() && info.link.isEmpty()))
        qCWarning(lcJoin) << "no QR code for the join link of course" << info.courseId;
    updatePictures();
}

void ClusterQRCodeWidget::setIsHaveAccess(bool access)
{
    m_access = access;
    updatePictures();
}

int ClusterQRCodeWidget::currentInnerTab() const
{
    return m_cardTabBtn->isChecked() ? InvitationTab : QrCodeTab;
}

QString ClusterQRCodeWidget::caption() const
{
    if (m_isPublic)
        return OrvLang::text("ID_clusterqrcode_ScanQRCToJoinPublicClass");
    // Mode 2 is the invitation sent to phones, where a long press opens the code.
    return OrvLang::text(m_mode == 2 ? "ID_clusterqrcode_ScanOrLongPressQRCToJoinClass" : "ID_clusterqrcode_ScanQRCToJoinClass");
}

QImage ClusterQRCodeWidget::invitationImage() const
{
    if (m_code.isNull())
        return {};
    QImage card(kCardWidth, kCardHeight, QImage::Format_ARGB32_Premultiplied);
    card.fill(Qt::white);
    QPainter p(&card);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    const QImage background(QStringLiteral(":/common/images/common/qrcode_background.png"));
    if (!background.isNull())
        p.drawImage(card.rect(), background);

    QFont title = QApplication::font();
    title.setPixelSize(22);
    title.setBold(true);
    p.setFont(title);
    p.setPen(Qt::white);
    const QString name = m_info.courseName.isEmpty() ? m_info.className : m_info.courseName;
    p.drawText(QRect(24, 36, kCardWidth - 48, 60), Qt::AlignLeft | Qt::AlignVCenter | Qt::TextWordWrap,
               QFontMetrics(title).elidedText(name, Qt::ElideRight, 2 * (kCardWidth - 48)));
    QFont small = QApplication::font();
    small.setPixelSize(13);
    p.setFont(small);
    p.drawText(QRect(24, 100, kCardWidth - 48, 24), Qt::AlignLeft | Qt::AlignVCenter,
               QFontMetrics(small).elidedText(m_info.schoolName, Qt::ElideRight, kCardWidth - 48));

    int y = 206;
    QFont body = QApplication::font();
    body.setPixelSize(14);
    p.setFont(body);
    drawLine(p, y, OrvLang::text("ID_clusterqrcode_CourseName"), name);
    drawLine(p, y, OrvLang::text("ID_clusterqrcode_InstitutionName"), m_info.schoolName);
    drawLine(p, y, OrvLang::text("ID_Teacher"), m_info.teacherName);
    drawLine(p, y, OrvLang::text("ID_Time"), ClusterSecretWidget::formatTime(m_info.startTime, QStringLiteral("zh")));
    if (m_info.minutes > 0)
        drawLine(p, y, OrvLang::text("ID_clusterqrcode_Duration"),
                 QString::number(m_info.minutes) + QLatin1Char(' ') + OrvLang::text("ID_clusterqrcode_min"));

    const int side = 180;
    const QRect codeRect((kCardWidth - side) / 2, std::max(y + 10, 330), side, side);
    p.drawImage(codeRect, m_code);
    p.setPen(QColor(0x606770));
    p.drawText(QRect(0, codeRect.bottom() + 6, kCardWidth, 22), Qt::AlignCenter, caption());
    return card;
}

void ClusterQRCodeWidget::updatePictures()
{
    if (!m_access) {
        m_stack->setCurrentWidget(m_noAccessLabel);
    } else {
        if (m_code.isNull()) {
            // No link yet, or one no QR code can hold.
            const bool noLink = m_info.link.isEmpty() && m_info.qrLink.isEmpty();
            m_codeLabel->setText(OrvLang::text(noLink ? "ID_Loading_Ellipsis" : "ID_clusterqrcode_NoCode"));
        } else {
            // Whole-pixel scaling keeps the modules crisp for the camera.
            m_codeLabel->setPixmap(QPixmap::fromImage(m_code.scaled(kCodeSide, kCodeSide, Qt::KeepAspectRatio, Qt::FastTransformation)));
        }
        const QImage card = invitationImage();
        if (!card.isNull())
            m_cardLabel->setPixmap(QPixmap::fromImage(card.scaled(card.size() * 0.7, Qt::KeepAspectRatio, Qt::SmoothTransformation)));
        m_stack->setCurrentWidget(currentInnerTab() == QrCodeTab ? static_cast<QWidget *>(m_codeLabel) : m_cardLabel);
    }
    updateButtons();
}

void ClusterQRCodeWidget::updateButtons()
{
    const bool ready = m_access && !m_code.isNull();
    m_saveBtn->setEnabled(ready);
    m_copyBtn->setEnabled(ready);
    m_bigBtn->setEnabled(ready);
    m_codeTabBtn->setEnabled(m_access);
    m_cardTabBtn->setEnabled(m_access);
}

void ClusterQRCodeWidget::qrCodeTabBtnSlot()
{
    m_codeTabBtn->setChecked(true);
    updatePictures();
}

void ClusterQRCodeWidget::invitationTabBtnSlot()
{
    m_cardTabBtn->setChecked(true);
    updatePictures();
}

QString ClusterQRCodeWidget::defaultFileName(const QDateTime &localTime)
{
    return QStringLiteral("kadioqr_gkk-1_%1.png").arg(localTime.toString(QStringLiteral("yyyy-MM-dd_hhmmss")));
}

void ClusterQRCodeWidget::track(const QString &action, const char *what) const
{
    OrvTrack::instance()->track(m_isPublic ? QStringLiteral("CreatePublicClass") : QStringLiteral("ShareClass"),
                                {{QStringLiteral("action"), action}, {QStringLiteral("target"), QString::fromLatin1(what)},
                                 {QStringLiteral("course_id"), QString::number(m_info.courseId)}});
}

void ClusterQRCodeWidget::showToast(const QString &text)
{
    m_toast->setText(text);
    QTimer::singleShot(3000, m_toast, [label = m_toast, text] {
        if (label->text() == text)
            label->clear();
    });
}

bool ClusterQRCodeWidget::savePicture(const QImage &image, const char *what)
{
    if (!m_access || image.isNull()) {
        qCInfo(lcJoin) << "nothing to save yet";
        return false;
    }
    QString folder = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    if (folder.isEmpty() || !QDir(folder).exists())
        folder = QDir::homePath();
    const QString start = QDir(folder).filePath(defaultFileName(QDateTime::currentDateTime()));
    QString path = BridgeDialogs::getSaveFileName(this, OrvLang::text("ID_SaveFile"), start,
                                                  OrvLang::text("ID_clusterqrcode_PngFiles") + QStringLiteral(" (*.png)"));
    if (path.isEmpty())
        return false;
    if (!path.endsWith(QLatin1String(".png"), Qt::CaseInsensitive))
        path += QStringLiteral(".png");
    // Written aside and moved into place: a failed save leaves an existing file as it was.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || !image.save(&file, "PNG") || !file.commit()) {
        qCWarning(lcJoin) << "cannot save the picture to" << path << file.errorString();
        BridgeDialogs::message(this, BridgeDialogs::messageBoxTitle(false), OrvLang::text("ID_clusterqrcode_SaveFailed"), {});
        return false;
    }
    track(QStringLiteral("saveQrCode"), what);
    showToast(OrvLang::text("ID_UserQRCode_PictureSaved"));
    Q_EMIT saved(path);
    return true;
}

void ClusterQRCodeWidget::copyPicture(const QImage &image, const char *what)
{
    if (!m_access || image.isNull()) {
        qCInfo(lcJoin) << "nothing to copy yet";
        return;
    }
    QApplication::clipboard()->setImage(image);
    track(QStringLiteral("copyQrCode"), what);
    showToast(OrvLang::text("ID_Copied"));
}

void ClusterQRCodeWidget::saveQrCodeBtnSlot()
{
    savePicture(m_code, "qrCode");
}

void ClusterQRCodeWidget::saveInvitationBtnSlot()
{
    savePicture(invitationImage(), "invitation");
}

void ClusterQRCodeWidget::copyQrCodeBtnSlot()
{
    copyPicture(m_code, "qrCode");
}

void ClusterQRCodeWidget::copyInvitationBtnSlot()
{
    copyPicture(invitationImage(), "invitation");
}

void ClusterQRCodeWidget::onLookBigImage()
{
    const QImage image = currentInnerTab() == QrCodeTab ? m_code : invitationImage();
    if (!m_access || image.isNull())
        return;
    if (!m_big) {
        m_big = new JoinHoverPixmapWidget(this);
        connect(m_big, &JoinHoverPixmapWidget::closed, this, &ClusterQRCodeWidget::onCloseImagePreviewWidget);
    }
    m_big->setPixmap(QPixmap::fromImage(image), 640);
    m_big->showCentered(this);
}

void ClusterQRCodeWidget::onCloseImagePreviewWidget()
{
    if (m_big && m_big->isVisible())
        m_big->hide();
}
