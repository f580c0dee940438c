// SPDX-License-Identifier: LGPL-2.1-or-later
#include "cloudfileselecttabbasewidget.h"

#include "cloudfileselectbasewidget.h"
#include "cloudstyle.h"
#include "orvlang.h"

#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace {

constexpr int kMargin = 20;
constexpr int kButtonGap = 8;
constexpr int kCloseSize = 24;

} // namespace

CloudFileSelectTabBaseWidget::CloudFileSelectTabBaseWidget(quint64 id, QWidget *parent)
    : QWidget(parent)
    , m_id(id)
{
    setObjectName(QStringLiteral("CloudFileSelectTabBaseWidget"));
    setFixedSize(FrameWidth, FrameHeight);
    setWindowFlags(windowFlags() | Qt::FramelessWindowHint);

    m_content = new QWidget(this);
    m_content->setObjectName(QStringLiteral("contentWidget"));
    m_content->setAttribute(Qt::WA_StyledBackground);

    m_navigation = new QWidget(m_content);
    m_navigation->setObjectName(QStringLiteral("navigationWidget"));
    m_navigation->setAttribute(Qt::WA_StyledBackground);
    m_navigation->setFixedHeight(NavigationHeight);
    m_navigation->setStyleSheet(CloudStyle::styleSheet(QStringLiteral("CloudFileSelectTabBaseWidget_navigation")));

    m_title = new QLabel(OrvLang::text("ID_SelectFiles"), m_navigation);
    m_title->setObjectName(QStringLiteral("label"));
    m_closeButton = new QPushButton(m_navigation);
    m_closeButton->setObjectName(QStringLiteral("closeBtn"));
    m_closeButton->setFixedSize(kCloseSize, kCloseSize);
    m_closeButton->setText(QStringLiteral("\u2715"));
    m_closeButton->setCursor(Qt::PointingHandCursor);
    connect(m_closeButton, &QPushButton::clicked, this, &QWidget::close);

    m_stack = new QStackedWidget(m_content);
    m_stack->setObjectName(QStringLiteral("stackedWidget"));

    auto *contentLayout = new QVBoxLayout(m_content);
    contentLayout->setContentsMargins(0, 0, 0, 0);
    contentLayout->setSpacing(0);
    contentLayout->addWidget(m_navigation);
    contentLayout->addWidget(m_stack, 1);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_content);

    // The bar's own sheet has no selector and would draw its bottom border under the title and
    // the buttons too; their own copy of the frame's sheet wins over it.
    m_sheet = CloudStyle::styleSheet(QStringLiteral("CloudFileSelectTabBaseWidget"));
    setStyleSheet(m_sheet);
    m_title->setStyleSheet(m_sheet);
    m_closeButton->setStyleSheet(m_sheet);
}

int CloudFileSelectTabBaseWidget::pageCount() const
{
    return m_stack->count();
}

CloudFileSelectBaseWidget *CloudFileSelectTabBaseWidget::page(int index) const
{
    return qobject_cast<CloudFileSelectBaseWidget *>(m_stack->widget(index));
}

int CloudFileSelectTabBaseWidget::currentPage() const
{
    return m_stack->currentIndex();
}

void CloudFileSelectTabBaseWidget::setCurrentPage(int index)
{
    if (index < 0 || index >= m_stack->count())
        return;
    m_stack->setCurrentIndex(index);
    for (int i = 0; i < m_pageButtons.size(); ++i)
        m_pageButtons.at(i)->setChecked(i == index);
}

CloudFileSelectBaseWidget *CloudFileSelectTabBaseWidget::createSelectBaseWidget()
{
    auto *page = new CloudFileSelectBaseWidget(m_stack);
    // The navigation bar switches pages; a page's own tab bar only shows for several tabs.
    page->setTabBarAutoHide(true);
    connect(page, &CloudFileSelectBaseWidget::clickBtnOk, this, [this](const QString &params) {
        m_params = params;
        Q_EMIT clickBtnOk(params);
    });
    return page;
}

void CloudFileSelectTabBaseWidget::addPage(const QString &title, CloudFileSelectBaseWidget *page)
{
    const int index = m_stack->addWidget(page);
    auto *button = new QPushButton(title, m_navigation);
    button->setObjectName(QStringLiteral("pageBtn"));
    button->setCheckable(true);
    button->setFlat(true);
    button->setCursor(Qt::PointingHandCursor);
    button->setStyleSheet(m_sheet);
    connect(button, &QPushButton::clicked, this, [this, index] { setCurrentPage(index); });
    m_pageButtons << button;
    // A single page needs no switch.
    for (QPushButton *b : qAsConst(m_pageButtons))
        b->setVisible(m_pageButtons.size() > 1);
    if (m_stack->count() == 1)
        setCurrentPage(0);
    adjustBtnPos();
}

void CloudFileSelectTabBaseWidget::adjustBtnPos()
{
    const int height = m_navigation->height() > 0 ? m_navigation->height() : NavigationHeight;
    m_title->adjustSize();
    m_title->move(kMargin, (height - m_title->height()) / 2);
    int x = m_title->x() + m_title->width() + 2 * kMargin;
    for (QPushButton *button : qAsConst(m_pageButtons)) {
        button->adjustSize();
        button->move(x, (height - button->height()) / 2);
        x += button->width() + kButtonGap;
    }
    m_closeButton->move(width() - kMargin - m_closeButton->width(), (height - m_closeButton->height()) / 2);
}

void CloudFileSelectTabBaseWidget::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    adjustBtnPos();
}

void CloudFileSelectTabBaseWidget::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    adjustBtnPos();
}
