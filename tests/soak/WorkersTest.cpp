#include "ProfilerLib/settings/Settings.h"
#include "ProfilerLib/symbols/SymbolCache.h"
#include "ProfilerLib/symbols/Testing/WorkerFixture.h"
#include "SymbolResolverWorker/ImageIdentity.h"
#include "System/JobScheduler.h"
#include "Utility/Result.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <random>
#include <thread>

namespace
{

using namespace Profiler;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

bool IsSoak()
{
    return std::getenv("QUARKSPINDLE_SOAK") != nullptr;
}

/// Libraries of the system, the real workers and a cache, which are killed and asked.
class WorkersTest : public Testing::WorkerFixture
{
protected:
    struct Library
    {
        std::string mPath;
        PDBKey mKey;
        const SymbolModule* mModule = nullptr;
        std::size_t mNumFunctions = 0;
    };

    WorkersTest()
    {
        mSettings.GetSymbolSettings().UseMicrosoftSymbolServers = false;
        mSettings.GetSymbolSettings().SetSymbolCacheDirectory(mFolder / "symbols");
    }

    void FindLibraries(std::size_t count)
    {
        std::vector<std::string> files;
        static_cast<void>(FileSystem::gListFiles(FileSystem::gGetSystemDirectory(), "", files, true));
        std::erase_if(files, [](const std::string& file) { return file.find(".so") == std::string::npos; });
        std::ranges::shuffle(files, mRandom);
        for (std::size_t i = 0; i < files.size() && mLibraries.size() < count; ++i)
        {
            Utility::Result result;
            Symbols::ImageIdentity identity;
            // One that lies there under several names is one library.
            if (identity.Read(files[i], result) &&
                std::ranges::none_of(mLibraries,
                    [&identity](const Library& library) { return library.mKey.PDBGUID == identity.mKey.PDBGUID; }))
                mLibraries.push_back({files[i], identity.mKey, nullptr, 0});
        }
    }

    void Open()
    {
        mCache.emplace("", SYMBOL_WORKER, mSettings, mScheduler, mRegistry, [this] { ++mNumDeaths; });
    }

    /// Asks for all of them, from several threads.
    void FindAll(const std::function<void(Library&)>& onFound)
    {
        std::atomic<std::size_t> next = 0;
        std::vector<std::thread> waiters;
        for (int i = 0; i < 6; ++i)
        {
            waiters.emplace_back([&] {
                for (std::size_t index = next++; index < mLibraries.size(); index = next++)
                {
                    Library& library = mLibraries[index];
                    const PDBKey& key = library.mKey;
                    library.mModule = mCache->FindSymbolModule(
                        library.mPath, key.ModuleTimeStamp, key.ModuleSize, key.PDBAge, key.PDBGUID, key.PDBName);
                    onFound(library);
                }
            });
        }
        for (std::thread& waiter : waiters)
            waiter.join();
    }

    /// Kills one worker after the other, at random moments, and waits until each death has been heard of.
    void KillWorkers(const std::atomic<bool>& isDone)
    {
        while (!isDone)
        {
            std::this_thread::sleep_for(std::chrono::microseconds{mRandom() % 120000});
            const std::vector<uint32_t> workers = Testing::gListChildren();
            if (workers.empty())
                continue;
            const int heard = mNumDeaths;
            mLastKill = Clock::now();
            Testing::gKill(workers[mRandom() % workers.size()]);
            ++mNumKills;
            while (mNumDeaths == heard && Clock::now() - mLastKill.load() < 10s)
                std::this_thread::sleep_for(1ms);
        }
    }

    /// Each file that has its name is whole, at any moment.
    void ReadFiles(const std::atomic<bool>& isDone)
    {
        while (!isDone)
        {
            for (const std::string& file : ListFiles(true))
            {
                Utility::Result result;
                EXPECT_NE(SymbolModule::Load(file, mRegistry, 0, result), nullptr) << result.ToString();
                ++mNumFilesRead;
            }
            std::this_thread::sleep_for(50ms);
        }
    }

    std::vector<std::string> ListFiles(bool isComplete) const
    {
        std::vector<std::string> files;
        static_cast<void>(FileSystem::gListFiles(mFolder / "symbols", "", files, true));
        std::erase_if(
            files, [isComplete](const std::string& file) { return file.ends_with(".symcache") != isComplete; });
        return files;
    }

    std::mt19937 mRandom{20261123};
    std::vector<Library> mLibraries;
    Settings mSettings;
    System::JobScheduler mScheduler{1};
    std::atomic<int> mNumDeaths = 0;
    std::atomic<int> mNumKills = 0;
    std::atomic<int> mNumFilesRead = 0;
    std::atomic<Clock::time_point> mLastKill;
    std::optional<SymbolCache> mCache;
};

TEST_F(WorkersTest, EveryWaiterHearsOfTheDeathOfItsWorker)
{
    constexpr auto cLate = 2s;
    FindLibraries(IsSoak() ? 500 : 20);
    ASSERT_FALSE(mLibraries.empty());

    std::atomic<bool> isDone = false;
    std::atomic<int> numFailed = 0;
    std::atomic<int> numLate = 0;
    System::Mutex lock;
    Clock::duration longest{};
    Open();
    std::thread reader{[&] {
        ReadFiles(isDone);
    }};
    std::thread killer{[&] {
        KillWorkers(isDone);
    }};
    FindAll([&](Library& library) {
        if (library.mModule != nullptr)
        {
            library.mNumFunctions = library.mModule->GetFunctions().size();
            return;
        }
        const Clock::duration since = Clock::now() - mLastKill.load();
        ++numFailed;
        numLate += since > cLate ? 1 : 0;
        const System::MutexLock longestLock{lock};
        longest = std::max(longest, since);
    });
    isDone = true;
    killer.join();
    reader.join();
    mCache.reset();
    EXPECT_EQ(Testing::gListChildren(), std::vector<uint32_t>{});
    EXPECT_EQ(ListFiles(false), std::vector<std::string>{});
    EXPECT_FALSE(ListFiles(true).empty());
    // None ends but those that are killed, with 137 or, when the end of the connection is noticed first, by the pool
    // with the highest number, and those that are asked to, with 0.
    int numOthers = mTrace.Count("exited with code");
    for (const char* code : {"exited with code 137", "exited with code 4294967295", "exited with code 0"})
        numOthers -= mTrace.Count(code);
    EXPECT_EQ(numOthers, 0) << mTrace.GetText();
    EXPECT_GE(mNumDeaths.load(), mNumKills.load());
    std::printf("%zu libraries, %d kills, %d failed, the last of them %d ms after a death at most, %d later than 2 s; "
                "%d files read meanwhile\n",
        mLibraries.size(), mNumKills.load(), numFailed.load(),
        static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(longest).count()), numLate.load(),
        mNumFilesRead.load());
    if (IsSoak())
    {
        EXPECT_EQ(numLate, 0);
    }

    // Without kills all come out right, those that were converted before and those that were not.
    Open();
    FindAll([](Library& library) {
        ASSERT_NE(library.mModule, nullptr) << library.mPath;
        if (library.mNumFunctions != 0)
        {
            EXPECT_EQ(library.mModule->GetFunctions().size(), library.mNumFunctions) << library.mPath;
        }
        EXPECT_EQ(library.mModule->GetSourcePDBStatus(), ESymbolSource::Found) << library.mPath;
    });
    mCache.reset();
}

}
