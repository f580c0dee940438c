// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>

/// The popups owed after sign-in; the numbers are stable.
enum PopupsSrategyType : int {
    PopupsSrategyForceUpgrade = 1,
    PopupsSrategyForceGrayUpgrade = 2,
    PopupsSrategyUserGuiance = 3,
    PopupsSrategyGrayUpgrade = 4,
    PopupsSrategyWeakupPasswd = 5,
    PopupsSrategyUserAvatar = 6,
    PopupsSrategyAuthNormal = 7,
    PopupsSrategyScreen = 8,
    PopupsSrategyOps = 9,
    PopupsSrategyClassList = 10,
};

/// Priority group of a popup; level 0 is served first.
enum PopupsSrategyLevel : int {
    PopupsSrategyLevel0 = 0,
    PopupsSrategyLevel1 = 1,
    PopupsSrategyLevel2 = 2,
};

/**
 * One kind of popup owed after sign-in. The item decides from engine signals whether its popup
 * is wanted (actived) once its input has arrived (triggered), and says so with triggerProcess();
 * PopupsSrategyManager then decides whose turn it is and calls emitDoit(). The item draws
 * nothing: the host shows the dialog on doit() and reports its closing (popupClosed(), or the
 * hub signal the item listens to).
 */
class PopupsSrategyBaseItem : public QObject
{
    Q_OBJECT
public:
    explicit PopupsSrategyBaseItem(QObject *parent = nullptr);

    /// Switches the popup on or off without a new pass of the chain (the manager drops lower
    /// popups this way when a higher one wins). Switching it on starts a new activation, whose
    /// popup is shown again: a doit() belongs to one activation.
    void setActived(bool actived);
    /// Wanted and its doit() emitted for this activation: its popup is on screen.
    bool isShowing() const { return hasTriggered() && isActiced() && isCalledDoit(); }

public Q_SLOTS:
    virtual PopupsSrategyType type() const = 0;
    virtual PopupsSrategyLevel level() const = 0;
    virtual bool hasTriggered() const { return m_triggered; }
    virtual bool isActiced() const { return m_actived; }
    virtual bool isCalledDoit() const { return m_calledDoit; }
    virtual bool isCanReset() const { return m_canReset; }
    virtual void emitDoit();
    /// The host closed this item's popup: it is no longer wanted and the chain moves on.
    virtual void popupClosed();

Q_SIGNALS:
    void doit();
    void triggerProcess();

protected:
    /// Records the decision and asks the manager for a pass.
    void decide(bool actived);
    /// Back to undecided, as before the first input.
    void resetFlags();
    /// The same activation asks to be shown again (a new notice of the same kind).
    void showAgain() { m_calledDoit = false; }

    bool m_triggered = false;
    bool m_canReset = true;

private:
    // Changed only through setActived(), so every activation gets its own doit().
    bool m_actived = false;
    bool m_calledDoit = false;
};
