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
    auto pages = DemoPages::all();
    std::sort(pages.begin(), pages.end(), [](const DemoPageInfo &a, const DemoPageInfo &b) { return a.order < b.order; });
    for (const DemoPageInfo &page : pages) {
        m_list->addItem(page.title);
        m_stack->addWidget(page.create(m_stack));
        m_ids << page.id;
    }
    m_list->setFixedWidth(170);
    connect(m_list, &QListWidget::currentRowChanged, m_stack, &QStackedWidget::setCurrentIndex);
    auto *central = new QWidget;
    auto *layout = new QHBoxLayout(central);
    layout->addWidget(m_list);
    layout->addWidget(m_stack, 1);
    setCentralWidget(central);
    m_list->setCurrentRow(0);
    resize(1180, 760);
}

bool GalleryWindow::showPage(const QString &id)
{
    const int row = m_ids.indexOf(id);
    if (row < 0)
        return false;
    m_list->setCurrentRow(row);
    return true;
}
