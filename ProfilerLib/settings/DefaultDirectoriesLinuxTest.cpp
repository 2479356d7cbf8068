#include "ProfilerLib/settings/DefaultDirectories.h"

#include <gtest/gtest.h>

#include "tests/support/ScopedVariable.h"

namespace Profiler
{
namespace
{

TEST(DefaultDirectoriesTest, FollowTheUsersVariablesAndHome)
{
    const struct
    {
        const char* mHome;
        const char* mVariable;
        const char* mCaptures;
        const char* mSymbols;
    } rows[] = {
        {"/home/me", nullptr, "/home/me/.local/share/quarkspindle/captures", "/home/me/.cache/quarkspindle/symbols"},
        {"/home/me", "", "/home/me/.local/share/quarkspindle/captures", "/home/me/.cache/quarkspindle/symbols"},
        {"/home/me", "relative", "/home/me/.local/share/quarkspindle/captures", "/home/me/.cache/quarkspindle/symbols"},
        {"/home/me", "/data", "/data/quarkspindle/captures", "/data/quarkspindle/symbols"},
        {nullptr, "/data", "/data/quarkspindle/captures", "/data/quarkspindle/symbols"},
        {nullptr, nullptr, "", ""},
        {"", nullptr, "", ""},
    };
    for (const auto& row : rows)
    {
        const ScopedVariable home{"HOME", row.mHome};
        const ScopedVariable data{"XDG_DATA_HOME", row.mVariable};
        const ScopedVariable cache{"XDG_CACHE_HOME", row.mVariable};
        EXPECT_EQ(gFindDefaultCaptureDirectory(), row.mCaptures);
        EXPECT_EQ(gFindDefaultSymbolCacheDirectory(), row.mSymbols);
    }
}

}
}
