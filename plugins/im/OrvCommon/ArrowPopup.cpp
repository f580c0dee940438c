// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ArrowPopup.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>

ArrowPopup::ArrowPopup(Qt::ArrowType arrow, QWidget *parent, bool popup)
    : QWidget(parent, popup ? Qt::Popup | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint : Qt::Widget)
    , m_arrow(arrow)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setContentsMargins(marginsFor(arrow));
}

ArrowPopup::~ArrowPopup() = default;

QMargins ArrowPopup::marginsFor(Qt::ArrowType arrow, int margin)
{
    QMargins m(margin, margin, margin, margin);
    switch (arrow) {
    case Qt::UpArrow:
        m.setTop(margin + ArrowSize);
        break;
    case Qt::DownArrow:
        m.setBottom(margin + ArrowSize);
        break;
    case Qt::LeftArrow:
        m.setLeft(margin + ArrowSize);
        break;
    case Qt::RightArrow:
        m.setRight(margin + ArrowSize);
        break;
    default:
        break;
    }
    return m;
}

void ArrowPopup::setArrowType(Qt::ArrowType arrow)
{
    if (arrow == m_arrow)
        return;
    m_arrow = arrow;
    setContentsMargins(marginsFor(arrow));
    update();
}

void ArrowPopup::setArrowOffset(int offset)
{
    m_arrowOffset = offset;
    update();
}

void ArrowPopup::showNextTo(QWidget *anchor)
{
    if (!anchor)
        return;
    adjustSize();
    const QRect a(anchor->mapToGlobal(QPoint(0, 0)), anchor->size());
    QPoint topLeft;
    switch (m_arrow) {
    case Qt::DownArrow:
        topLeft = QPoint(a.center().x() - width() / 2, a.top() - height());
        break;
    case Qt::LeftArrow:
        topLeft = QPoint(a.right() + 1, a.center().y() - height() / 2);
        break;
    case Qt::RightArrow:
        topLeft = QPoint(a.left() - width(), a.center().y() - height() / 2);
        break;
    default:
        topLeft = QPoint(a.center().x() - width() / 2, a.bottom() + 1);
        break;
    }
    // On the anchor's screen; the arrow keeps pointing at the anchor when the box shifts.
    QScreen *screen = QGuiApplication::screenAt(a.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect bounds = screen ? screen->availableGeometry() : QRect();
    QPoint shifted = topLeft;
    if (bounds.isValid()) {
        shifted.setX(qBound(bounds.left(), topLeft.x(), qMax(bounds.left(), bounds.right() - width() + 1)));
        shifted.setY(qBound(bounds.top(), topLeft.y(), qMax(bounds.top(), bounds.bottom() - height() + 1)));
    }
    if (m_arrow == Qt::UpArrow || m_arrow == Qt::DownArrow)
        m_arrowOffset = a.center().x() - shifted.x();
    else
        m_arrowOffset = a.center().y() - shifted.y();
    if (isWindow()) {
        move(shifted);
    } else if (parentWidget()) {
        move(parentWidget()->mapFromGlobal(shifted));
        raise();
    }
    show();
}

void ArrowPopup::paintEvent(QPaintEvent *event)
{
    Q_UNUSED(event)
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    QRectF body = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    switch (m_arrow) {
    case Qt::UpArrow:
        body.setTop(body.top() + ArrowSize);
        break;
    case Qt::DownArrow:
        body.setBottom(body.bottom() - ArrowSize);
        break;
    case Qt::LeftArrow:
        body.setLeft(body.left() + ArrowSize);
        break;
    case Qt::RightArrow:
        body.setRight(body.right() - ArrowSize);
        break;
    default:
        break;
    }
    QPainterPath path;
    path.addRoundedRect(body, 6, 6);
    const bool vertical = m_arrow == Qt::UpArrow || m_arrow == Qt::DownArrow;
    const qreal along = vertical ? width() : height();
    const qreal tip = qBound<qreal>(ArrowSize + 6, m_arrowOffset < 0 ? along / 2 : m_arrowOffset, along - ArrowSize - 6);
    QPolygonF arrow;
    switch (m_arrow) {
    case Qt::UpArrow:
        arrow << QPointF(tip - ArrowSize, body.top() + 1) << QPointF(tip, 0.5) << QPointF(tip + ArrowSize, body.top() + 1);
        break;
    case Qt::DownArrow:
        arrow << QPointF(tip - ArrowSize, body.bottom() - 1) << QPointF(tip, height() - 0.5)
              << QPointF(tip + ArrowSize, body.bottom() - 1);
        break;
    case Qt::LeftArrow:
        arrow << QPointF(body.left() + 1, tip - ArrowSize) << QPointF(0.5, tip) << QPointF(body.left() + 1, tip + ArrowSize);
        break;
    case Qt::RightArrow:
        arrow << QPointF(body.right() - 1, tip - ArrowSize) << QPointF(width() - 0.5, tip)
              << QPointF(body.right() - 1, tip + ArrowSize);
        break;
    default:
        break;
    }
    if (!arrow.isEmpty()) {
        QPainterPath a;
        a.addPolygon(arrow);
        a.closeSubpath();
        path = path.united(a);
    }
    p.setPen(QPen(QColor(0xE3, 0xE3, 0xE3), 1));
    p.setBrush(Qt::white);
    p.drawPath(path);
}

void ArrowPopup::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    Q_EMIT hidden();
}
