// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <cstdint>
#include <string>

/// The few socket operations the HTTP server does not offer, per platform.
class SocketTools
{
public:
    /// Options of the listening socket: quick re-binding after a stop, but no second
    /// server on a port that is in use (the HTTP server's default would allow one).
    static void setListenOptions(std::uintptr_t socket);

    /**
     * Closes a server-side connection from inside a request handler, so the client gets no
     * answer at all. The HTTP server does not hand its sockets to handlers, so the socket is
     * found by its two endpoints. False when the platform cannot do it or no such socket is open.
     */
    static bool dropConnection(int localPort, const std::string &remoteAddr, int remotePort);

    /// True when the client has closed that connection (found as dropConnection finds it); false
    /// while it is open, when no such socket is open, or when the platform cannot tell.
    static bool peerClosed(int localPort, const std::string &remoteAddr, int remotePort);
};
