// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QWidget>

class CloudFileSelectBaseWidget;
class QLabel;
class QPushButton;
class QStackedWidget;

/**
 * A fixed-size file picker frame: a navigation bar (title and one button per page, a close
 * button at the right) above a stack of CloudFileSelectBaseWidget pages.
 */
class CloudFileSelectTabBaseWidget : public QWidget
{
    Q_OBJECT
public:
    static constexpr int FrameWidth = 820;
    static constexpr int FrameHeight = 580;
    static constexpr int NavigationHeight = 48;

    explicit CloudFileSelectTabBaseWidget(quint64 id, QWidget *parent = nullptr);

    quint64 id() const { return m_id; }
    /// The last parameters a page picked, JSON text.
    QString params() const { return m_params; }
    int pageCount() const;
    CloudFileSelectBaseWidget *page(int index) const;
    int currentPage() const;
    void setCurrentPage(int index);

Q_SIGNALS:
    void clickBtnOk(const QString &params);

protected:
    /// A new page for the stack; its picks are forwarded as clickBtnOk.
    CloudFileSelectBaseWidget *createSelectBaseWidget();
    /// Adds page under a navigation button titled title.
    void addPage(const QString &title, CloudFileSelectBaseWidget *page);
    void adjustBtnPos();
    void showEvent(QShowEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    quint64 m_id;
    QString m_params;
    QString m_sheet;
    QWidget *m_navigation = nullptr;
    QLabel *m_title = nullptr;
    QPushButton *m_closeButton = nullptr;
    QList<QPushButton *> m_pageButtons;
    QWidget *m_content = nullptr;
    QStackedWidget *m_stack = nullptr;
};
