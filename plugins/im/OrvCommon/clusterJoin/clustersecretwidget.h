// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clusterjoininfo.h"

#include <QWidget>

class QPushButton;
class QTextBrowser;

/**
 * The invitation-link page of the join panel: a read-only text (who invites, the class or
 * course, its number, the link, how to join) and one button that copies it.
 */
class ClusterSecretWidget : public QWidget
{
    Q_OBJECT
public:
    ClusterSecretWidget(int mode, bool isPublicCourse, QWidget *parent = nullptr);

    void setInfo(const ClusterJoinInfo &info);
    ClusterJoinInfo info() const { return m_info; }
    QString getSNCode() const { return m_info.snCode; }
    /// The invitation as the clipboard gets it.
    QString plainText() const;
    QString html() const;
    /// "zh" and "zh-tw" write dates year first; read from the setting "Language" unless set here.
    void setLanguage(const QString &language);
    QString language() const;
    /// The start time as the invitation writes it, in Beijing time.
    static QString formatTime(const QDateTime &time, const QString &language);

    QTextBrowser *textBlock() const { return m_text; }
    QPushButton *copyButton() const { return m_copy; }

public Q_SLOTS:
    void copyBtnSlot();
    void onGoToOpenBtnChicked();
    /// Writes the text again (after the page was shown, or the data changed).
    void refresh();

Q_SIGNALS:
    void isButtonClicked();

private:
    QList<QPair<QString, QString>> lines() const;

    int m_mode;
    bool m_isPublic;
    QString m_language;
    ClusterJoinInfo m_info;
    QTextBrowser *m_text;
    QPushButton *m_copy;
};
