// SPDX-License-Identifier: LGPL-2.1-or-later
#include "prscrnsession.h"
#include "stdinreader.h"

#include "ScreenshotWidget.h"

#include <QCoreApplication>
#include <QMouseEvent>
#include <QTimer>
#include <QWindow>

#include <cstdio>

using ScreenShot::ScreenshotWidget;

PrScrnSession::PrScrnSession(QObject *parent)
    : QObject(parent)
    , m_reader(new StdinReader(this))
{
    connect(m_reader, &StdinReader::lineRead, this, &PrScrnSession::onLine);
    connect(m_reader, &StdinReader::inputClosed, this, &PrScrnSession::onInputClosed);
    m_reader->start();
}

PrScrnSession::~PrScrnSession()
{
    // The reader blocks in a read that only input or its end ends; the program is exiting anyway.
    if (m_reader->isRunning()) {
        m_reader->disconnect(this);
        m_reader->setParent(nullptr);
    }
}

void PrScrnSession::onLine(const QString &line)
{
    if (m_finished || line.isEmpty())
        return;
    if (line.startsWith(QLatin1String("start:"))) {
        startCapture(line.mid(6));
    } else if (line == QLatin1String("cancel")) {
        qInfo("cancel");
        if (m_capturing)
            ScreenshotWidget::cancelAll();
        else
            finish(ScreenshotWidget::OperateCancel);
    } else {
        qWarning("unknown command: %s", qPrintable(line.left(80)));
    }
}

void PrScrnSession::onInputClosed()
{
    if (m_finished)
        return;
    qInfo("input closed");
    if (m_capturing)
        ScreenshotWidget::cancelAll();
    else
        finish(ScreenshotWidget::OperateCancel);
}

void PrScrnSession::startCapture(const QString &arguments)
{
    if (m_capturing) {
        qWarning("start while capturing ignored");
        return;
    }
    const QStringList parts = arguments.split(QLatin1Char('|'));
    bool ok[4] = {};
    int values[4] = {};
    for (int i = 0; i < 4 && i < parts.size(); ++i)
        values[i] = parts.at(i).trimmed().toInt(&ok[i]);
    if (parts.size() != 4 || !(ok[0] && ok[1] && ok[2] && ok[3])) {
        qWarning("bad start line: start:%s", qPrintable(arguments.left(80)));
        return;
    }
    m_capturing = true;
    qInfo("start %dx%d auto=%d hide=%d", values[0], values[1], values[2], values[3]);
    ScreenshotWidget::start(QSize(values[0], values[1]), values[2] != 0, false, values[3] != 0,
                            [this](int code) { onCaptureEnded(code); });
    if (!ScreenshotWidget::isCapturing()) {
        qWarning("no overlay could be opened");
        return; // the callback follows with 1
    }
    if (m_testSelection.isValid()) {
        for (ScreenshotWidget *overlay : ScreenshotWidget::overlays()) {
            connect(overlay, &ScreenshotWidget::shown, this, [this] { QTimer::singleShot(0, this, &PrScrnSession::selectForTest); });
        }
    }
}

void PrScrnSession::onCaptureEnded(int code)
{
    qInfo("capture ended: %d", code);
    if (code == ScreenshotWidget::OperateShare || code == ScreenshotWidget::OperateSaveToCloud) {
        // Only the client can share or store it; the overlay has no more to do here.
        ScreenshotWidget::cancelAll();
    }
    // The overlays close on their own; end once this turn of the event loop is over.
    QTimer::singleShot(0, this, [this, code] { finish(code); });
}

void PrScrnSession::finish(int code)
{
    if (m_finished)
        return;
    m_finished = true;
    std::fflush(stdout);
    QCoreApplication::exit(code);
}

void PrScrnSession::selectForTest()
{
    const QRect rect = m_testSelection;
    if (!rect.isValid() || !m_capturing)
        return;
    for (ScreenshotWidget *overlay : ScreenshotWidget::overlays()) {
        if (!overlay->captureArea().contains(rect) || !overlay->hasGrab())
            continue;
        m_testSelection = QRect(); // once
        qInfo("test selection %d,%d %dx%d", rect.x(), rect.y(), rect.width(), rect.height());
        auto send = [overlay](QEvent::Type type, const QPoint &global, Qt::MouseButton button, Qt::MouseButtons buttons) {
            QMouseEvent event(type, overlay->mapFromGlobal(global), global, button, buttons, Qt::NoModifier);
            QCoreApplication::sendEvent(overlay, &event);
        };
        const QPoint from = rect.topLeft();
        const QPoint to = rect.bottomRight();
        send(QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
        send(QEvent::MouseMove, (from + to) / 2, Qt::NoButton, Qt::LeftButton);
        send(QEvent::MouseMove, to, Qt::NoButton, Qt::LeftButton);
        send(QEvent::MouseButtonRelease, to, Qt::LeftButton, Qt::NoButton);
        send(QEvent::MouseButtonDblClick, rect.center(), Qt::LeftButton, Qt::LeftButton);
        return;
    }
}
