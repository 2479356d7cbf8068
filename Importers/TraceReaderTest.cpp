#include "Importers/TraceReader.h"

#include "Importers/ImportTestSupport.h"

#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Importers
{
namespace
{
class TraceReaderTest : public testing::Test
{
protected:
    /// The text of a file with this content.
    std::string Read(std::string_view content)
    {
        Utility::Result result;
        const std::string path = gWriteNewFile(content);
        mReader = TraceReader::sOpen(path, result);
        FileSystem::gDeleteFile(path);
        EXPECT_NE(mReader, nullptr) << result.ToString();
        std::string text;
        std::vector<char> window(100'000);
        while (const std::size_t count = mReader->Read(window))
        {
            text.append(window.data(), count);
        }
        EXPECT_EQ(mReader->Read(window), 0u) << "the end stays";
        return text;
    }

    static std::string MakeText(std::size_t size)
    {
        std::mt19937_64 random(size);
        std::string text;
        while (text.size() < size)
        {
            text += std::to_string(random() % 100'000) + ",";
        }
        text.resize(size);
        return text;
    }

    TemporaryFolder mDirectory;
    std::unique_ptr<TraceReader> mReader;
};

TEST_F(TraceReaderTest, ReadsEveryForm)
{
    // Sizes around that of a window, and more members than one read holds.
    for (const std::size_t size : {0, 1, 5, 262'143, 262'144, 262'145, 1'000'000})
    {
        const std::string text = MakeText(size);
        const std::string_view front = std::string_view(text).substr(0, size / 3);
        const std::string_view back = std::string_view(text).substr(size / 3);
        const std::string skippable("\x5A\x2A\x4D\x18\x03\x00\x00\x00xyz", 11);
        const std::string contents[] = {
            text,
            gCompressGzip(text),
            gCompressGzip(front) + gCompressGzip("") + gCompressGzip(back),
            gCompressGzip(text) + std::string(1000, '\0'),
            gCompressZstd(text),
            gCompressZstd(front) + skippable + gCompressZstd(back) + skippable,
            skippable + gCompressZstd(text),
        };
        for (const std::string& content : contents)
        {
            EXPECT_EQ(Read(content), text);
            EXPECT_EQ(mReader->GetDamage(), "");
            EXPECT_EQ(mReader->GetFilePosition(), content.size());
            EXPECT_EQ(mReader->GetFileSize(), content.size());
        }
    }
}

TEST_F(TraceReaderTest, CutDataGivesWhatThereIs)
{
    const std::string text = MakeText(500);
    for (const std::string& whole :
        {gCompressGzip(text) + gCompressGzip(text), gCompressZstd(text) + gCompressZstd(text)})
    {
        std::size_t longest = 0;
        for (std::size_t size = 4; size < whole.size(); ++size)
        {
            const std::string part = Read(whole.substr(0, size));
            ASSERT_TRUE((text + text).starts_with(part));
            ASSERT_GE(part.size(), longest);
            longest = part.size();
            ASSERT_NE(mReader->GetDamage().empty(), size != whole.size() / 2) << size;
            ASSERT_TRUE(mReader->GetDamage().empty() || mReader->GetDamageOffset() == size);
        }
        EXPECT_GE(longest, text.size());
    }
}

TEST_F(TraceReaderTest, DamagedDataIsNoticed)
{
    const std::string text = MakeText(100'000);
    std::mt19937_64 random(8);
    std::string gzip = gCompressGzip(text);
    for (int i = 0; i < 200; ++i)
    {
        // Behind the header, whose time and name of a system mean nothing.
        std::string damaged = gzip;
        const std::size_t position = 10 + random() % (gzip.size() - 10);
        damaged[position] = static_cast<char>(damaged[position] ^ (1 << (random() % 8)));
        Read(damaged);
        ASSERT_NE(mReader->GetDamage(), "") << position;
        ASSERT_LE(mReader->GetDamageOffset(), damaged.size());
    }
}

// A frame names the window that unpacking it takes, and what is granted depends on the size of the file.
TEST_F(TraceReaderTest, WindowOfZstdIsBounded)
{
    const auto frame = [](int windowLog) {
        // Magic, a header with nothing but the window, and one last raw block of two bytes.
        const char descriptor = static_cast<char>((windowLog - 10) << 3);
        return std::string("\x28\xB5\x2F\xFD\x00", 5) + descriptor + std::string("\x11\x00\x00[]", 5);
    };
    const std::string skipped = std::string("\x50\x2A\x4D\x18\x00\x00\x80\x00", 8) + std::string(8 << 20, 'x');
    EXPECT_EQ(Read(frame(23)), "[]");
    EXPECT_EQ(mReader->GetDamage(), "");
    EXPECT_EQ(Read(skipped + frame(24)), "[]");
    EXPECT_EQ(mReader->GetDamage(), "");
    EXPECT_EQ(Read(frame(24)), "");
    EXPECT_EQ(mReader->GetDamage(), "the zstd data needs a window of more than 8 MiB, which is not granted to a file "
                                    "of this size: unpack it first");
    EXPECT_EQ(Read(skipped + frame(25)), "");
    EXPECT_THAT(mReader->GetDamage(), testing::HasSubstr("more than 16 MiB"));
}

TEST_F(TraceReaderTest, WhatCannotBeReadIsAnError)
{
    Utility::Result result;
    EXPECT_EQ(TraceReader::sOpen(mDirectory / "missing", result), nullptr);
    ASSERT_EQ(result.GetEntries().size(), 1u);
    EXPECT_EQ(result.GetEntries().front().mCode, 1);
    EXPECT_THAT(result.GetEntries().front().mMessage, testing::HasSubstr("No such file"));

    result.Clear();
    EXPECT_EQ(TraceReader::sOpen(mDirectory.GetPath(), result), nullptr);
    ASSERT_EQ(result.GetEntries().size(), 1u);
    EXPECT_EQ(result.GetEntries().front().mCode, 2);
}
}
}
