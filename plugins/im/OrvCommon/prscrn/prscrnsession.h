// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QObject>
#include <QRect>

class StdinReader;

/**
 * The helper program's one capture: waits for "start:<width>|<height>|<auto>|<hide>" on standard
 * input, runs the overlay, and ends the program with the capture's operation code. "cancel"
 * closes the capture (or ends an idle helper with 1); other lines are logged and ignored. When
 * standard input closes (the client went away), a capture is cancelled and the program ends.
 *
 * A share (2) or save to the cloud (4) closes the overlay: only the client can act on them.
 */
class PrScrnSession : public QObject
{
    Q_OBJECT
public:
    explicit PrScrnSession(QObject *parent = nullptr);
    ~PrScrnSession() override;

    /// Selects `rect` (global) by mouse on the overlay showing it and confirms it, once the grab
    /// is shown (the helper's test hook, ORV_PRSCRN_TEST_SELECT="x,y,w,h").
    void setTestSelection(const QRect &rect) { m_testSelection = rect; }

private:
    void onLine(const QString &line);
    void onInputClosed();
    void startCapture(const QString &arguments);
    void onCaptureEnded(int code);
    void selectForTest();
    void finish(int code);

    StdinReader *m_reader;
    bool m_capturing = false;
    bool m_finished = false;
    QRect m_testSelection;
};
