// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QLabel>

/// The QR code image of the join panel: clicking it asks for the large view, hovering it for the
/// enlarged image next to it.
class QRCodeLabel : public QLabel
{
    Q_OBJECT
public:
    explicit QRCodeLabel(QWidget *parent = nullptr);

Q_SIGNALS:
    void clicked();
    void hoverEntered(const QPoint &globalPos);
    void hoverLeft();

protected:
    void mouseReleaseEvent(QMouseEvent *event) override;
    void enterEvent(QEvent *event) override;
    void leaveEvent(QEvent *event) override;
};
