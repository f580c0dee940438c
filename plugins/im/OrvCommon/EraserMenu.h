// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "ArrowPopup.h"

class QButtonGroup;
class QToolButton;

/// Eraser sizes, and clearing every annotation.
// Fixed to int: sizes a newer client sends are kept as they are.
enum EraserType : int { EraserSmall = 0, EraserMedium = 1, EraserLarge = 2, EraserClear = 3 };
Q_DECLARE_METATYPE(EraserType)

/**
 * The eraser's popup: three sizes ("sEraserBtn", "mEraserBtn", "lEraserBtn", one checked at a
 * time) and, past a separator, "clearBtn" which clears every annotation. 202 × 72 with its arrow.
 * Pressing a size or clear emits eraserChanged().
 */
class EraserMenu : public ArrowPopup
{
    Q_OBJECT
public:
    explicit EraserMenu(Qt::ArrowType arrow, QWidget *parent = nullptr, bool popup = true);
    ~EraserMenu() override;

    EraserType getEraserType() const { return m_type; }
    /// Checks the matching size; values outside 0–2 are only stored.
    void setEraserType(EraserType type);

Q_SIGNALS:
    void eraserChanged(EraserType type);

private:
    QToolButton *addButton(const QString &name, const QString &icon, const char *tip, bool checkable);

    QButtonGroup *m_group = nullptr;
    EraserType m_type = EraserMedium;
};
