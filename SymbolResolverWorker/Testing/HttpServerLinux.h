#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <string>
#include <string_view>
#include <thread>

namespace Symbols::Testing
{

/// A server of files over http on 127.0.0.1, one request after the other, on a thread of its own.
class HttpServer
{
public:
    /// The content of each path. What begins with "/hang" is never answered; of "/stall/PATH" comes half of PATH and
    /// then nothing, and of "/drip/PATH" all of it in thirty pieces, in three seconds.
    explicit HttpServer(std::map<std::string, std::string> files);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    std::string GetURL() const { return "http://127.0.0.1:" + std::to_string(mPort); }
    int GetNumRequests() const { return mNumRequests; }

private:
    void Run();
    void Answer(int connection);
    void Pause(int connection, std::chrono::milliseconds time) const;
    bool Send(int connection, std::string_view text) const;

    const std::map<std::string, std::string> mFiles;
    int mSocket = -1;
    int mPort = 0;
    std::atomic<int> mNumRequests = 0;
    std::atomic<bool> mIsStopping = false;
    std::thread mThread;
};

}
