#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Utility/TemporaryFolder.h"
#include "tests/support/RunProgram.h"

namespace
{

using testing::HasSubstr;

/// The program where there is no display, with a home of its own.
class PictureTest : public testing::Test
{
protected:
    Tests::ProgramResult Run(const std::vector<std::string>& arguments)
    {
        std::vector<std::string> line = {"/usr/bin/env", "-u", "DISPLAY", "-u", "QT_QPA_PLATFORM", "-u",
            "WAYLAND_DISPLAY", "-u", "XDG_DATA_HOME", "-u", "XDG_STATE_HOME", "-u", "XDG_CONFIG_HOME",
            "HOME=" + mHome.GetPath(), QUARKSPINDLE_PROGRAM};
        line.insert(line.end(), arguments.begin(), arguments.end());
        return Tests::gRunProgram(line, mHome.GetPath());
    }

    /// Width and height, which stand at a fixed place of a PNG file.
    std::pair<uint32_t, uint32_t> GetSize(const std::string& name) const
    {
        const std::string bytes = mHome.Read(name);
        EXPECT_EQ(bytes.substr(1, 3), "PNG");
        const auto read = [&](std::size_t offset) {
            uint32_t value = 0;
            for (std::size_t i = 0; i < 4; ++i)
                value = value << 8 | static_cast<unsigned char>(bytes[offset + i]);
            return value;
        };
        return {read(16), read(20)};
    }

    TemporaryFolder mHome;
};

TEST_F(PictureTest, WindowBecomesAPictureWhereThereIsNoDisplay)
{
    const Tests::ProgramResult result = Run({QUARKSPINDLE_SAMPLE});
    ASSERT_EQ(result.ExitCode, 0) << result.Errors;
    const std::string picture = ".local/share/quarkspindle/pictures/JobScheduler.json.png";
    EXPECT_THAT(result.Output, HasSubstr(picture));
    EXPECT_EQ(GetSize(picture), std::pair(1400U, 900U));
}

TEST_F(PictureTest, SnapshotDrawsWhatIsAskedForOrSaysWhyNot)
{
    const std::vector<std::string> ask = {"snapshot", QUARKSPINDLE_SAMPLE, "-o", "x.png", "--size", "640x480"};
    const auto askFor = [&](std::vector<std::string> more) {
        more.insert(more.begin(), ask.begin(), ask.end());
        return Run(more);
    };
    const Tests::ProgramResult whole = askFor({"--event", "InstantiateFunction"});
    ASSERT_EQ(whole.ExitCode, 0) << whole.Errors;
    EXPECT_EQ(whole.Errors, "");
    EXPECT_EQ(GetSize("x.png"), std::pair(640U, 480U));
    const std::string picture = mHome.Read("x.png");
    const Tests::ProgramResult part = askFor({"--event", "InstantiateFunction", "--range", "150:180"});
    ASSERT_EQ(part.ExitCode, 0) << part.Errors;
    EXPECT_NE(mHome.Read("x.png"), picture);

    std::filesystem::remove(mHome / "x.png");
    const std::pair<std::vector<std::string>, std::string> refusals[] = {
        {{"--event", "NoSuchEvent"}, "There is no event"},
        {{"--event", "InstantiateFunction", "--thread", "1"}, "does not occur"},
        {{"--event", "InstantiateFunction", "--range", "0:259"}, "259 occurrences"},
    };
    for (const auto& [arguments, message] : refusals)
    {
        const Tests::ProgramResult result = askFor(arguments);
        EXPECT_EQ(result.ExitCode, 1);
        EXPECT_THAT(result.Errors, HasSubstr(message));
    }
    EXPECT_FALSE(std::filesystem::exists(mHome / "x.png"));
}

TEST_F(PictureTest, SnapshotOfAPartOfTheEventsIsDrawnAndSaysSo)
{
    ASSERT_EQ(Run({"import", QUARKSPINDLE_SAMPLE, "-o", "cut"}).ExitCode, 0);
    std::filesystem::resize_file(mHome / "cut/events.dat", 20000);
    const Tests::ProgramResult result = Run({"snapshot", "cut", "--event", "InstantiateFunction", "-o", "x.png"});
    EXPECT_EQ(result.ExitCode, 1);
    EXPECT_THAT(result.Errors, HasSubstr("lacks 1 chunk"));
    EXPECT_TRUE(std::filesystem::exists(mHome / "x.png"));
}

TEST_F(PictureTest, WindowOnNothingNeedsADisplay)
{
    const Tests::ProgramResult result = Run({});
    EXPECT_EQ(result.ExitCode, 1);
    EXPECT_THAT(result.Errors, HasSubstr("There is no display"));
}

}
