// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "clusterid.h"
#include "clusterjoininfo.h"

#include <QList>
#include <QPointer>
#include <QTimer>
#include <QWidget>
#include <vector>

class ClusterQRCodeWidget;
class ClusterSecretWidget;
class ContactsSelectViewModel;
class QStackedWidget;
class QTabWidget;
class WaitingSpinnerWidget;

/**
 * The panel through which a teacher brings people into a class or a public course: by picking
 * contacts, by an invitation link with its text, or by a QR code. Before the pages show anything
 * it asks the web API for the course's join links and checks the school; a course that is not
 * open to joining gets a page saying so instead.
 *
 * Constructor arguments: the school and course; withContacts adds the contacts tab first;
 * playback adds a second QR page for the playback (only without the contacts tab); mode is
 * handed to the pages: 0 a member of the class, 1 someone who may change the class's setting
 * (the closed page offers the way there), 2 an invitation for phones (the QR caption says a long
 * press works); isPublicCourse; haveAccess (without it the QR page shows the no-access picture).
 *
 * Failures (a refused request, a reply that is not what it should be) are shown in a message box,
 * then signalReject() asks the owner to close the panel. A school that is not the one asked for
 * rejects without a message. The 20-second time-out only hides the spinner.
 */
class ClusterJoinWidget : public QWidget
{
    Q_OBJECT
public:
    static constexpr int RequestTimeoutMs = 20000;

    ClusterJoinWidget(quint64 schoolId, quint64 courseId, bool withContacts, bool playback, int mode,
                      QWidget *parent = nullptr, bool isPublicCourse = false, bool haveAccess = true);
    ~ClusterJoinWidget() override;

    void setTabWidgetIndex(int index);
    int currentIndex() const;
    void setDisableUsers(const std::vector<quint64> &uids);
    QList<OrvEngine::ClusterID> getSelectedContacts() const;
    std::vector<quint64> getSelectedUsers() const;
    void setIsHaveAccess(bool access);
    QString getSNCode() const;
    /// The contacts tab: at most maxCount picks (0: no limit), only enabled people, only this school's.
    void setContactsSelectConfig(int maxCount, bool enabledOnly, bool onlyThisSchool);
    /// Offers the contacts of every school, not only this one's.
    void clearFilterSchool();

    // What tests and hosts look at.
    QTabWidget *tabWidget() const { return m_tabs; }
    ContactsSelectViewModel *contactsViewModel() const { return m_contacts; }
    ClusterSecretWidget *secretWidget() const { return m_secret; }
    ClusterQRCodeWidget *qrCodeWidget() const { return m_qrCode; }
    ClusterQRCodeWidget *playbackQrCodeWidget() const { return m_playbackQrCode; }
    WaitingSpinnerWidget *spinner() const { return m_spinner; }
    const QTimer &requestTimer() const { return m_requestTimer; }
    bool isClosedPageShown() const;
    bool isBlankContactsPageShown() const;
    ClusterJoinInfo joinInfo() const { return m_info; }
    QString schoolName() const { return m_schoolName; }
    bool isSchoolSettingReady() const { return m_schoolSettingReady; }

Q_SIGNALS:
    void signalAccept();
    void signalReject();

public Q_SLOTS:
    void onGoToOpenBtnChicked();
    void onGetOpenCourseUrlFinished(const QString &openCourseUrl, const QString &openQRCodeUrl, int networkError, int errorNo,
                                    const QString &errorJsonString);
    void onGetSchoolInfo(const QByteArray &replyJsonData, int networkError, int errorNo, const QString &errorString);
    void getSchoolSettingFinished(quint64 schoolId, int networkError, int errorNo, const QString &errorString);
    void onCourseInfoChanged(quint64 schoolId, quint64 courseId);
    void onUpdateClusterInfo(const std::vector<OrvEngine::ClusterID> &clusters);
    void requestTimeout();
    void onCurrentChanged(int index);

protected:
    virtual void setUiText();
    virtual void requestData();
    virtual void setUiData();
    void showEvent(QShowEvent *event) override;

private:
    void initWaitingSpinnerWidget();
    void stopLoading();
    void fail(const QString &text);
    void updateOpenState();
    QWidget *createContactsPage();
    QWidget *createBlankWidget();
    QWidget *createDisableOpenClassWidget(int mode);

    WaitingSpinnerWidget *m_spinner = nullptr;
    QTimer m_requestTimer;
    QStackedWidget *m_content;  // the tabs, or the closed-course page
    QStackedWidget *m_pages = nullptr; // the contacts tab: the list, or the blank page
    QTabWidget *m_tabs;
    QWidget *m_closedPage;
    ClusterQRCodeWidget *m_qrCode;
    ClusterSecretWidget *m_secret;
    ClusterQRCodeWidget *m_playbackQrCode = nullptr;
    ContactsSelectViewModel *m_contacts = nullptr;
    QString m_openCourseUrl;
    QString m_qrCodeUrl;
    quint64 m_schoolId;
    quint64 m_courseId;
    bool m_withContacts;
    bool m_playback;
    int m_mode;
    bool m_isPublic;
    bool m_haveAccess;
    QString m_schoolName;
    ClusterJoinInfo m_info;
    bool m_schoolSettingReady = false;
    bool m_rejected = false;
    bool m_tracked = false;
};
