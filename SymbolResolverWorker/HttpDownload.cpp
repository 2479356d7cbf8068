#include "SymbolResolverWorker/HttpDownload.h"

#include <chrono>
#include <cinttypes>
#include <memory>

#include <curl/curl.h>

#include "ProfilerLib/symbols/CacheFolder.h"
#include "Serialization/Error.h"
#include "SymbolResolverWorker/JobControl.h"
#include "Utility/FileWriter.h"
#include "Utility/Format.h"
#include "Utility/Path.h"
#include "Utility/Result.h"
#include "Utility/Trace.h"

namespace Symbols
{

namespace
{

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
    Transfer(const std::string& url, const JobControl& control, const DownloadPatience& patience)
        : mURL{url},
          mControl{control},
          mPatience{patience},
          mStallWatch{patience}
    {}

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
        if (mStallWatch.IsStalled())
            return result.Fail(Serialization::FileNotFound,
                "%s: less than %" PRIu64 " bytes came within %" PRId64 " ms, after %" PRIu64, mURL.c_str(),
                mPatience.mLeast, static_cast<int64_t>(mPatience.mNext.count()), mReceived);
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
        curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(mPatience.mConnection.count()));
        // Any packing that the library knows: debug files shrink to a third.
        curl_easy_setopt(handle, CURLOPT_ACCEPT_ENCODING, "");
        curl_easy_setopt(handle, CURLOPT_MAXFILESIZE_LARGE, cLargestFile);
        curl_easy_setopt(handle, CURLOPT_USERAGENT, "quarkspindle");
        curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Transfer::sWrite);
        curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);
        curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, &Transfer::sProgress);
        curl_easy_setopt(handle, CURLOPT_XFERINFODATA, this);
        curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
    }

    // A server may send more than it announced, or than was packed.
    static std::size_t sWrite(char* data, std::size_t, std::size_t size, void* context)
    {
        auto& self = *static_cast<Transfer*>(context);
        self.mSize += static_cast<curl_off_t>(size);
        const bool isWritten =
            self.mSize <= cLargestFile && self.mFile.Write(std::as_bytes(std::span{data, size}), self.mFileError);
        return isWritten ? size : 0;
    }

    /// Called with each piece that comes, and about once a second when nothing does.
    static int sProgress(void* context, curl_off_t total, curl_off_t now, curl_off_t, curl_off_t)
    {
        auto& self = *static_cast<Transfer*>(context);
        self.mReceived = static_cast<uint64_t>(now);
        const auto time = JobControl::Clock::now();
        if (now > 0 && time >= self.mNextReport)
        {
            self.Report(static_cast<uint64_t>(total));
            self.mNextReport = time + std::chrono::seconds{2};
        }
        self.mStallWatch.Note(self.mReceived);
        return self.mControl.ShouldStop() || self.mStallWatch.IsStalled() ? 1 : 0;
    }

    void Report(uint64_t total) const
    {
        const std::string whole = total == 0 ? "" : Utility::gFormat(" of %" PRIu64, total / 1024);
        Utility::gTrace("Downloading %s: %" PRIu64 "%s KiB", mURL.c_str(), mReceived / 1024, whole.c_str());
    }

    const std::string& mURL;
    const JobControl& mControl;
    const DownloadPatience mPatience;
    StallWatch mStallWatch;
    FileSystem::AtomicFileWriter mFile;
    FileSystem::FileError mFileError;
    curl_off_t mSize = 0;   ///< written
    uint64_t mReceived = 0; ///< over the network
    JobControl::Clock::time_point mNextReport = JobControl::Clock::now() + std::chrono::seconds{1};
};

}

void StallWatch::Note(uint64_t numReceived)
{
    const Clock::time_point now = Clock::now();
    // After a redirection it counts from 0 again.
    if (numReceived < mWaitedFrom || numReceived - mWaitedFrom >= mPatience.mLeast)
    {
        mWaitedFrom = numReceived;
        mWaitingSince = now;
    }
    mIsStalled = now - mWaitingSince >= mPatience.mNext;
}

bool gDownload(const std::string& url, const std::string& path, const JobControl& control, Utility::Result& result,
    const DownloadPatience& patience)
{
    return Transfer{url, control, patience}.Run(path, result);
}

std::string gEscapeForURL(const std::string& text)
{
    char* escaped = curl_easy_escape(nullptr, text.c_str(), static_cast<int>(text.size()));
    std::string copy = escaped == nullptr ? "" : escaped;
    curl_free(escaped);
    return copy;
}

}
