// SPDX-License-Identifier: LGPL-2.1-or-later
#include "gallerywindow.h"
#include "demopage.h"

#include <QHBoxLayout>
#include <QListWidget>
#include <QStackedWidget>
#include <algorithm>

GalleryWindow::GalleryWindow(QWidget *parent)
    : QMainWindow(parent)
    , m_list(new QListWidget)
    , m_stack(new QStackedWidget)
{
    setWindowTitle(tr("OrvCommon gallery"));
    m_pages = DemoPages::all();
    std::sort(m_pages.begin(), m_pages.end(),
              [](const DemoPageInfo &a, const DemoPageInfo &b) { return a.order < b.order; });
    // Pages are built when first shown: some start services or load web pages.
    for (const DemoPageInfo &page : m_pages) {
        m_list->addItem(page.title);
        m_stack->addWidget(new QWidget);
    }
    // As wide as the longest title, so none is cut off.
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_list->setFixedWidth(m_list->sizeHintForColumn(0) + 2 * m_list->frameWidth() + 16);
    connect(m_list, &QListWidget::currentRowChanged, this, &GalleryWindow::showRow);
    auto *central = new QWidget;
    auto *layout = new QHBoxLayout(central);
    layout->addWidget(m_list);
    layout->addWidget(m_stack, 1);
    setCentralWidget(central);
    m_list->setCurrentRow(0);
    resize(1280, 800);
}

bool GalleryWindow::showPage(const QString &id)
{
    const auto it = std::find_if(m_pages.cbegin(), m_pages.cend(), [&id](const DemoPageInfo &p) { return p.id == id; });
    if (it == m_pages.cend())
        return false;
    m_list->setCurrentRow(int(it - m_pages.cbegin()));
    return true;
}

void GalleryWindow::showRow(int row)
{
    if (row < 0 || row >= int(m_pages.size()))
        return;
    if (!m_built.contains(row)) {
        QWidget *placeholder = m_stack->widget(row);
        m_stack->insertWidget(row, m_pages[size_t(row)].create(m_stack));
        m_stack->removeWidget(placeholder);
        delete placeholder;
        m_built.insert(row);
    }
    m_stack->setCurrentIndex(row);
}
