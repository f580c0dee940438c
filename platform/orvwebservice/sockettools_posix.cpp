// SPDX-License-Identifier: LGPL-2.1-or-later
#include "sockettools.h"

#include <dirent.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <vector>

namespace {

int portOf(const sockaddr_storage &addr)
{
    if (addr.ss_family == AF_INET)
        return ntohs(reinterpret_cast<const sockaddr_in &>(addr).sin_port);
    if (addr.ss_family == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6 &>(addr).sin6_port);
    return -1;
}

std::vector<int> openDescriptors()
{
    std::vector<int> fds;
    // Linux lists them; elsewhere try the low range.
    if (DIR *dir = opendir("/proc/self/fd")) {
        while (dirent *entry = readdir(dir)) {
            if (entry->d_name[0] != '.')
                fds.push_back(std::atoi(entry->d_name));
        }
        closedir(dir);
        return fds;
    }
    const long max = std::min(sysconf(_SC_OPEN_MAX), 4096L);
    for (int fd = 0; fd < max; ++fd)
        fds.push_back(fd);
    return fds;
}

} // namespace

void SocketTools::setListenOptions(std::uintptr_t socket)
{
    const int yes = 1;
    setsockopt(int(socket), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
}

namespace {

// The server's descriptor of a connection, by its two endpoints; -1 when there is none.
int findConnection(int localPort, const std::string &remoteAddr, int remotePort)
{
    for (int fd : openDescriptors()) {
        sockaddr_storage local{}, peer{};
        socklen_t localLen = sizeof(local), peerLen = sizeof(peer);
        if (getsockname(fd, reinterpret_cast<sockaddr *>(&local), &localLen) != 0 || portOf(local) != localPort)
            continue;
        if (getpeername(fd, reinterpret_cast<sockaddr *>(&peer), &peerLen) != 0 || portOf(peer) != remotePort)
            continue;
        char host[NI_MAXHOST];
        if (getnameinfo(reinterpret_cast<sockaddr *>(&peer), peerLen, host, sizeof(host), nullptr, 0, NI_NUMERICHOST)
                != 0
            || remoteAddr != host)
            continue;
        return fd;
    }
    return -1;
}

} // namespace

bool SocketTools::dropConnection(int localPort, const std::string &remoteAddr, int remotePort)
{
    const int fd = findConnection(localPort, remoteAddr, remotePort);
    // The server still owns the descriptor and closes it; shutting it down is enough.
    return fd >= 0 && shutdown(fd, SHUT_RDWR) == 0;
}

bool SocketTools::peerClosed(int localPort, const std::string &remoteAddr, int remotePort)
{
    const int fd = findConnection(localPort, remoteAddr, remotePort);
    if (fd < 0)
        return false;
    // The request has been read whole, so a readable end of stream means the client gave up.
    char byte;
    const ssize_t n = recv(fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR);
}
