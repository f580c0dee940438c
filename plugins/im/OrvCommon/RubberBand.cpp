// SPDX-License-Identifier: LGPL-2.1-or-later
#include "RubberBand.h"

namespace ScreenShot {

RubberBand *RubberBand::instance()
{
    static RubberBand band;
    return &band;
}

bool RubberBand::setState(int state)
{
    if (state <= m_state)
        return false;
    m_state = state;
    return true;
}

void RubberBand::reset()
{
    m_rect = QRect();
    m_state = StateNone;
    m_currentHit = HitNone;
    m_owner.clear();
}

QVector<QPointF> RubberBand::handlePoints() const
{
    const QRect r = m_rect;
    const qreal cx = r.left() + (r.width() - 1) / 2.0;
    const qreal cy = r.top() + (r.height() - 1) / 2.0;
    return {QPointF(r.left(), cy), QPointF(cx, r.top()), QPointF(r.right(), cy), QPointF(cx, r.bottom()),
            QPointF(r.topLeft()), QPointF(r.topRight()), QPointF(r.bottomLeft()), QPointF(r.bottomRight())};
}

QRectF RubberBand::handleBounds(const QPointF &centre) const
{
    return QRectF(centre.x() - HandleRadius, centre.y() - HandleRadius, 2 * HandleRadius, 2 * HandleRadius);
}

QVector<QPainterPath> RubberBand::handlePaths() const
{
    QVector<QPainterPath> paths;
    for (const QPointF &p : handlePoints()) {
        QPainterPath path;
        path.addEllipse(p, HandleRadius, HandleRadius);
        paths.append(path);
    }
    return paths;
}

RubberBand::HitTestResult RubberBand::hitTest(const QPoint &pos) const
{
    if (!m_rect.isValid())
        return HitNone;
    const QVector<QPointF> points = handlePoints();
    // Index into handlePoints() in the order of testing, with the result each stands for.
    static const struct { int index; HitTestResult hit; } order[] = {
        {4, HitTopLeft}, {5, HitTopRight}, {6, HitBottomLeft}, {7, HitBottomRight},
        {0, HitLeft},    {1, HitTop},      {2, HitRight},      {3, HitBottom},
    };
    const QPointF p(pos);
    for (const auto &o : order) {
        const QRectF reach = handleBounds(points.at(o.index)).adjusted(-HandleReach, -HandleReach, HandleReach, HandleReach);
        if (reach.contains(p))
            return o.hit;
    }
    return m_rect.contains(pos) ? HitInside : HitNone;
}

QRegion RubberBand::borderRegion() const
{
    if (!m_rect.isValid())
        return {};
    QRegion border = QRegion(m_rect) - QRegion(m_rect.adjusted(1, 1, -1, -1));
    for (const QPointF &p : handlePoints())
        border -= QRegion(handleBounds(p).adjusted(-1, -1, 1, 1).toAlignedRect());
    return border;
}

Qt::CursorShape RubberBand::cursorFor(HitTestResult hit)
{
    switch (hit) {
    case HitLeft:
    case HitRight: return Qt::SizeHorCursor;
    case HitTop:
    case HitBottom: return Qt::SizeVerCursor;
    case HitTopLeft:
    case HitBottomRight: return Qt::SizeFDiagCursor;
    case HitTopRight:
    case HitBottomLeft: return Qt::SizeBDiagCursor;
    case HitInside: return Qt::SizeAllCursor;
    case HitNone: break;
    }
    return Qt::ArrowCursor;
}

} // namespace ScreenShot
