// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QColor>
#include <QPointer>
#include <QVector>
#include <QWidget>

class QButtonGroup;
class QColorDialog;
class QToolButton;

/**
 * The colour picker of the drawing tools: a palette of swatches and a custom colour chosen with
 * the colour dialog. Picking a swatch emits colorChanged(index); picking a custom colour emits
 * colorPickFinish(colour). One colour is current at a time (a swatch, or the custom one).
 */
class OrvColorPickerWidget : public QWidget
{
    Q_OBJECT
public:
    /// The swatch the pickers start at ("#F33B1F").
    static constexpr int DefaultIndex = 4;

    explicit OrvColorPickerWidget(QWidget *parent = nullptr);
    ~OrvColorPickerWidget() override;

    static int paletteSize();
    /// Invalid outside the palette.
    static QColor paletteColor(int index);

    /// The swatch chosen; -1 while the custom colour is current.
    int currentIndex() const { return m_index; }
    QColor currentColor() const;
    /// Checks the swatch at index without emitting; other values are refused.
    void setCurrentIndex(int index);
    /// Makes color the current (custom) colour without emitting.
    void setCustomColor(const QColor &color);
    QColor customColor() const { return m_custom; }

    /// The colour dialog for a custom colour (non-modal; created on first use).
    QColorDialog *openCustomDialog();

Q_SIGNALS:
    void colorChanged(int index);
    void colorPickFinish(const QColor &color);

private:
    void updateCustomButton();

    QButtonGroup *m_group = nullptr;
    QToolButton *m_customBtn = nullptr;
    QPointer<QColorDialog> m_dialog;
    int m_index = DefaultIndex;
    QColor m_custom;
};
