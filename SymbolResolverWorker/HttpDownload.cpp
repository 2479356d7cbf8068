#include "SymbolResolverWorker/HttpDownload.h"

#include <chrono>
#include <cinttypes>
#include <memory>

#include <curl/curl.h>

#include "ProfilerLib/symbols/CacheFolder.h"
#include "Serialization/Error.h"
#include "SymbolResolverWorker/JobControl.h"
#include "Utility/FileWriter.h"
#include "Utility/Path.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Symbols
{

namespace
{

constexpr long cConnectSeconds = 5;
/// Slower than this many bytes a second, for so long, is as good as nothing.
constexpr long cLowestSpeed = 4096;
constexpr long cLowSpeedSeconds = 10;
constexpr curl_off_t cLargestFile = curl_off_t{4} << 30;
constexpr long cMostRedirects = 5;

struct Cleanup
{
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};

/// One transfer: what comes goes to a temporary file.
class Transfer
{
public:
    Transfer(const std::string& url, const JobControl& control) : mURL{url}, mControl{control} {}

    [[nodiscard]] bool Run(const std::string& path, Utility::Result& result)
    {
        const std::unique_ptr<CURL, Cleanup> handle{curl_easy_init()};
        if (handle == nullptr)
            return result.Fail(Serialization::Unspecified, "The network library does not start");
        Profiler::CacheFolder folder;
        if (!folder.Enter(FileSystem::gGetDirectory(path), result))
            return false;
        if (!mFile.Open(path, mFileError))
            return result.FailText(Serialization::Unspecified, mFileError.ToString());
        Configure(handle.get());
        const CURLcode code = curl_easy_perform(handle.get());
        if (!mControl.MayGoOn(result))
            return false;
        if (mFileError != FileSystem::FileError{})
            return result.FailText(Serialization::Unspecified, mFileError.ToString());
        if (code != CURLE_OK)
            return result.Fail(Serialization::FileNotFound, "%s: %s", mURL.c_str(), curl_easy_strerror(code));
        return mFile.Commit(mFileError) || result.FailText(Serialization::Unspecified, mFileError.ToString());
    }

private:
    void Configure(CURL* handle)
    {
        curl_easy_setopt(handle, CURLOPT_URL, mURL.c_str());
        curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
        curl_easy_setopt(handle, CURLOPT_MAXREDIRS, cMostRedirects);
        curl_easy_setopt(handle, CURLOPT_FAILONERROR, 1L);
        curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, cConnectSeconds);
        curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, cLowestSpeed);
        curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME, cLowSpeedSeconds);
        curl_easy_setopt(handle, CURLOPT_MAXFILESIZE_LARGE, cLargestFile);
        curl_easy_setopt(handle, CURLOPT_USERAGENT, "quarkspindle");
        curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Transfer::sWrite);
        curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);
        curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, &Transfer::sProgress);
        curl_easy_setopt(handle, CURLOPT_XFERINFODATA, this);
        curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
    }

    // A server may send more than it announced.
    static std::size_t sWrite(char* data, std::size_t, std::size_t size, void* context)
    {
        auto& self = *static_cast<Transfer*>(context);
        self.mSize += static_cast<curl_off_t>(size);
        const bool isWritten =
            self.mSize <= cLargestFile && self.mFile.Write(std::as_bytes(std::span{data, size}), self.mFileError);
        return isWritten ? size : 0;
    }

    static int sProgress(void* context, curl_off_t total, curl_off_t now, curl_off_t, curl_off_t)
    {
        auto& self = *static_cast<Transfer*>(context);
        const auto time = JobControl::Clock::now();
        if (now > 0 && time >= self.mNextReport)
        {
            Utility::gTrace("Downloading %s: %" PRIu64 " of %" PRIu64 " KiB", self.mURL.c_str(),
                static_cast<uint64_t>(now) / 1024, static_cast<uint64_t>(total) / 1024);
            self.mNextReport = time + std::chrono::seconds{2};
        }
        return self.mControl.ShouldStop() ? 1 : 0;
    }

    const std::string& mURL;
    const JobControl& mControl;
    FileSystem::AtomicFileWriter mFile;
    FileSystem::FileError mFileError;
    curl_off_t mSize = 0;
    JobControl::Clock::time_point mNextReport = JobControl::Clock::now() + std::chrono::seconds{1};
};

}

bool gDownload(const std::string& url, const std::string& path, const JobControl& control, Utility::Result& result)
{
    return Transfer{url, control}.Run(path, result);
}

std::string gEscapeForURL(const std::string& text)
{
    char* escaped = curl_easy_escape(nullptr, text.c_str(), static_cast<int>(text.size()));
    std::string copy = escaped == nullptr ? "" : escaped;
    curl_free(escaped);
    return copy;
}

}
