// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvcolorpickerwidget.h"

#include "orvlang.h"

#include <QButtonGroup>
#include <QColorDialog>
#include <QGridLayout>
#include <QToolButton>

namespace {

const char *const Palette[] = {"#FFFFFF", "#000000", "#8C8C8C", "#FF9A2E", "#F33B1F",
                               "#FFD21F", "#2BC66E", "#2F7BFF", "#8B55E8", "#FF6FB5"};
constexpr int PaletteCount = int(sizeof(Palette) / sizeof(Palette[0]));
constexpr int Columns = 5;

QString swatchStyle(const QString &name, const QString &fill)
{
    return QStringLiteral("QToolButton#%1 { background: %2; border: 1px solid #D9D9D9; border-radius: 11px; }"
                          "QToolButton#%1:hover { border: 2px solid #BFBFBF; }"
                          "QToolButton#%1:checked { border: 2px solid #2F7BFF; }")
        .arg(name, fill);
}

} // namespace

OrvColorPickerWidget::OrvColorPickerWidget(QWidget *parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("OrvColorPickerWidget"));
    auto *grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(8);
    grid->setVerticalSpacing(8);
    m_group = new QButtonGroup(this);
    m_group->setExclusive(true);
    for (int i = 0; i < PaletteCount; ++i) {
        auto *button = new QToolButton(this);
        const QString name = QStringLiteral("colorBtn_%1").arg(i);
        button->setObjectName(name);
        button->setCheckable(true);
        button->setFixedSize(22, 22);
        button->setCursor(Qt::PointingHandCursor);
        button->setToolTip(QLatin1String(Palette[i]));
        button->setStyleSheet(swatchStyle(name, QLatin1String(Palette[i])));
        m_group->addButton(button, i);
        grid->addWidget(button, i / Columns, i % Columns);
    }
    m_customBtn = new QToolButton(this);
    m_customBtn->setObjectName(QStringLiteral("customColorBtn"));
    m_customBtn->setCheckable(true);
    m_customBtn->setFixedSize(22, 22);
    m_customBtn->setCursor(Qt::PointingHandCursor);
    m_customBtn->setToolTip(OrvLang::text("ID_CustomColor"));
    grid->addWidget(m_customBtn, 0, Columns, 2, 1, Qt::AlignCenter);
    m_group->addButton(m_customBtn, PaletteCount);
    updateCustomButton();
    m_group->button(m_index)->setChecked(true);

    connect(m_group, &QButtonGroup::idClicked, this, [this](int id) {
        if (id == PaletteCount) {
            // Back to what was current until the dialog says otherwise.
            if (m_index >= 0)
                m_group->button(m_index)->setChecked(true);
            else
                m_customBtn->setChecked(true);
            openCustomDialog();
            return;
        }
        m_index = id;
        Q_EMIT colorChanged(id);
    });
}

OrvColorPickerWidget::~OrvColorPickerWidget()
{
    delete m_dialog.data();
}

int OrvColorPickerWidget::paletteSize()
{
    return PaletteCount;
}

QColor OrvColorPickerWidget::paletteColor(int index)
{
    if (index < 0 || index >= PaletteCount)
        return QColor();
    return QColor(QLatin1String(Palette[index]));
}

QColor OrvColorPickerWidget::currentColor() const
{
    return m_index >= 0 ? paletteColor(m_index) : m_custom;
}

void OrvColorPickerWidget::setCurrentIndex(int index)
{
    if (index < 0 || index >= PaletteCount)
        return;
    m_index = index;
    m_group->button(index)->setChecked(true);
}

void OrvColorPickerWidget::setCustomColor(const QColor &color)
{
    if (!color.isValid())
        return;
    m_custom = color;
    m_index = -1;
    updateCustomButton();
    m_customBtn->setChecked(true);
}

void OrvColorPickerWidget::updateCustomButton()
{
    // A rainbow until a custom colour is chosen, then that colour.
    const QString fill = m_custom.isValid()
        ? m_custom.name()
        : QStringLiteral("qconicalgradient(cx:0.5, cy:0.5, angle:0, stop:0 #FF0000, stop:0.17 #FFFF00, "
                         "stop:0.33 #00FF00, stop:0.5 #00FFFF, stop:0.67 #0000FF, stop:0.83 #FF00FF, stop:1 #FF0000)");
    m_customBtn->setStyleSheet(swatchStyle(m_customBtn->objectName(), fill));
}

QColorDialog *OrvColorPickerWidget::openCustomDialog()
{
    if (!m_dialog) {
        // Not a child of a popup box, which closes as soon as the dialog takes the focus.
        QWidget *owner = window();
        while (owner && (owner->windowFlags() & Qt::Popup) == Qt::Popup && owner->parentWidget())
            owner = owner->parentWidget()->window();
        m_dialog = new QColorDialog(currentColor(), owner);
        m_dialog->setObjectName(QStringLiteral("customColorDialog"));
        m_dialog->setWindowTitle(OrvLang::text("ID_CustomColor"));
        m_dialog->setWindowModality(Qt::NonModal);
        connect(m_dialog, &QColorDialog::colorSelected, this, [this](const QColor &color) {
            setCustomColor(color);
            Q_EMIT colorPickFinish(color);
        });
    }
    m_dialog->setCurrentColor(currentColor());
    m_dialog->show();
    m_dialog->raise();
    return m_dialog;
}
