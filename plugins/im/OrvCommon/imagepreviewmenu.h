// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QImage>
#include <QMenu>
#include <QObject>
#include <QPixmap>
#include <QPoint>
#include <QPointer>

class QAction;

/**
 * The context menu of every picture window. Its entries depend on the window it serves
 * (PARENT_TYPE):
 *   0, 1, 4  Copy, Save as, Forward, Identify QR code (only when the picture holds one), Edit
 *   2, 6, 7  Copy, Save as, Forward
 *   3        Copy, Save as, Forward, Edit, Delete
 *   5        Copy, Save as, Save to cloud, Edit
 * Copy puts the picture on the clipboard itself; the other entries only emit their signal for the
 * window to act on. An identified QR code is examined for a class serial, a course id, a user key
 * or a person to add, and handed to the client through the signal hub.
 */
class ImagePreviewMenu : public QObject
{
    Q_OBJECT
public:
    enum PARENT_TYPE {
        PARENT_CHAT = 0,          ///< chat picture preview
        PARENT_PREVIEW = 1,       ///< picture preview
        PARENT_CLASS_CHAT = 2,    ///< chat inside a classroom
        PARENT_HOMEWORK = 3,      ///< homework pictures that may be deleted
        PARENT_VIEWER = 4,        ///< picture viewer
        PARENT_CLOUD_DISK = 5,    ///< cloud disk files
        PARENT_SCREENSHOT = 6,    ///< screen capture
        PARENT_NOTICE = 7,        ///< notices and other read-only pictures
    };
    Q_ENUM(PARENT_TYPE)

    /// Under the writable temporary folder.
    static constexpr const char *CopyFileName = "/kadio_tempimg_forcopy.png";

    explicit ImagePreviewMenu(QObject *parent = nullptr);
    ~ImagePreviewMenu() override;

    void ShowMenuByPath(QString path, const QPoint &globalPos, PARENT_TYPE type, quint64 ownerId = 0,
                        quint64 itemId = 0);
    void ShowMenuByPixmap(const QPixmap &pixmap, const QPoint &globalPos, PARENT_TYPE type, quint64 ownerId = 0,
                          quint64 itemId = 0, QString path = QString());

    /// The menu as last built (null before the first show).
    QMenu *menu() const { return m_menu; }
    /// Entry texts of the last menu, in order.
    QStringList entries() const;
    QImage image() const { return m_image; }
    PARENT_TYPE parentType() const { return m_type; }

    /// Whether the picture holds a QR code; its text goes to text.
    static bool isHaveQRCode(const QImage &image, QString *text = nullptr);
    /// What the client does with an identified code's text: the hub request emitted ("" when none).
    static QString handleQRCodeText(const QString &text);

Q_SIGNALS:
    void doCopy();
    void doSave();
    void doShare();
    void doEdit();
    void doDelete();
    void signal_saveToCloud();

private Q_SLOTS:
    void onMenuActionCopy();
    void onMenuActionSave();
    void onMenuActionTransmit();
    void onMenuActionEdit();
    void onMenuActionDelete();
    void onMenuActionIdentifyQRCode();
    void onMenuActionSaveToCloud();
    void onSaveImage(QString fileName);

private:
    void ShowMenu(const QPoint &globalPos);

    QPointer<QMenu> m_menu;
    QImage m_image;
    QString m_path;
    QString m_qrText;
    PARENT_TYPE m_type = PARENT_PREVIEW;
    quint64 m_ownerId = 0;
    quint64 m_itemId = 0;
    QPoint m_pos;
};
