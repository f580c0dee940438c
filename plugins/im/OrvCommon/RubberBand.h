// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QPainterPath>
#include <QPointer>
#include <QRect>
#include <QRegion>
#include <QVector>

namespace ScreenShot {

/**
 * The selection of a screen capture: one rectangle (in global coordinates) with a state that
 * only advances (nothing, being drawn, selected) until it is reset, and eight round handles to
 * resize it by. There is one band for all screens' overlays, so only one selection exists at a
 * time; the overlay that drew it is its owner.
 */
class RubberBand
{
public:
    enum HitTestResult {
        HitNone = 0,
        HitLeft = 1,
        HitTop = 2,
        HitRight = 3,
        HitBottom = 4,
        HitTopLeft = 5,
        HitTopRight = 6,
        HitBottomLeft = 7,
        HitBottomRight = 8,
        HitInside = 9,
    };
    enum State { StateNone = 0, StateDrawing = 1, StateSelected = 2 };

    static constexpr qreal HandleRadius = 2.5;
    /// A handle is hit within its bounding rectangle grown by this much.
    static constexpr qreal HandleReach = 5.0;

    /// The band shared by every overlay of the process.
    static RubberBand *instance();

    QRect rect() const { return m_rect; }
    void setRect(const QRect &rect) { m_rect = rect; }
    bool isValid() const { return m_rect.isValid(); }

    int state() const { return m_state; }
    /// Advances to `state`; a state not above the current one is refused (false).
    bool setState(int state);
    /// Back to a null rectangle, state 0, no owner and no hit.
    void reset();

    QObject *owner() const { return m_owner; }
    void setOwner(QObject *owner) { m_owner = owner; }

    /// What a press at `pos` would grab: corners first (top-left, top-right, bottom-left,
    /// bottom-right), then the edges' middle handles (left, top, right, bottom), then inside.
    HitTestResult hitTest(const QPoint &pos) const;
    /// The hit of the drag under way.
    HitTestResult currentHit() const { return m_currentHit; }
    void setCurrentHit(HitTestResult hit) { m_currentHit = hit; }

    /// Handle centres: left, top, right and bottom middles, then top-left, top-right,
    /// bottom-left and bottom-right corners.
    QVector<QPointF> handlePoints() const;
    QVector<QPainterPath> handlePaths() const;
    /// The one-pixel border inside the rectangle, without the handles' places.
    QRegion borderRegion() const;

    static Qt::CursorShape cursorFor(HitTestResult hit);

private:
    RubberBand() = default;
    QRectF handleBounds(const QPointF &centre) const;

    QRect m_rect;
    int m_state = StateNone;
    HitTestResult m_currentHit = HitNone;
    QPointer<QObject> m_owner;
};

} // namespace ScreenShot
