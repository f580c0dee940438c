// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QDialog>
#include <QMessageBox>

class QLabel;

/**
 * The client's themed message box: a frameless box with a title line, the text and its buttons
 * ("btnYes", "btnOk", "btnRetry", "btnNo", "btnCancel"; texts ID_Yes, ID_Ok, ID_Retry, ID_No,
 * ID_Cancel). Closing it
 * by the window's close button or Escape answers Cancel, or No when there is no Cancel.
 */
class OrvMessageBox : public QDialog
{
    Q_OBJECT
public:
    OrvMessageBox(QWidget *parent, const QString &title, const QString &text,
                  QMessageBox::StandardButtons buttons, QMessageBox::StandardButton defaultButton);
    ~OrvMessageBox() override;

    QMessageBox::StandardButton answer() const { return m_answer; }
    QString text() const;

    /// Modal; the button pressed.
    static QMessageBox::StandardButton question(QWidget *parent, const QString &title, const QString &text,
                                                QMessageBox::StandardButtons buttons = QMessageBox::Yes | QMessageBox::No,
                                                QMessageBox::StandardButton defaultButton = QMessageBox::No);
    static QMessageBox::StandardButton information(QWidget *parent, const QString &title, const QString &text);

    /// Escape and the close button: Cancel, or No without Cancel.
    void reject() override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;

private:
    QMessageBox::StandardButton m_answer = QMessageBox::NoButton;
    QMessageBox::StandardButton m_escapeAnswer = QMessageBox::Cancel;
    QLabel *m_text = nullptr;
    QPoint m_dragOffset;
};
