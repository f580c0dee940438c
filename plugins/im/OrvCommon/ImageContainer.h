// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QFutureWatcher>
#include <QImage>
#include <QPixmap>
#include <QPointer>
#include <QVector>
#include <QWidget>

#include "orvpainter.h"

/// What a picture with an annotation layer is used for.
enum BoardUseType {
    BoardUseGeneral = 0,
    BoardUseHomework = 1,   ///< grading homework pictures
    BoardUseScreenshot = 2, ///< a screen capture being annotated
    BoardUseEditor = 3,     ///< the picture editor
};

/**
 * A picture with its annotation layer (OrvPainterBase::OrvPainter) on top, drawn at the
 * container's size. The container does not zoom itself: the wheel, accumulated process-wide
 * (steps of 20), is forwarded as signalZoomin / signalZoomout with the point under the cursor,
 * for the owner (ImageViewer) to act on.
 *
 * Large pictures shown much smaller than their size are drawn from smoothly reduced copies made
 * on a worker thread, so a zoom step redraws only what shows.
 */
class ImageContainer : public QWidget
{
    Q_OBJECT
public:
    explicit ImageContainer(QWidget *parent = nullptr);
    ~ImageContainer() override;

    void setIsOrvX(bool value) { m_isOrvX = value; }
    bool isOrvX() const { return m_isOrvX; }
    void setIsOnline(bool value) { m_isOnline = value; }
    bool isOnline() const { return m_isOnline; }
    QString getMoleName() const { return m_moleName; }
    void setMoleName(QString name) { m_moleName = std::move(name); }
    /// Input to the annotation layer: only in edit state, and only with authority.
    void setEditState(bool editing);
    bool editState() const { return m_editState; }
    void setAuthority(bool authority);
    bool authority() const { return m_authority; }
    void setEnableZoom(bool enable) { m_enableZoom = enable; }
    bool isZoomEnabled() const { return m_enableZoom; }
    void setIsInClassroom(bool value) { m_inClassroom = value; }
    /// false: the picture is not drawn, only the painter's background colour (a blank board).
    void setEnablePaintPixmap(bool enable);
    void setEnableDeleteHomeworkGrade(bool enable) { m_deleteHomeworkGrade = enable; }
    bool enableDeleteHomeworkGrade() const { return m_deleteHomeworkGrade; }
    void setPainterBackgroundColor(QString color);
    void setBoardUseType(BoardUseType type) { m_boardUseType = type; }
    BoardUseType boardUseType() const { return m_boardUseType; }
    void setMultiPainter(bool multi) { m_multiPainter = multi; }
    bool multiPainter() const { return m_multiPainter; }
    void setHomeworkIsTeacher(bool teacher) { m_homeworkIsTeacher = teacher; }
    bool homeworkIsTeacher() const { return m_homeworkIsTeacher; }
    QPixmap getPixmap() const { return m_pixmap; }
    void setPixmap(QPixmap pixmap);
    OrvPainterBase::OrvPainter *getPainter() const { return m_painter; }

    /// A layer over the picture whose scene is size (the picture's pixels), keyed by the mole name.
    void addPainter(QSize size);
    /// The layer goes; what it holds stays stored under the mole name.
    void deleteAllPainter();
    /// Removes every annotation.
    void clearOrvPainter();
    void setMoleNameAndSetupData(QString name);
    void resetPainterTool();
    void savePainterTool();
    void restorePainterTool();

    /// Picture plus annotations at the picture's full size; false (and a log line) on failure.
    bool saveImage(const QString &path, QPixmap pixmap);

    /// The process-wide wheel accumulator of the containers.
    static int wheelAccumulator();
    static void resetWheelAccumulator();

Q_SIGNALS:
    void signalZoomin(QPoint pos);
    void signalZoomout(QPoint pos);
    void signalActived();
    void addWhiteBoardToManager(QGraphicsView *painter);
    void signalDataModified(int itemCount);
    void signalHomeworkGradeChange();
    void signalRequestHomeworkFile(QString fileId);
    void signalClickOnItemShowTips(int type);
    void signalShotFinished();
    void signalShotCanceled();

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;

private:
    void applyPainterInput();
    const QPixmap &sourceFor(double scale) const;
    void buildReductions();

    QPixmap m_pixmap;
    QVector<QPixmap> m_reductions; ///< halves, quarters, ... of m_pixmap
    QFutureWatcher<QVector<QImage>> m_reductionWatcher;
    QPointer<OrvPainterBase::OrvPainter> m_painter;
    QString m_moleName;
    QColor m_background = Qt::white;
    bool m_isOrvX = false;
    bool m_isOnline = false;
    bool m_editState = false;
    bool m_authority = true;
    bool m_enableZoom = true;
    bool m_inClassroom = false;
    bool m_paintPixmap = true;
    bool m_deleteHomeworkGrade = false;
    bool m_multiPainter = false;
    bool m_homeworkIsTeacher = false;
    BoardUseType m_boardUseType = BoardUseGeneral;
};
