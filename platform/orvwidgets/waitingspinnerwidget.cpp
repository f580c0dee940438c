// SPDX-License-Identifier: LGPL-2.1-or-later
#include "waitingspinnerwidget.h"

#include <QEvent>
#include <QPainter>
#include <QTimer>
#include <QToolButton>
#include <QtMath>

namespace {

constexpr int BoxPadding = 16;
constexpr int TextGap = 10;
constexpr qreal MinimumTrailOpacity = 0.15;

} // namespace

WaitingSpinnerWidget::WaitingSpinnerWidget(QWidget *parent)
    : QWidget(parent)
    , m_timer(new QTimer(this))
{
    setObjectName(QStringLiteral("waitingSpinner"));
    setAttribute(Qt::WA_TranslucentBackground);
    hide();
    connect(m_timer, &QTimer::timeout, this, [this] {
        m_currentLine = (m_currentLine + 1) % m_numberOfLines;
        update(boxRect());
    });
    updateTimer();

    m_closeButton = new QToolButton(this);
    m_closeButton->setObjectName(QStringLiteral("spinnerCloseBtn"));
    m_closeButton->setText(QStringLiteral("\u2715"));
    m_closeButton->setAutoRaise(true);
    m_closeButton->setCursor(Qt::PointingHandCursor);
    m_closeButton->setStyleSheet(QStringLiteral("QToolButton{color:#FFFFFF;border:none;font-size:12px;}"));
    m_closeButton->hide();
    connect(m_closeButton, &QToolButton::clicked, this, &WaitingSpinnerWidget::closeRequested);

    if (parent) {
        parent->installEventFilter(this);
        setGeometry(parent->rect());
    }
}

WaitingSpinnerWidget::~WaitingSpinnerWidget() = default;

void WaitingSpinnerWidget::setInnerRadius(int radius)
{
    m_innerRadius = qMax(0, radius);
    update();
}

void WaitingSpinnerWidget::setLineLength(int length)
{
    m_lineLength = qMax(1, length);
    update();
}

void WaitingSpinnerWidget::setLineWidth(int width)
{
    m_lineWidth = qMax(1, width);
    update();
}

void WaitingSpinnerWidget::setRoundness(qreal radius)
{
    m_roundness = qMax<qreal>(0.0, radius);
    update();
}

void WaitingSpinnerWidget::setOpacity(qreal opacity)
{
    m_opacity = qBound<qreal>(0.0, opacity, 1.0);
    update();
}

void WaitingSpinnerWidget::setNumberOfLines(int lines)
{
    m_numberOfLines = qMax(1, lines);
    m_currentLine = 0;
    updateTimer();
    update();
}

void WaitingSpinnerWidget::setRevolutionsPerSecond(qreal revolutions)
{
    m_revolutionsPerSecond = qMax<qreal>(0.1, revolutions);
    updateTimer();
}

void WaitingSpinnerWidget::setColor(const QColor &color)
{
    m_color = color;
    update();
}

void WaitingSpinnerWidget::setText(const QString &text)
{
    m_text = text;
    placeCloseButton();
    update();
}

void WaitingSpinnerWidget::setCloseButtonVisible(bool visible)
{
    m_closeButton->setVisible(visible);
    placeCloseButton();
}

bool WaitingSpinnerWidget::isCloseButtonVisible() const
{
    return !m_closeButton->isHidden();
}

bool WaitingSpinnerWidget::isSpinning() const
{
    return m_timer->isActive();
}

void WaitingSpinnerWidget::start()
{
    if (parentWidget())
        setGeometry(parentWidget()->rect());
    placeCloseButton();
    show();
    raise();
    m_timer->start();
}

void WaitingSpinnerWidget::stop()
{
    m_timer->stop();
    hide();
    m_currentLine = 0;
}

void WaitingSpinnerWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing, true);

    const QRect box = boxRect();
    painter.setPen(Qt::NoPen);
    QColor back(0, 0, 0);
    back.setAlphaF(m_opacity);
    painter.setBrush(back);
    painter.drawRoundedRect(box, 8, 8);

    const int ring = m_innerRadius + m_lineLength;
    const QPointF centre(box.center().x() + 0.5, box.top() + BoxPadding + ring);
    for (int i = 0; i < m_numberOfLines; ++i) {
        // Lines behind the current one fade towards the minimum opacity.
        const int distance = (m_currentLine - i + m_numberOfLines) % m_numberOfLines;
        const qreal fade = 1.0 - (1.0 - MinimumTrailOpacity) * distance / qMax(1, m_numberOfLines - 1);
        QColor c = m_color;
        c.setAlphaF(qBound<qreal>(MinimumTrailOpacity, fade, 1.0) * m_color.alphaF());
        painter.save();
        painter.translate(centre);
        painter.rotate(360.0 * i / m_numberOfLines);
        painter.translate(m_innerRadius, 0);
        painter.setBrush(c);
        painter.drawRoundedRect(QRectF(0, -m_lineWidth / 2.0, m_lineLength, m_lineWidth), m_roundness, m_roundness,
                                Qt::AbsoluteSize);
        painter.restore();
    }

    if (!m_text.isEmpty()) {
        painter.setPen(m_color);
        const QRect textRect(box.left(), int(centre.y()) + ring + TextGap, box.width(),
                             box.bottom() - (int(centre.y()) + ring + TextGap));
        painter.drawText(textRect, Qt::AlignHCenter | Qt::AlignTop, m_text);
    }
}

bool WaitingSpinnerWidget::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == parentWidget() && (event->type() == QEvent::Resize || event->type() == QEvent::Move)) {
        setGeometry(parentWidget()->rect());
        placeCloseButton();
    }
    return QWidget::eventFilter(watched, event);
}

QRect WaitingSpinnerWidget::boxRect() const
{
    const int ring = 2 * (m_innerRadius + m_lineLength);
    const QFontMetrics fm(font());
    const int textWidth = m_text.isEmpty() ? 0 : fm.horizontalAdvance(m_text);
    const int textHeight = m_text.isEmpty() ? 0 : TextGap + fm.height();
    const int w = qMax(ring, textWidth) + 2 * BoxPadding;
    const int h = ring + textHeight + 2 * BoxPadding;
    return QRect((width() - w) / 2, (height() - h) / 2, w, h);
}

void WaitingSpinnerWidget::updateTimer()
{
    m_timer->setInterval(qMax(1, int(1000.0 / (m_numberOfLines * m_revolutionsPerSecond))));
}

void WaitingSpinnerWidget::placeCloseButton()
{
    const QRect box = boxRect();
    const QSize size = m_closeButton->sizeHint();
    m_closeButton->setGeometry(box.right() - size.width() - 2, box.top() + 2, size.width(), size.height());
}
