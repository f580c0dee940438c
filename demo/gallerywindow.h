// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QMainWindow>

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
    QListWidget *m_list;
    QStackedWidget *m_stack;
    QStringList m_ids;
};
