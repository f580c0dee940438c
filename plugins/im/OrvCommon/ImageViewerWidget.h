// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "ImageViewer.h"

#include <QWidget>

/// A plain widget that holds one ImageViewer (scroll bars off, centred) and forwards its setters.
class ImageViewerWidget : public QWidget
{
    Q_OBJECT
public:
    explicit ImageViewerWidget(QWidget *parent = nullptr);

    ImageViewer *viewer() const { return m_viewer; }
    OrvPainterBase::OrvPainter *getPainter() const { return m_viewer->getPainter(); }
    void setIsOrvX(bool value) { m_viewer->setIsOrvX(value); }
    void setIsOnline(bool value) { m_viewer->setIsOnline(value); }
    void setEditState(bool editing) { m_viewer->setEditState(editing); }
    void setEnableEdit(bool enable) { m_viewer->setEnableEdit(enable); }
    void setEnableRightClick(bool enable) { m_viewer->setEnableRightClick(enable); }
    void setEnableZoom(bool enable) { m_viewer->setEnableZoom(enable); }
    void setAuthority(bool authority) { m_viewer->setAuthority(authority); }
    void setIsInClassroom(bool value) { m_viewer->setIsInClassroom(value); }
    void setEnablePaintPixmap(bool enable) { m_viewer->setEnablePaintPixmap(enable); }
    void setBoardUseType(BoardUseType type) { m_viewer->setBoardUseType(type); }
    void setPainterBackgroundColor(QString color) { m_viewer->setPainterBackgroundColor(std::move(color)); }
    void setMoleNameAndSetupData(QString name) { m_viewer->setMoleNameAndSetupData(std::move(name)); }
    void loadPixmap(QPixmap pixmap) { m_viewer->loadPixmap(std::move(pixmap)); }

private:
    ImageViewer *m_viewer = nullptr;
};
