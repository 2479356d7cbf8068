#include "System/Platform.h"

#include "System/ThreadName.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>

TEST(ThreadName, IsShortenedInFrontOfItsNumber)
{
    struct Row
    {
        const char* mName;
        const char* mExpected;
    };
    const Row rows[] = {
        {"", ""},
        {"Job Scheduler 1", "Job Scheduler 1"},
        {"Job Scheduler 12", "Job Schedule 12"},
        {"Job Scheduler 12345", "Job Sched 12345"},
        {"A name without any number", "A name without "},
        {"worker12345678901", "work12345678901"},
        {"1234567890123456", "234567890123456"},
        {"a 1234567890123456", "234567890123456"},
        {"Aufgabenl\xC3\xB6ser\xC3\xBC 7", "Aufgabenl\xC3\xB6se 7"},
        {"Aufgabenl\xC3\xB6\xC3\xB6\xC3\xB6 7", "Aufgabenl\xC3\xB6\xC3\xB6 7"},
        {"Aufgabenla\xC3\xB6\xC3\xB6\xC3\xB6 7", "Aufgabenla\xC3\xB6 7"},
    };
    for (const Row& row : rows)
    {
        const std::string shortened = System::gShortenThreadName(row.mName, 15);
        EXPECT_EQ(shortened, row.mExpected);
        EXPECT_LE(shortened.size(), 15U);
    }
}

TEST(Platform, DisplayIsRemoteWhenItNamesAHost)
{
    for (const char* local : {"", ":0", ":1.0", "unix:0", "/private/tmp/launch/org.x:0", "no colon"})
    {
        EXPECT_FALSE(System::gIsRemoteDisplay(local)) << local;
    }
    for (const char* remote : {"localhost:10.0", "desk.example.org:0", "[::1]:0"})
    {
        EXPECT_TRUE(System::gIsRemoteDisplay(remote)) << remote;
    }
}

TEST(Platform, SessionIsRemoteBySshOrByItsDisplay)
{
    struct Row
    {
        const char* mConnection;
        const char* mDisplay;
        bool mIsRemote;
    };
    const Row rows[] = {
        {"", "", false}, {"", ":0", false}, {"10.0.0.1 1 10.0.0.2 22", "", true}, {"", "localhost:10.0", true}};
    for (const Row& row : rows)
    {
        ::setenv("SSH_CONNECTION", row.mConnection, 1);
        ::setenv("DISPLAY", row.mDisplay, 1);
        EXPECT_EQ(System::gIsRemoteSession(), row.mIsRemote) << row.mConnection << '|' << row.mDisplay;
    }
    ::unsetenv("SSH_CONNECTION");
    ::unsetenv("DISPLAY");
    EXPECT_EQ(System::gGetEnvironmentVariable("SSH_CONNECTION"), "");
    EXPECT_FALSE(System::gIsRemoteSession());
}

TEST(Platform, LastErrorIsTextAndEmptyWithoutOne)
{
    errno = 0;
    EXPECT_EQ(System::gGetLastErrorMessage(), "");
    errno = ENOENT;
    EXPECT_EQ(System::gGetLastErrorMessage(), "No such file or directory");
    EXPECT_GE(System::gGetNumProcessors(), 1);
}
