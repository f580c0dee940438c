// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QStackedWidget;

/**
 * Teen mode, as the client's settings offer it: turned on with a four-digit password entered
 * twice and a daily time limit; leaving it, or changing the limit, asks for the password again.
 * The state is kept in the settings store ("TeenMode", with a salted hash of the password, never
 * the password) and offered to the host by teenModeChanged(); the host enforces the limit.
 *
 * A damaged settings entry reads as "off", says so in the widget and in the log, and is left as
 * it was until the user turns teen mode on again.
 */
class TeenModeWidget : public QWidget
{
    Q_OBJECT
public:
    enum Page { OffPage = 0, SetupPage = 1, OnPage = 2, LeavePage = 3 };
    Q_ENUM(Page)

    struct State
    {
        bool enabled = false;
        int dailyLimitMinutes = 0;
        QString salt;         ///< hex
        QString passwordHash; ///< hex SHA-256 of salt and password
        int failedAttempts = 0;
        qint64 lockedUntil = 0; ///< ms since the epoch; wrong passwords lock the way out until then
        bool damaged = false; ///< the stored entry could not be read
    };

    static constexpr const char *SettingsKey = "TeenMode";
    static constexpr int PasswordLength = 4;
    /// Wrong passwords in a row before the way out locks, and for how long.
    static constexpr int MaxFailedAttempts = 5;
    static constexpr int LockMs = 10 * 60 * 1000;
    /// The daily limits offered, in minutes.
    static QList<int> dailyLimits() { return {40, 60, 90, 120}; }

    explicit TeenModeWidget(QWidget *parent = nullptr);

    /// The stored state, for a host at start-up.
    static State loadState();
    static bool isTeenModeOn() { return loadState().enabled; }

    Page currentPage() const;
    State state() const { return m_state; }

    // The steps a user takes, also reachable without the mouse.
    /// Shows the set-up page (from the off page).
    void startSetup();
    /// Turns teen mode on: both entries must be the same four digits. False with the reason shown.
    bool turnOn(const QString &password, const QString &confirmation, int dailyLimitMinutes);
    /// Shows the page asking for the password (from the on page).
    void startLeaving();
    /// Turns teen mode off with the password. False (and a message) for a wrong one, and while
    /// locked after MaxFailedAttempts wrong ones (the lock is kept in the settings too).
    bool turnOff(const QString &password);
    /// Changes the daily limit; needs the password too.
    bool changeDailyLimit(const QString &password, int dailyLimitMinutes);
    void cancel();

    QString message() const;
    QLineEdit *passwordEdit() const { return m_password; }
    QLineEdit *confirmEdit() const { return m_confirm; }
    QLineEdit *leaveEdit() const { return m_leavePassword; }
    QComboBox *limitBox() const { return m_limit; }

Q_SIGNALS:
    void teenModeChanged(bool enabled, int dailyLimitMinutes);

private:
    static bool isValidPassword(const QString &password);
    static QString hashOf(const QString &salt, const QString &password);
    bool checkPassword(const QString &password) const;
    /// Checks a password given to leave or change the limit, counting failures and locking.
    bool acceptPassword(const QString &password);
    bool store(const State &state);
    void showPage(Page page);
    void setMessage(const QString &text);
    void refreshOnPage();

    State m_state;
    QStackedWidget *m_pages;
    QLabel *m_message;
    QLineEdit *m_password;
    QLineEdit *m_confirm;
    QComboBox *m_limit;
    QLabel *m_onStatus;
    QComboBox *m_onLimit;
    QLineEdit *m_leavePassword;
};
