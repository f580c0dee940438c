// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qrcodelabel.h"

#include <QMouseEvent>

QRCodeLabel::QRCodeLabel(QWidget *parent)
    : QLabel(parent)
{
    setObjectName(QStringLiteral("qrCodeLabel"));
    setCursor(Qt::PointingHandCursor);
    setAlignment(Qt::AlignCenter);
}

void QRCodeLabel::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && rect().contains(event->pos()) && !pixmap(Qt::ReturnByValue).isNull())
        Q_EMIT clicked();
    QLabel::mouseReleaseEvent(event);
}

void QRCodeLabel::enterEvent(QEvent *event)
{
    if (!pixmap(Qt::ReturnByValue).isNull())
        Q_EMIT hoverEntered(mapToGlobal(QPoint(width(), 0)));
    QLabel::enterEvent(event);
}

void QRCodeLabel::leaveEvent(QEvent *event)
{
    Q_EMIT hoverLeft();
    QLabel::leaveEvent(event);
}
