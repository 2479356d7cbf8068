#include "SymbolResolverWorker/Testing/HttpServerLinux.h"

#include <array>
#include <chrono>

#include <netinet/in.h>
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
    const std::string path = request.substr(begin, request.find(' ', begin) - begin);
    if (path.starts_with("/hang"))
    {
        while (!mIsStopping)
            std::this_thread::sleep_for(std::chrono::milliseconds{5});
        return;
    }
    const auto file = mFiles.find(path);
    std::string answer =
        file == mFiles.end()
            ? "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n"
            : "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + std::to_string(file->second.size()) +
                  "\r\n\r\n" + file->second;
    for (std::string_view rest = answer; !rest.empty();)
    {
        const ssize_t count = send(connection, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (count <= 0)
            return;
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
}

}
