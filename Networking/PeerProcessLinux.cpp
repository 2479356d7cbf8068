#include "Networking/Socket.h"
#include "Utility/FileSystem.h"
#include "Utility/Format.h"

#include <cinttypes>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string_view>
#include <vector>

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Networking
{

namespace
{

using NameFunction = int (*)(int, sockaddr*, socklen_t*);

/// As /proc/net/tcp spells one end of a connection: "0100007F:A61A", the address as it lies in memory.
std::string GetSpelling(int descriptor, NameFunction getName)
{
    sockaddr_in address = {};
    socklen_t size = sizeof(address);
    if (getName(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0 || address.sin_family != AF_INET)
        return {};
    return Utility::gFormat("%08X:%04X", address.sin_addr.s_addr, ntohs(address.sin_port));
}

/// The number of the socket at the other end: the one that names as its own what we name as the peer's. 0 for none, as
/// when it has been closed already.
///
///     sl local_address rem_address st tx_queue:rx_queue tr:tm->when retrnsmt uid timeout inode ...
uint64_t FindPeerSocket(int descriptor)
{
    const std::string local = GetSpelling(descriptor, &getpeername);
    const std::string remote = GetSpelling(descriptor, &getsockname);
    std::string table;
    if (local.empty() || remote.empty() || !FileSystem::gReadTextFile("/proc/self/net/tcp", table))
        return 0;
    const std::string ends = " " + local + " " + remote + " ";
    const std::size_t found = table.find(ends);
    if (found == std::string::npos)
        return 0;
    std::istringstream rest{table.substr(found + ends.size(), 160)};
    std::string skipped;
    uint64_t number = 0;
    for (int column = 0; column < 6; ++column)
        rest >> skipped;
    return rest >> number ? number : 0;
}

}

bool Socket::IsPeerOf(uint32_t processID) const
{
    const uint64_t number = FindPeerSocket(mDescriptor);
    if (number == 0)
        return false;
    const std::string wanted = Utility::gFormat("socket:[%" PRIu64 "]", number);
    const std::string folder = Utility::gFormat("/proc/%u/fd", processID);
    const std::unique_ptr<DIR, int (*)(DIR*)> list{opendir(folder.c_str()), &closedir};
    while (const dirent* entry = list != nullptr ? readdir(list.get()) : nullptr)
    {
        char target[64];
        const ssize_t length = readlinkat(dirfd(list.get()), entry->d_name, target, sizeof(target));
        if (length > 0 && std::string_view{target, static_cast<std::size_t>(length)} == wanted)
            return true;
    }
    return false;
}

}
