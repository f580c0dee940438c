// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QColor>
#include <QWidget>

class QTimer;
class QToolButton;

/**
 * The waiting spinner shown over a widget while something loads: a ring of rounded lines that
 * fade one after another, on a translucent box, with a line of text under it and, when asked
 * for, a close button. It covers its parent and follows the parent's size; while it spins the
 * parent's content does not take mouse input.
 */
class WaitingSpinnerWidget : public QWidget
{
    Q_OBJECT
public:
    explicit WaitingSpinnerWidget(QWidget *parent);
    ~WaitingSpinnerWidget() override;

    void setInnerRadius(int radius);
    int innerRadius() const { return m_innerRadius; }
    void setLineLength(int length);
    int lineLength() const { return m_lineLength; }
    void setLineWidth(int width);
    int lineWidth() const { return m_lineWidth; }
    /// Corner radius of each line.
    void setRoundness(qreal radius);
    qreal roundness() const { return m_roundness; }
    /// Opacity of the box behind the lines and text.
    void setOpacity(qreal opacity);
    qreal opacity() const { return m_opacity; }
    void setNumberOfLines(int lines);
    int numberOfLines() const { return m_numberOfLines; }
    void setRevolutionsPerSecond(qreal revolutions);
    void setColor(const QColor &color);
    QColor color() const { return m_color; }

    void setText(const QString &text);
    QString text() const { return m_text; }
    void setCloseButtonVisible(bool visible);
    bool isCloseButtonVisible() const;

    bool isSpinning() const;

public Q_SLOTS:
    void start();
    void stop();

Q_SIGNALS:
    /// The user pressed the close button.
    void closeRequested();

protected:
    void paintEvent(QPaintEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QRect boxRect() const;
    void updateTimer();
    void placeCloseButton();

    QTimer *m_timer = nullptr;
    QToolButton *m_closeButton = nullptr;
    int m_innerRadius = 10;
    int m_lineLength = 10;
    int m_lineWidth = 2;
    qreal m_roundness = 100.0;
    qreal m_opacity = 0.5;
    int m_numberOfLines = 12;
    qreal m_revolutionsPerSecond = 1.0;
    QColor m_color = Qt::white;
    QString m_text;
    int m_currentLine = 0;
};
