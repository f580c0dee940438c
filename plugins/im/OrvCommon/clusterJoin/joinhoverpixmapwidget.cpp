// SPDX-License-Identifier: LGPL-2.1-or-later
#include "joinhoverpixmapwidget.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QScreen>
#include <QVBoxLayout>

JoinHoverPixmapWidget::JoinHoverPixmapWidget(QWidget *parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint)
    , m_label(new QLabel)
{
    setObjectName(QStringLiteral("JoinHoverPixmapWidget"));
    m_label->setObjectName(QStringLiteral("hoverPixmapLabel"));
    m_label->setAlignment(Qt::AlignCenter);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(m_label);
    setStyleSheet(QStringLiteral("#JoinHoverPixmapWidget { background: #FFFFFF; border: 1px solid #DADCE0; }"));
}

void JoinHoverPixmapWidget::setPixmap(const QPixmap &pixmap, int maxSide)
{
    m_pixmap = pixmap;
    if (pixmap.isNull()) {
        m_label->clear();
        return;
    }
    const int longer = std::max(pixmap.width(), pixmap.height());
    const int target = std::min(maxSide, 2 * longer);
    // QR modules stay sharp when scaled by a whole factor.
    const Qt::TransformationMode mode = target % longer == 0 ? Qt::FastTransformation : Qt::SmoothTransformation;
    m_label->setPixmap(pixmap.scaled(QSize(target, target), Qt::KeepAspectRatio, mode));
    adjustSize();
}

void JoinHoverPixmapWidget::showAt(const QPoint &globalPos)
{
    QRect r(globalPos, sizeHint());
    if (const QScreen *screen = QGuiApplication::screenAt(globalPos)) {
        const QRect avail = screen->availableGeometry();
        r.moveRight(std::min(r.right(), avail.right()));
        r.moveBottom(std::min(r.bottom(), avail.bottom()));
        r.moveLeft(std::max(r.left(), avail.left()));
        r.moveTop(std::max(r.top(), avail.top()));
    }
    setGeometry(r);
    show();
    raise();
}

void JoinHoverPixmapWidget::showCentered(const QWidget *over)
{
    const QScreen *screen = over && over->screen() ? over->screen() : QGuiApplication::primaryScreen();
    QRect r(QPoint(), sizeHint());
    if (screen)
        r.moveCenter(screen->availableGeometry().center());
    setGeometry(r);
    show();
    raise();
    activateWindow();
}

void JoinHoverPixmapWidget::mouseReleaseEvent(QMouseEvent *event)
{
    QWidget::mouseReleaseEvent(event);
    close();
}

void JoinHoverPixmapWidget::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

void JoinHoverPixmapWidget::closeEvent(QCloseEvent *event)
{
    QWidget::closeEvent(event);
    Q_EMIT closed();
}
