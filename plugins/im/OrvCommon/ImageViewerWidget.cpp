// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ImageViewerWidget.h"

#include <QVBoxLayout>

ImageViewerWidget::ImageViewerWidget(QWidget *parent)
    : QWidget(parent)
    , m_viewer(new ImageViewer(this))
{
    m_viewer->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_viewer->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_viewer->setAlignment(Qt::AlignCenter);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_viewer);
}
