// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QWidget>

/**
 * A rounded box with an arrow on one side that points at the button it belongs to: the settings
 * boxes of the drawing tools and the eraser menu. As a popup it closes on a click elsewhere; as a
 * child (the screen capture overlay keeps its boxes as children) its owner shows and hides it.
 * The arrow type names the direction the arrow points (Qt::UpArrow: the box hangs below its
 * button).
 */
class ArrowPopup : public QWidget
{
    Q_OBJECT
public:
    static constexpr int ArrowSize = 7;
    static constexpr int Margin = 10;

    ArrowPopup(Qt::ArrowType arrow, QWidget *parent, bool popup = true);
    ~ArrowPopup() override;

    Qt::ArrowType arrowType() const { return m_arrow; }
    void setArrowType(Qt::ArrowType arrow);
    /// Where the arrow's tip sits along its side, from the box's start (-1: the middle).
    void setArrowOffset(int offset);
    /// Places the box next to anchor with the arrow at its middle (kept on anchor's screen) and
    /// shows it.
    void showNextTo(QWidget *anchor);

    /// The contents margins with room for the arrow on its side.
    static QMargins marginsFor(Qt::ArrowType arrow, int margin = Margin);

Q_SIGNALS:
    void hidden();

protected:
    void paintEvent(QPaintEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    Qt::ArrowType m_arrow;
    int m_arrowOffset = -1;
};
