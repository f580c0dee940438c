// SPDX-License-Identifier: LGPL-2.1-or-later
#include "sockettools.h"

#include <winsock2.h>

void SocketTools::setListenOptions(std::uintptr_t socket)
{
    // On Windows SO_REUSEADDR would let another process take the port over.
    BOOL yes = TRUE;
    setsockopt(SOCKET(socket), SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char *>(&yes), sizeof(yes));
}

// Windows sockets cannot be enumerated; the caller falls back to cutting the answer short.
bool SocketTools::dropConnection(int, const std::string &, int)
{
    return false;
}

bool SocketTools::peerClosed(int, const std::string &, int)
{
    return false;
}
