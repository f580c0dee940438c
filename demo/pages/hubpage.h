// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QList>
#include <QPointer>
#include <QTemporaryDir>
#include <QWidget>
#include <vector>

class PopupsSrategyBaseItem;
class QCheckBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QTableWidget;

/// The popup chain after sign-in, driven live from the reference engines, and the hub's
/// micro-lecture finishing flow on videos written on the spot.
class HubPage : public QWidget
{
    Q_OBJECT
public:
    explicit HubPage(QWidget *parent = nullptr);
    ~HubPage() override;

private:
    QWidget *buildChainPanel();
    QWidget *buildMicrolecturePanel();

    // Popup chain
    void restartChain();
    void signIn();
    void closeShownPopup();
    void refreshItems();
    void logInput(const QString &text);
    void onDoit(PopupsSrategyBaseItem *item);

    // Micro-lecture
    void finishRecording();
    void logMedia(const QString &text);

    QString m_mac;

    QCheckBox *m_weakPassword = nullptr;
    QCheckBox *m_guidance = nullptr;
    QCheckBox *m_upgradeSuggested = nullptr;
    QCheckBox *m_serverNoMore = nullptr;
    QCheckBox *m_schoolPending = nullptr;
    QCheckBox *m_activityDue = nullptr;
    QLineEdit *m_nickname = nullptr;
    QTableWidget *m_items = nullptr;
    QListWidget *m_doits = nullptr;
    QListWidget *m_inputs = nullptr;
    QList<QPointer<PopupsSrategyBaseItem>> m_shown; ///< popups on screen, newest last

    QTemporaryDir m_mediaDir;
    int m_run = 0;
    QCheckBox *m_closeClassroom = nullptr;
    QCheckBox *m_brokenPart = nullptr;
    QListWidget *m_mediaLog = nullptr;
    QLabel *m_cover = nullptr;
    QLabel *m_draftArgs = nullptr;
};
