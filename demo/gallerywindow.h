// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "demopage.h"

#include <QMainWindow>
#include <QSet>
#include <vector>

class QListWidget;
class QStackedWidget;

class GalleryWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit GalleryWindow(QWidget *parent = nullptr);
    /// Shows the page with that id; false when there is none.
    bool showPage(const QString &id);

private:
    void showRow(int row);

    std::vector<DemoPageInfo> m_pages;
    QListWidget *m_list;
    QStackedWidget *m_stack;
    QSet<int> m_built;
};
