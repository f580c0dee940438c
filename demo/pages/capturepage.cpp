// SPDX-License-Identifier: LGPL-2.1-or-later
// Screen capture as the client starts it: through PrScrnHelper, in this process or in the helper
// program, with the picture received or the share / save-to-cloud request shown.
#include "../demopage.h"

#include "PrScrnHelper.h"
#include "ScreenshotWidget.h"
#include "ShareToChatTool.h"
#include "imsignalobject.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QScreen>
#include <QTime>
#include <QTimer>
#include <QVBoxLayout>

namespace {

class CapturePage : public QWidget
{
    Q_OBJECT
public:
    explicit CapturePage(QWidget *parent)
        : QWidget(parent)
    {
        auto *layout = new QHBoxLayout(this);
        layout->addWidget(buildControls());
        auto *right = new QVBoxLayout;
        m_picture = new QLabel(QStringLiteral("The picture taken shows here."));
        m_picture->setObjectName(QStringLiteral("capturedPicture"));
        m_picture->setAlignment(Qt::AlignCenter);
        m_picture->setMinimumSize(480, 320);
        m_picture->setFrameShape(QFrame::StyledPanel);
        right->addWidget(m_picture, 3);
        m_details = new QLabel;
        right->addWidget(m_details);
        m_events = new QListWidget;
        m_events->setWordWrap(true);
        right->addWidget(m_events, 2);
        layout->addLayout(right, 1);
        followTheHelper();
    }

public Q_SLOTS:
    void onPicture(QPixmap picture)
    {
        restoreWindow();
        if (picture.isNull()) {
            log(QStringLiteral("no picture (cancelled, shared or saved elsewhere)"));
            return;
        }
        m_picture->setPixmap(picture.scaled(m_picture->size() - QSize(8, 8), Qt::KeepAspectRatio, Qt::SmoothTransformation));
        m_details->setText(QStringLiteral("%1 × %2 pixels, also on the clipboard and in %3")
                               .arg(picture.width())
                               .arg(picture.height())
                               .arg(ScreenShot::ScreenshotWidget::tempImagePath()));
        log(QStringLiteral("picture received: %1 × %2").arg(picture.width()).arg(picture.height()));
    }

private:
    QWidget *buildControls()
    {
        auto *box = new QGroupBox(QStringLiteral("Screenshot"));
        box->setFixedWidth(330);
        auto *form = new QFormLayout(box);
        m_where = new QComboBox;
        m_where->addItem(QStringLiteral("Decide by the screen's scale"), int(PrScrnHelper::HelperAuto));
        m_where->addItem(QStringLiteral("In this process"), int(PrScrnHelper::HelperNever));
        m_where->addItem(QStringLiteral("In the helper program (prscrn)"), int(PrScrnHelper::HelperAlways));
        form->addRow(QStringLiteral("Run"), m_where);
        m_snap = new QCheckBox(QStringLiteral("Snap to the window under the pointer"));
        m_snap->setChecked(true);
        form->addRow(m_snap);
        m_hideButton = new QCheckBox(QStringLiteral("Offer \"hide the classroom\""));
        form->addRow(m_hideButton);
        m_limit = new QCheckBox(QStringLiteral("At most 800 × 600"));
        form->addRow(m_limit);
        m_hideWindow = new QCheckBox(QStringLiteral("Hide this window while capturing"));
        m_hideWindow->setChecked(true);
        form->addRow(m_hideWindow);
        auto *take = new QPushButton(QStringLiteral("Take screenshot"));
        take->setObjectName(QStringLiteral("takeScreenshot"));
        connect(take, &QPushButton::clicked, this, &CapturePage::takeScreenshot);
        form->addRow(take);
        auto *hint = new QLabel(QStringLiteral("Drag to select. The tool bar then draws on the selection (pen, text, "
                                               "eraser, a picture file, undo); OK, share and save take it with the drawings."));
        hint->setWordWrap(true);
        form->addRow(hint);
        m_state = new QLabel;
        m_state->setWordWrap(true);
        form->addRow(m_state);
        connect(m_where, QOverload<int>::of(&QComboBox::currentIndexChanged), this, [this] {
            PrScrnHelper::instance().setHelperPolicy(PrScrnHelper::HelperPolicy(m_where->currentData().toInt()));
            updateState();
        });
        updateState();
        return box;
    }

    void followTheHelper()
    {
        PrScrnHelper &helper = PrScrnHelper::instance();
        connect(&helper, &PrScrnHelper::ok, this, [this](const QPixmap &p) {
            log(QStringLiteral("copied: %1 × %2 on the clipboard").arg(p.width()).arg(p.height()));
        });
        connect(&helper, &PrScrnHelper::cancel, this, [this] { log(QStringLiteral("cancelled")); });
        connect(&helper, &PrScrnHelper::shareToChat, this, [this](const QString &path) {
            log(QStringLiteral("share to a chat: %1").arg(path));
            ShareToChatTool::instance()->shareImageFile(path);
        });
        connect(&helper, &PrScrnHelper::saveToCloud, this, [this](const QString &path) {
            log(QStringLiteral("save to the cloud disk: %1 (%2 bytes)").arg(path).arg(QFileInfo(path).size()));
        });
        connect(&helper, &PrScrnHelper::screenshot, this, [this] {
            // The client hides its classroom here and shoots again.
            log(QStringLiteral("hide the classroom and shoot again"));
            ImSignalObject::instance()->hideImOnScreenshot(true);
            QTimer::singleShot(300, this, [this] { startCapture(); });
        });
        connect(ShareToChatTool::instance(), &ShareToChatTool::shareRequested, this,
                [this](const QString &kind, const QJsonValue &payload) {
                    log(QStringLiteral("share tool: %1 %2").arg(kind, payload.toString()));
                });
    }

    void takeScreenshot()
    {
        if (PrScrnHelper::instance().isCapturing())
            return;
        if (m_hideWindow->isChecked()) {
            window()->hide();
            m_hidden = true;
        }
        // Let the windows below paint before the screen is read.
        QTimer::singleShot(m_hidden ? 300 : 0, this, &CapturePage::startCapture);
    }

    void startCapture()
    {
        log(QStringLiteral("start (%1)").arg(PrScrnHelper::instance().isHelperRunning() ? QStringLiteral("helper program")
                                                                                        : QStringLiteral("this process")));
        PrScrnHelper::instance().start(m_limit->isChecked() ? QSize(800, 600) : QSize(), m_snap->isChecked(), false, this,
                                       SLOT(onPicture(QPixmap)), m_hideButton->isChecked());
    }

    void restoreWindow()
    {
        ImSignalObject::instance()->hideImOnScreenshot(false);
        if (m_hidden) {
            m_hidden = false;
            window()->show();
            window()->raise();
        }
        updateState();
    }

    void updateState()
    {
        m_state->setText(QStringLiteral("Screen scaled: %1\nHelper program: %2\n%3")
                             .arg(PrScrnHelper::isScreenScaled() ? QStringLiteral("yes") : QStringLiteral("no"),
                                  PrScrnHelper::instance().isHelperRunning() ? QStringLiteral("running") : QStringLiteral("not running"),
                                  PrScrnHelper::programPath()));
    }

    void log(const QString &text)
    {
        m_events->addItem(QStringLiteral("%1  %2").arg(QTime::currentTime().toString(QStringLiteral("hh:mm:ss")), text));
        m_events->scrollToBottom();
        updateState();
    }

    QComboBox *m_where = nullptr;
    QCheckBox *m_snap = nullptr;
    QCheckBox *m_hideButton = nullptr;
    QCheckBox *m_limit = nullptr;
    QCheckBox *m_hideWindow = nullptr;
    QLabel *m_state = nullptr;
    QLabel *m_picture = nullptr;
    QLabel *m_details = nullptr;
    QListWidget *m_events = nullptr;
    bool m_hidden = false;
};

DemoPageRegistrar registrar(QStringLiteral("capture"), QStringLiteral("Screen capture"), 40,
                            [](QWidget *parent) { return new CapturePage(parent); });

} // namespace

#include "capturepage.moc"
