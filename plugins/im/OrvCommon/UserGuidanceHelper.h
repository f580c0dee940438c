// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>
#include <QString>

/**
 * Serves the first-use guidance widgets: turns a click on a step's item into the real action
 * (through ImSignalObject), tracks it ("NPCguide") and tells the widgets the step was handled.
 * Also keeps the few values the guidance needs across widgets.
 */
class UserGuidanceHelper : public QObject
{
    Q_OBJECT
public:
    static UserGuidanceHelper *getInstance();

    void setWelcomes(const QString &welcomes) { m_welcomes = welcomes; }
    QString getWelcomes() const { return m_welcomes; }
    void setCourseId(quint64 courseId) { m_courseId = courseId; }
    quint64 getCourseId() const { return m_courseId; }
    void setPackageName(const QString &packageName) { m_packageName = packageName; }
    QString getPackageName() const { return m_packageName; }
    void setHasSelectTeacher(bool hasSelectTeacher) { m_hasSelectTeacher = hasSelectTeacher; }
    bool getHasSelectTeacher() const { return m_hasSelectTeacher; }
    void setNeedProcess(bool needProcess) { m_needProcess = needProcess; }
    bool getNeedProcess() const { return m_needProcess; }

    /// Sends the "NPCguide" click event of a step (1 homework, 2 notice, anything else create class).
    void trackNPCGuide(int step);

Q_SIGNALS:
    // Emitted by the guidance widget when the user clicks a step's item.
    void clickedNPCStep1Item(const QString &url, quint64 courseId);
    void clickedNPCStep2Item(quint64 courseId);
    void clickedNPCStep3Item(quint64 courseId);
    // Emitted by the helper once the click was handled.
    void clickedNPCStep1();
    void clickedNPCStep2();
    void clickedNPCStep3();
    void closedUserGuidanceWidget();

private Q_SLOTS:
    void onClickedNPCStep1Item(const QString &url, quint64 courseId);
    void onClickedNPCStep2Item(quint64 courseId);
    void onClickedNPCStep3Item(quint64 courseId);

private:
    UserGuidanceHelper();
    ~UserGuidanceHelper() override;

    QString m_welcomes;
    quint64 m_courseId = 0;
    QString m_packageName;
    bool m_hasSelectTeacher = false;
    bool m_needProcess = false;
};
