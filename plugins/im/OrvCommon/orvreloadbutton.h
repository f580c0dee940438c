// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QPushButton>

class QLabel;

/// The cloud disk's reload button: an icon and a short text, with a hover look.
class OrvReloadButton : public QPushButton
{
    Q_OBJECT
public:
    static constexpr const char *IconStyle = "border:none;image:url(:/clouddisk/images/reload.svg)";
    static constexpr const char *IconHoverStyle = "border:none;image:url(:/clouddisk/images/reload_hover.svg)";
    static constexpr const char *TextStyle = "font-size:12px;border:none;color:#C3C3C3;";
    static constexpr const char *TextHoverStyle = "font-size:12px;border:none;color:#2F7CF6;";

    /// darkBackground: the button sits on a dark tool bar (the classroom's).
    explicit OrvReloadButton(bool darkBackground, QWidget *parent = nullptr);

    void setText(const QString &text);
    QString text() const;
    void setTextVisible(bool visible);
    void setIconVisible(bool visible);
    bool isHovered() const { return m_hovered; }

    /// What the labels need; the button's own text is always empty.
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void enterEvent(QEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    void applyLook();

    bool m_darkBackground;
    bool m_hovered = false;
    QLabel *m_icon = nullptr;
    QLabel *m_text = nullptr;
};
