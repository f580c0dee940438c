// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QPixmap>
#include <QWidget>

class QLabel;

/// A frameless window showing a picture enlarged: next to the QR code while it is hovered, or
/// as the large view (closed by a click or Esc, which emits closed()).
class JoinHoverPixmapWidget : public QWidget
{
    Q_OBJECT
public:
    explicit JoinHoverPixmapWidget(QWidget *parent = nullptr);

    /// Shows the picture at most maxSide pixels on its longer side, never enlarged beyond twice its size.
    void setPixmap(const QPixmap &pixmap, int maxSide = 480);
    QPixmap pixmap() const { return m_pixmap; }
    /// Top-left at globalPos, kept on the screen that holds it.
    void showAt(const QPoint &globalPos);
    /// Centred on the screen of the given widget.
    void showCentered(const QWidget *over);

Q_SIGNALS:
    void closed();

protected:
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    QLabel *m_label;
    QPixmap m_pixmap;
};
