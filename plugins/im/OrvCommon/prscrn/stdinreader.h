// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QThread>

/// Reads standard input line by line on its own thread; lines arrive queued on the reader's
/// thread of creation. inputClosed() follows the last line.
class StdinReader : public QThread
{
    Q_OBJECT
public:
    using QThread::QThread;

Q_SIGNALS:
    void lineRead(const QString &line);
    void inputClosed();

protected:
    void run() override;
};
