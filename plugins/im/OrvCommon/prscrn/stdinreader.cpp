// SPDX-License-Identifier: LGPL-2.1-or-later
#include "stdinreader.h"

#include <iostream>
#include <string>

void StdinReader::run()
{
    std::string line;
    while (std::getline(std::cin, line)) {
        // Overlong input is cut: a command is a few dozen bytes.
        if (line.size() > 4096)
            line.resize(4096);
        Q_EMIT lineRead(QString::fromUtf8(line.data(), int(line.size())).trimmed());
    }
    Q_EMIT inputClosed();
}
