// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <string>

/**
 * Closes a server-side connection from inside a request handler, so the client gets no
 * answer at all. The HTTP server does not hand its sockets to handlers, so the socket is
 * found by its two endpoints.
 */
class ConnectionDropper
{
public:
    /// False when the platform cannot do it or no such socket is open.
    static bool drop(int localPort, const std::string &remoteAddr, int remotePort);
};
