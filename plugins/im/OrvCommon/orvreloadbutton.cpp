// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvreloadbutton.h"

#include <QHBoxLayout>
#include <QLabel>

namespace {

constexpr int kIconSize = 14;

} // namespace

OrvReloadButton::OrvReloadButton(bool darkBackground, QWidget *parent)
    : QPushButton(parent)
    , m_darkBackground(darkBackground)
{
    setObjectName(QStringLiteral("OrvReloadButton"));
    setCursor(Qt::PointingHandCursor);
    setFlat(true);
    setStyleSheet(QStringLiteral("QPushButton#OrvReloadButton{border:none;background:transparent;}"));

    m_icon = new QLabel(this);
    m_icon->setObjectName(QStringLiteral("reloadIcon"));
    m_icon->setFixedSize(kIconSize, kIconSize);
    m_text = new QLabel(this);
    m_text->setObjectName(QStringLiteral("reloadText"));

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 0, 4, 0);
    layout->setSpacing(4);
    layout->addWidget(m_icon);
    layout->addWidget(m_text);
    applyLook();
}

void OrvReloadButton::setText(const QString &text)
{
    m_text->setText(text);
    // The labels carry the content; the button's own text stays empty so it is not drawn twice.
    setAccessibleName(text);
    updateGeometry();
}

QString OrvReloadButton::text() const
{
    return m_text->text();
}

void OrvReloadButton::setTextVisible(bool visible)
{
    m_text->setVisible(visible);
}

void OrvReloadButton::setIconVisible(bool visible)
{
    m_icon->setVisible(visible);
}

QSize OrvReloadButton::sizeHint() const
{
    return layout()->sizeHint();
}

QSize OrvReloadButton::minimumSizeHint() const
{
    return layout()->minimumSize();
}

void OrvReloadButton::enterEvent(QEvent *event)
{
    QPushButton::enterEvent(event);
    m_hovered = true;
    applyLook();
}

void OrvReloadButton::leaveEvent(QEvent *event)
{
    QPushButton::leaveEvent(event);
    m_hovered = false;
    applyLook();
}

void OrvReloadButton::applyLook()
{
    m_icon->setStyleSheet(QString::fromLatin1(m_hovered ? IconHoverStyle : IconStyle));
    QString text = QString::fromLatin1(m_hovered ? TextHoverStyle : TextStyle);
    // The quiet grey reads on both backgrounds; a dark tool bar only needs a lighter hover.
    if (m_darkBackground && m_hovered)
        text.replace(QLatin1String("#2F7CF6"), QLatin1String("#6FA4F8"));
    m_text->setStyleSheet(text);
}
