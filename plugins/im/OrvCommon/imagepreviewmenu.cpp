// SPDX-License-Identifier: LGPL-2.1-or-later
#include "imagepreviewmenu.h"

#include "imsignalobject.h"
#include "orvcommon_logging.h"
#include "orvlang.h"
#include "orvutils.h"

#include <QApplication>
#include <QClipboard>
#include <QFileInfo>
#include <QImageWriter>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMenu>
#include <QMimeData>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStandardPaths>
#include <QToolTip>
#include <QUrl>
#include <QUrlQuery>

// Text as UTF-8, the form later ZXing versions keep.
#define ZX_USE_UTF8 1
#include <ZXing/DecodeHints.h>
#include <ZXing/ReadBarcode.h>

namespace {

// Codes in photographs are found at this size; larger pictures are searched shrunk first.
constexpr int QrSearchSide = 1600;

QString readCode(const QImage &image)
{
    const QImage gray = image.convertToFormat(QImage::Format_Grayscale8);
    ZXing::DecodeHints hints;
    hints.setFormats(ZXing::BarcodeFormat::QRCode);
    hints.setTryHarder(true);
    hints.setTryRotate(true);
    const ZXing::ImageView view(gray.constBits(), gray.width(), gray.height(), ZXing::ImageFormat::Lum,
                                int(gray.bytesPerLine()));
    const ZXing::Result result = ZXing::ReadBarcode(view, hints);
    if (!result.isValid())
        return QString();
    return QString::fromStdString(result.text());
}

// Values of a code's text, which may be a link with a query or a JSON object.
QString field(const QString &text, const QStringList &keys)
{
    const QJsonDocument doc = QJsonDocument::fromJson(text.toUtf8());
    if (doc.isObject()) {
        for (const QString &key : keys) {
            const QJsonValue v = doc.object().value(key);
            if (v.isString() && !v.toString().isEmpty())
                return v.toString();
            if (v.isDouble())
                return QString::number(qint64(v.toDouble()));
        }
        return QString();
    }
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty())
        return QString();
    const QUrlQuery query(url);
    for (const QString &key : keys) {
        const QString v = query.queryItemValue(key, QUrl::FullyDecoded);
        if (!v.isEmpty())
            return v;
    }
    return QString();
}

// What a code may hand to the client: short ids of letters and digits, nothing else.
bool plausibleId(const QString &value)
{
    static const QRegularExpression id(QStringLiteral("^[A-Za-z0-9_-]{1,64}$"));
    return id.match(value).hasMatch();
}

} // namespace

ImagePreviewMenu::ImagePreviewMenu(QObject *parent)
    : QObject(parent)
{
}

ImagePreviewMenu::~ImagePreviewMenu()
{
    delete m_menu.data();
}

bool ImagePreviewMenu::isHaveQRCode(const QImage &image, QString *text)
{
    if (image.isNull())
        return false;
    QString found;
    if (qMax(image.width(), image.height()) > QrSearchSide)
        found = readCode(image.scaled(QrSearchSide, QrSearchSide, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    if (found.isEmpty())
        found = readCode(image);
    if (text)
        *text = found;
    return !found.isEmpty();
}

QString ImagePreviewMenu::handleQRCodeText(const QString &text)
{
    ImSignalObject *hub = ImSignalObject::instance();
    const QString sn = field(text, {QStringLiteral("sn"), QStringLiteral("classSn"), QStringLiteral("clusterSn")});
    if (plausibleId(sn)) {
        qCInfo(lcOrvCommon) << "clipboard has class sn:" << sn;
        Q_EMIT hub->menuSearchOpenClass(sn, false);
        return QStringLiteral("menuSearchOpenClass");
    }
    const QString cid = field(text, {QStringLiteral("cid"), QStringLiteral("courseId")});
    if (plausibleId(cid)) {
        qCInfo(lcOrvCommon) << "clipboard has cid:" << cid;
        Q_EMIT hub->menuSearchOpenCourse(cid);
        return QStringLiteral("menuSearchOpenCourse");
    }
    const QString key = field(text, {QStringLiteral("userSecretKey"), QStringLiteral("secretKey")});
    if (plausibleId(key)) {
        qCInfo(lcOrvCommon) << "clipboard has userSecretKey:" << key;
        Q_EMIT hub->menuSearchUserBySecretKey(key);
        return QStringLiteral("menuSearchUserBySecretKey");
    }
    const QString uid = field(text, {QStringLiteral("uid"), QStringLiteral("userId")});
    if (!uid.isEmpty() && uid.toULongLong() > 0) {
        qCInfo(lcOrvCommon) << "clipboard has uid:" << uid;
        Q_EMIT hub->menuAddContacts(uid);
        return QStringLiteral("menuAddContacts");
    }
    qCInfo(lcOrvCommon) << "QR code holds nothing the client knows:" << text.left(200);
    return QString();
}

void ImagePreviewMenu::ShowMenuByPath(QString path, const QPoint &globalPos, PARENT_TYPE type, quint64 ownerId,
                                      quint64 itemId)
{
    qCInfo(lcOrvCommon) << "imgPath:" << path;
    m_path = path;
    m_image = OrvUtils::loadImageFromPath(path);
    m_type = type;
    m_ownerId = ownerId;
    m_itemId = itemId;
    ShowMenu(globalPos);
}

void ImagePreviewMenu::ShowMenuByPixmap(const QPixmap &pixmap, const QPoint &globalPos, PARENT_TYPE type,
                                        quint64 ownerId, quint64 itemId, QString path)
{
    m_path = path;
    m_image = pixmap.toImage();
    m_type = type;
    m_ownerId = ownerId;
    m_itemId = itemId;
    ShowMenu(globalPos);
}

void ImagePreviewMenu::ShowMenu(const QPoint &globalPos)
{
    m_pos = globalPos;
    if (m_image.isNull()) {
        qCWarning(lcOrvCommon) << "no picture for the context menu" << m_path;
        return;
    }
    delete m_menu.data();
    m_menu = new QMenu;
    m_menu->setObjectName(QStringLiteral("imagePreviewMenu"));
    m_menu->setAttribute(Qt::WA_DeleteOnClose, false);
    auto add = [this](const char *id, void (ImagePreviewMenu::*slot)(), const char *name) {
        QAction *action = m_menu->addAction(OrvLang::text(id));
        action->setObjectName(QLatin1String(name));
        connect(action, &QAction::triggered, this, slot);
    };
    add("ID_Copy", &ImagePreviewMenu::onMenuActionCopy, "actionCopy");
    add("ID_SAVE_SaveAs", &ImagePreviewMenu::onMenuActionSave, "actionSave");
    switch (m_type) {
    case PARENT_CHAT:
    case PARENT_PREVIEW:
    case PARENT_VIEWER:
        add("ID_imagepreviewmenu_Transmit", &ImagePreviewMenu::onMenuActionTransmit, "actionTransmit");
        m_qrText.clear();
        if (isHaveQRCode(m_image, &m_qrText))
            add("ID_imagepreviewmenu_IdentifyQRCode", &ImagePreviewMenu::onMenuActionIdentifyQRCode, "actionQRCode");
        add("ID_Edit", &ImagePreviewMenu::onMenuActionEdit, "actionEdit");
        break;
    case PARENT_HOMEWORK:
        add("ID_imagepreviewmenu_Transmit", &ImagePreviewMenu::onMenuActionTransmit, "actionTransmit");
        add("ID_Edit", &ImagePreviewMenu::onMenuActionEdit, "actionEdit");
        add("ID_Delete", &ImagePreviewMenu::onMenuActionDelete, "actionDelete");
        break;
    case PARENT_CLOUD_DISK:
        add("ID_imagepreviewmenu_SaveToCloud", &ImagePreviewMenu::onMenuActionSaveToCloud, "actionSaveToCloud");
        add("ID_Edit", &ImagePreviewMenu::onMenuActionEdit, "actionEdit");
        break;
    case PARENT_CLASS_CHAT:
    case PARENT_SCREENSHOT:
    case PARENT_NOTICE:
    default:
        add("ID_imagepreviewmenu_Transmit", &ImagePreviewMenu::onMenuActionTransmit, "actionTransmit");
        break;
    }
    m_menu->popup(globalPos);
}

QStringList ImagePreviewMenu::entries() const
{
    QStringList texts;
    if (m_menu) {
        const auto actions = m_menu->actions();
        for (const QAction *action : actions)
            texts << action->text();
    }
    return texts;
}

void ImagePreviewMenu::onMenuActionCopy()
{
    QClipboard *clipboard = QGuiApplication::clipboard();
    if (m_type != PARENT_CLASS_CHAT && m_type != PARENT_HOMEWORK && m_type != PARENT_SCREENSHOT) {
        // A file as well as the pixels, so pasting into a file manager or a chat gives the picture file.
        const QString path = QStandardPaths::writableLocation(QStandardPaths::TempLocation) + QLatin1String(CopyFileName);
        QSaveFile file(path);
        QImageWriter writer(&file, "png");
        writer.setQuality(100);
        if (!file.open(QIODevice::WriteOnly) || !writer.write(m_image) || !file.commit()) {
            qCWarning(lcOrvCommon) << "cannot write the copy file" << path << file.errorString();
            clipboard->setImage(m_image);
        } else {
            auto *mime = new QMimeData;
            mime->setImageData(m_image);
            mime->setUrls({QUrl::fromLocalFile(path)});
            OrvUtils::writeRichImageToMimeData(mime, path);
            clipboard->setMimeData(mime);
        }
    } else {
        clipboard->setImage(m_image);
    }
    QToolTip::showText(m_pos, OrvLang::text("ID_Copied"));
    Q_EMIT doCopy();
}

void ImagePreviewMenu::onMenuActionSave()
{
    Q_EMIT doSave();
}

void ImagePreviewMenu::onMenuActionTransmit()
{
    Q_EMIT doShare();
}

void ImagePreviewMenu::onMenuActionEdit()
{
    Q_EMIT doEdit();
}

void ImagePreviewMenu::onMenuActionDelete()
{
    Q_EMIT doDelete();
}

void ImagePreviewMenu::onMenuActionSaveToCloud()
{
    Q_EMIT signal_saveToCloud();
}

void ImagePreviewMenu::onMenuActionIdentifyQRCode()
{
    if (m_qrText.isEmpty() && !isHaveQRCode(m_image, &m_qrText)) {
        qCInfo(lcOrvCommon) << "no QR code in the picture any more";
        return;
    }
    handleQRCodeText(m_qrText);
}

void ImagePreviewMenu::onSaveImage(QString fileName)
{
    if (fileName.isEmpty() || m_image.isNull())
        return;
    QSaveFile file(fileName);
    QImageWriter writer(&file, QByteArray());
    writer.setFormat(QFileInfo(fileName).suffix().isEmpty() ? QByteArray("png")
                                                            : QFileInfo(fileName).suffix().toLower().toLatin1());
    if (!file.open(QIODevice::WriteOnly) || !writer.write(m_image) || !file.commit())
        qCWarning(lcOrvCommon) << "cannot save the picture to" << fileName << writer.errorString() << file.errorString();
}
