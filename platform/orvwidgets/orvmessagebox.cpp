// SPDX-License-Identifier: LGPL-2.1-or-later
#include "orvmessagebox.h"

#include "orvlang.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

OrvMessageBox::OrvMessageBox(QWidget *parent, const QString &title, const QString &text,
                             QMessageBox::StandardButtons buttons, QMessageBox::StandardButton defaultButton)
    : QDialog(parent, Qt::Dialog | Qt::FramelessWindowHint)
{
    setObjectName(QStringLiteral("OrvMessageBox"));
    setAttribute(Qt::WA_TranslucentBackground);
    setWindowTitle(title);
    setMinimumWidth(360);
    setStyleSheet(QStringLiteral(
        "QLabel#messageTitle { color: #333333; font-size: 14px; font-weight: bold; }"
        "QLabel#messageText { color: #333333; font-size: 13px; }"
        "QPushButton { min-width: 72px; min-height: 28px; border-radius: 4px; font-size: 13px;"
        " border: 1px solid #D9D9D9; background: #FFFFFF; color: #333333; }"
        "QPushButton:hover { border-color: #2F7BFF; color: #2F7BFF; }"
        "QPushButton:default { background: #2F7BFF; border-color: #2F7BFF; color: #FFFFFF; }"));

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 18, 24, 18);
    layout->setSpacing(14);
    auto *titleLabel = new QLabel(title, this);
    titleLabel->setObjectName(QStringLiteral("messageTitle"));
    layout->addWidget(titleLabel);
    m_text = new QLabel(text, this);
    m_text->setObjectName(QStringLiteral("messageText"));
    m_text->setWordWrap(true);
    m_text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(m_text, 1);

    auto *row = new QHBoxLayout;
    row->addStretch();
    struct Kind
    {
        QMessageBox::StandardButton button;
        const char *name;
        const char *textId;
    };
    const Kind kinds[] = {{QMessageBox::Yes, "btnYes", "ID_Yes"},
                          {QMessageBox::Ok, "btnOk", "ID_Ok"},
                          {QMessageBox::Retry, "btnRetry", "ID_Retry"},
                          {QMessageBox::No, "btnNo", "ID_No"},
                          {QMessageBox::Cancel, "btnCancel", "ID_Cancel"}};
    if (!(buttons & QMessageBox::Cancel))
        m_escapeAnswer = (buttons & QMessageBox::No) ? QMessageBox::No : QMessageBox::Ok;
    for (const Kind &kind : kinds) {
        if (!(buttons & kind.button))
            continue;
        auto *button = new QPushButton(OrvLang::text(kind.textId), this);
        button->setObjectName(QLatin1String(kind.name));
        button->setDefault(kind.button == defaultButton);
        button->setAutoDefault(kind.button == defaultButton);
        const QMessageBox::StandardButton answer = kind.button;
        connect(button, &QPushButton::clicked, this, [this, answer] {
            m_answer = answer;
            done(answer);
        });
        row->addWidget(button);
    }
    layout->addLayout(row);
}

OrvMessageBox::~OrvMessageBox() = default;

QString OrvMessageBox::text() const
{
    return m_text->text();
}

void OrvMessageBox::reject()
{
    m_answer = m_escapeAnswer;
    done(m_answer);
}

void OrvMessageBox::paintEvent(QPaintEvent *event)
{
    Q_UNUSED(event)
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(QColor(0, 0, 0, 40), 1));
    p.setBrush(Qt::white);
    p.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
}

void OrvMessageBox::mousePressEvent(QMouseEvent *event)
{
    // Frameless: dragged by any free spot.
    if (event->button() == Qt::LeftButton)
        m_dragOffset = event->globalPos() - frameGeometry().topLeft();
    QDialog::mousePressEvent(event);
}

void OrvMessageBox::mouseMoveEvent(QMouseEvent *event)
{
    if (event->buttons() & Qt::LeftButton)
        move(event->globalPos() - m_dragOffset);
    QDialog::mouseMoveEvent(event);
}

QMessageBox::StandardButton OrvMessageBox::question(QWidget *parent, const QString &title, const QString &text,
                                                    QMessageBox::StandardButtons buttons,
                                                    QMessageBox::StandardButton defaultButton)
{
    OrvMessageBox box(parent, title, text, buttons, defaultButton);
    box.exec();
    return box.answer();
}

QMessageBox::StandardButton OrvMessageBox::information(QWidget *parent, const QString &title, const QString &text)
{
    return question(parent, title, text, QMessageBox::Ok, QMessageBox::Ok);
}
