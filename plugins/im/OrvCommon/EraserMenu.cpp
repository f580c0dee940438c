// SPDX-License-Identifier: LGPL-2.1-or-later
#include "EraserMenu.h"

#include "orvlang.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

EraserMenu::EraserMenu(Qt::ArrowType arrow, QWidget *parent, bool popup)
    : ArrowPopup(arrow, parent, popup)
{
    qRegisterMetaType<EraserType>("EraserType");
    setObjectName(QStringLiteral("EraserMenu"));
    setFixedSize(202, 72);
    auto *layout = new QHBoxLayout(this);
    layout->setSpacing(9);
    m_group = new QButtonGroup(this);
    m_group->setExclusive(true);
    const struct
    {
        const char *name;
        const char *icon;
        const char *tip;
        EraserType type;
    } sizes[] = {{"sEraserBtn", "erarser-s", "ID_Eraser_Small", EraserSmall},
                 {"mEraserBtn", "erarser-m", "ID_Eraser_Medium", EraserMedium},
                 {"lEraserBtn", "erarser-l", "ID_Eraser_Large", EraserLarge}};
    for (const auto &size : sizes) {
        QToolButton *button = addButton(QLatin1String(size.name), QLatin1String(size.icon), size.tip, true);
        m_group->addButton(button, size.type);
        layout->addWidget(button);
    }
    auto *line = new QLabel(this);
    line->setObjectName(QStringLiteral("line"));
    line->setFixedSize(1, 14);
    line->setStyleSheet(QStringLiteral("QLabel#line{background:#EBEBEB;border:none;}"));
    layout->addWidget(line);
    QToolButton *clear = addButton(QStringLiteral("clearBtn"), QStringLiteral("clear"), "ID_Eraser_Clear", false);
    layout->addWidget(clear);
    m_group->button(m_type)->setChecked(true);

    connect(m_group, &QButtonGroup::idClicked, this, [this](int id) {
        m_type = EraserType(id);
        Q_EMIT eraserChanged(m_type);
        if (isWindow())
            hide();
    });
    connect(clear, &QToolButton::clicked, this, [this] {
        Q_EMIT eraserChanged(EraserClear);
        if (isWindow())
            hide();
    });
}

EraserMenu::~EraserMenu() = default;

QToolButton *EraserMenu::addButton(const QString &name, const QString &icon, const char *tip, bool checkable)
{
    auto *button = new QToolButton(this);
    button->setObjectName(name);
    button->setCheckable(checkable);
    button->setFixedSize(34, 34);
    button->setCursor(Qt::PointingHandCursor);
    button->setToolTip(OrvLang::text(tip));
    const QString base = QStringLiteral(":/homework/images/homework/%1").arg(icon);
    button->setStyleSheet(QStringLiteral("QToolButton#%1 { border: none; border-radius: 4px; image: url(%2.svg); padding: 5px; }"
                                         "QToolButton#%1:hover, QToolButton#%1:checked { image: url(%2_hover.svg); background: #EDF3FF; }")
                              .arg(name, base));
    return button;
}

void EraserMenu::setEraserType(EraserType type)
{
    m_type = type;
    if (QAbstractButton *button = m_group->button(type))
        button->setChecked(true);
}
