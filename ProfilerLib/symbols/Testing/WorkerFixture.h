#pragma once

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ProfilerLib/settings/RegisterTypes.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "ProfilerLib/symbols/Testing/WorkerProcesses.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Schema.h"
#include "System/Mutex.h"
#include "Utility/TemporaryFolder.h"
#include "Utility/Trace.h"

namespace Profiler::Testing
{

/// The log, kept for the test.
class TraceKeeper
{
public:
    TraceKeeper() { Utility::gSetTraceSinks({{&sTake, this}}); }
    ~TraceKeeper() { Utility::gSetTraceSinks({}); }
    TraceKeeper(const TraceKeeper&) = delete;
    TraceKeeper& operator=(const TraceKeeper&) = delete;

    bool Contains(std::string_view text) { return Count(text) > 0; }
    int Count(std::string_view text)
    {
        const System::MutexLock lock{mLock};
        return static_cast<int>(std::ranges::count_if(
            mLines, [text](const std::string& line) { return line.find(text) != std::string::npos; }));
    }
    std::string GetText()
    {
        const System::MutexLock lock{mLock};
        std::string text;
        for (const std::string& line : mLines)
            text += line;
        return text;
    }

private:
    static void sTake(const char* line, void* context)
    {
        auto& self = *static_cast<TraceKeeper*>(context);
        const System::MutexLock lock{self.mLock};
        self.mLines.push_back(line);
    }

    System::Mutex mLock;
    std::vector<std::string> mLines GUARDED_BY(mLock);
};

/// Things that happen on other threads and that a test waits for: by name, counted.
class Tally
{
public:
    void Add(const std::string& name)
    {
        const System::MutexLock lock{mLock};
        ++mCounts[name];
        mChanged.NotifyAll();
    }
    int Get(const std::string& name)
    {
        const System::MutexLock lock{mLock};
        return mCounts[name];
    }
    /// Waits until there are as many of them all, or for a minute.
    void WaitFor(const std::string& name, int count)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes{1};
        const System::MutexLock lock{mLock};
        while (mCounts[name] < count)
        {
            if (!mChanged.WaitUntil(mLock, end))
            {
                ADD_FAILURE() << "only " << mCounts[name] << " of " << count << ": " << name;
                return;
            }
        }
    }

private:
    System::Mutex mLock;
    System::ConditionVariable mChanged;
    std::map<std::string, int> mCounts GUARDED_BY(mLock);
};

/// A registry that knows symbols, a folder, the log, and no worker left behind.
class WorkerFixture : public testing::Test
{
protected:
    WorkerFixture()
    {
        const auto scope = mRegistry.BeginRegistration(RTTI::gGetOwnerID());
        RTTI::gRegisterTypes(mRegistry);
        gRegisterSettingsTypes(mRegistry);
        gRegisterSymbolTypes(mRegistry);
        Serialization::gRegisterTypes(mRegistry);
        mRegistry.Finalize();
    }
    ~WorkerFixture() override { EXPECT_EQ(gListChildren(), std::vector<uint32_t>{}) << "left behind"; }

    /// What happens to the job is in the first part of the path; see TestSymbolWorker.cpp.
    static PDBKey MakeKey(const std::string& path)
    {
        return PDBKey::sMake(path, 1, 2, 3, {4, std::hash<std::string>{}(path)}, "app.pdb");
    }

    TraceKeeper mTrace;
    TemporaryFolder mFolder;
    RTTI::TypeRegistry mRegistry;
};

}
