#include "SymbolResolverWorker/Testing/HttpServerLinux.h"

#include <array>
#include <chrono>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Symbols::Testing
{

HttpServer::HttpServer(std::map<std::string, std::string> files)
    : mFiles{std::move(files)},
      mSocket{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)}
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    if (bind(mSocket, reinterpret_cast<sockaddr*>(&address), size) == 0 && listen(mSocket, 8) == 0 &&
        getsockname(mSocket, reinterpret_cast<sockaddr*>(&address), &size) == 0)
        mPort = ntohs(address.sin_port);
    mThread = std::thread{&HttpServer::Run, this};
}

HttpServer::~HttpServer()
{
    mIsStopping = true;
    shutdown(mSocket, SHUT_RDWR);
    mThread.join();
    close(mSocket);
}

void HttpServer::Run()
{
    while (!mIsStopping)
    {
        const int connection = accept4(mSocket, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0)
            continue;
        Answer(connection);
        close(connection);
    }
}

void HttpServer::Answer(int connection)
{
    std::string request;
    std::array<char, 4096> block;
    while (request.find("\r\n\r\n") == std::string::npos)
    {
        const ssize_t count = recv(connection, block.data(), block.size(), 0);
        if (count <= 0)
            return;
        request.append(block.data(), static_cast<std::size_t>(count));
    }
    ++mNumRequests;
    const std::size_t begin = request.find(' ') + 1;
    std::string path = request.substr(begin, request.find(' ', begin) - begin);
    constexpr auto cForEver = std::chrono::hours{1};
    if (path.starts_with("/hang"))
        return Pause(connection, cForEver);
    const bool isStalling = path.starts_with("/stall/");
    const bool isDripping = path.starts_with("/drip/");
    if (isStalling || isDripping)
        path.erase(0, path.find('/', 1));
    const auto file = mFiles.find(path);
    if (file == mFiles.end())
    {
        Send(connection, "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        return;
    }
    const std::string_view content = file->second;
    Send(connection,
        "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + std::to_string(content.size()) + "\r\n\r\n");
    constexpr std::size_t cNumDrops = 30;
    constexpr std::chrono::milliseconds cDripTime{3000};
    const std::size_t piece = isStalling   ? content.size() / 2
                              : isDripping ? (content.size() + cNumDrops - 1) / cNumDrops
                                           : content.size();
    for (std::size_t at = 0; at < content.size() && Send(connection, content.substr(at, piece)); at += piece)
    {
        if (isStalling)
            return Pause(connection, cForEver);
        if (isDripping)
            Pause(connection, cDripTime / static_cast<int>(cNumDrops));
    }
}

bool HttpServer::Send(int connection, std::string_view text) const
{
    while (!text.empty() && !mIsStopping)
    {
        const ssize_t count = send(connection, text.data(), text.size(), MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return text.empty();
}

/// Or until the other side has had enough.
void HttpServer::Pause(int connection, std::chrono::milliseconds time) const
{
    const auto end = std::chrono::steady_clock::now() + time;
    pollfd other{connection, POLLRDHUP, 0};
    while (!mIsStopping && std::chrono::steady_clock::now() < end && poll(&other, 1, 5) == 0)
        continue;
}

}
