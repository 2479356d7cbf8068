#include "ProfilerLib/settings/Settings.h"

#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ProfilerLib/settings/RegisterTypes.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Utility/Damage.h"
#include "Utility/Hash.h"
#include "Utility/LogCapture.h"
#include "Utility/Result.h"
#include "Utility/TemporaryFolder.h"
#include "tests/support/ScopedVariable.h"

namespace Profiler
{
namespace
{

using Input::EKeyCode;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string cInput = R"({"Type": "Profiler::InputSettings", "KeyMappings": [{"Action": "Pan", "Key": "F5"}],
    "MouseWheelSensitivity": 0.25})";
const std::string cAdvanced = R"({"Type": "Profiler::AdvancedSettings", "KernelSessionRetryMode": 7})";

class SettingsTest : public testing::Test
{
protected:
    SettingsTest()
    {
        {
            const auto scope = mRegistry.BeginRegistration(RTTI::gGetOwnerID());
            RTTI::gRegisterTypes(mRegistry);
            gRegisterSettingsTypes(mRegistry);
        }
        mRegistry.Finalize();
        mSubscription = mSettings.ChangeListeners.Subscribe([this] { ++mNumChanges; });
    }

    std::string MakeSymbols(const std::string& more = "") const
    {
        return R"({"Type": "Profiler::SymbolSettings", "SymbolCacheDirectory": ")" + mFolder / "cache" +
               R"(", "CaptureTargetDirectory": ")" + mFolder / "captures" + "\"" + more + "}";
    }

    bool Load(const std::string& objects)
    {
        mFolder.Replace("settings.json", R"({"Objects": [)" + objects + "]}");
        return mSettings.Load(mPath, mRegistry);
    }

    EKeyCode GetKey(EAction action) const { return mSettings.GetInputSettings().GetKey(action); }

    void ExpectDefaults() const
    {
        EXPECT_TRUE(mSettings.GetSymbolSettings().AllowCrashUploads);
        EXPECT_EQ(mSettings.GetSymbolSettings().GetSymbolCacheDirectory(), mFolder / "xdg-cache/quarkspindle/symbols");
        EXPECT_EQ(mSettings.GetSymbolSettings().CaptureTargetDirectory, mFolder / "xdg-data/quarkspindle/captures");
        EXPECT_EQ(mSettings.GetInputSettings().GetKeyMappings(), InputSettings().GetKeyMappings());
        EXPECT_EQ(mSettings.GetAdvancedSettings().KernelSessionRetryMode, 0);
    }

    RTTI::TypeRegistry mRegistry;
    TemporaryFolder mFolder;
    const std::string mPath = mFolder / "settings.json";
    const ScopedVariable mCacheVariable{"XDG_CACHE_HOME", (mFolder / "xdg-cache").c_str()};
    const ScopedVariable mDataVariable{"XDG_DATA_HOME", (mFolder / "xdg-data").c_str()};
    LogCapture mLog;
    Settings mSettings;
    int mNumChanges = 0;
    EventSubscription mSubscription;
};

TEST_F(SettingsTest, WhatIsMissingIsMadeAndOnlySymbolsAndInputAreMissed)
{
    const struct
    {
        const char* mWhat;
        std::string mObjects;
        bool mIsLoaded;
        std::vector<std::string> mLines;
    } rows[] = {
        {"nothing", "", false, {"No symbol", "No input", "No advanced"}},
        {"advanced", cAdvanced, false, {"No symbol", "No input"}},
        {"input", cInput, false, {"No symbol", "No advanced"}},
        {"symbols", MakeSymbols(), false, {"No input", "No advanced"}},
        {"all but advanced", cInput + "," + MakeSymbols(), true, {"No advanced"}},
        {"all", cAdvanced + "," + cInput + "," + MakeSymbols(), true, {}},
        {"all and unknown members", cAdvanced + "," + cInput + "," + MakeSymbols(R"(, "New": [1])"), true, {}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mWhat);
        mNumChanges = 0;
        EXPECT_EQ(Load(row.mObjects), row.mIsLoaded);
        EXPECT_EQ(mNumChanges, row.mIsLoaded ? 1 : 0);
        const std::string log = mLog.Take();
        EXPECT_THAT(log, HasSubstr("Read json settings file " + mPath + "\n"));
        for (const std::string& line : row.mLines)
            EXPECT_THAT(log, HasSubstr(line + " settings, reverting to default\n"));
        EXPECT_EQ(log.find("All settings successfully read and verified") != std::string::npos, row.mIsLoaded);
        // What the file has counts, whatever it lacks.
        const bool hasInput = row.mObjects.find("InputSettings") != std::string::npos;
        EXPECT_EQ(GetKey(EAction::Pan), hasInput ? EKeyCode::F5 : EKeyCode::Control);
        EXPECT_EQ(GetKey(EAction::Zoom), EKeyCode::Alt);
        EXPECT_EQ(mSettings.GetAdvancedSettings().KernelSessionRetryMode,
            row.mObjects.find("AdvancedSettings") != std::string::npos ? 7 : 0);
    }
}

TEST_F(SettingsTest, AFileThatCannotBeReadGivesAllDefaultsAndSaysWhere)
{
    const struct
    {
        const char* mText;
        const char* mReason;
    } rows[] = {
        {"", "Error parsing json"},
        {"{\n\"Objects\": [\n}", "(line: 3)"},
        {"\xEF\xBB\xBF{}", "(line: 1)"},
        {"[]", "Unable to find required 'Objects' field"},
        {R"({"Objects": 1})", "'Objects' field must be an array"},
        {R"({"Objects": [{"Type": "Profiler::Nothing"}]})", "Unknown object type Profiler::Nothing"},
        {R"({"Objects": [{"Type": "Profiler::AdvancedSettings", "KernelSessionRetryMode": 7},
            {"Type": "Profiler::InputSettings", "KeyMappings": [{"Action": "Pan", "Key": "Fire"}]}]})",
            "Invalid value for enum Input::EKeyCode"},
        {R"({"Objects": [{"Type": "Profiler::InputSettings", "KeyMappings": [{"Action": 1}]}]})",
            "Expected enum type for Profiler::EAction"},
        {R"({"Objects": [{"Type": "Profiler::InputSettings", "KeyMappings": {"Action": "Pan"}}]})",
            "Expected compound or pointer type"},
        {R"({"Objects": [{"Type": "Profiler::SymbolSettings", "SymbolCacheDirectory": 5}]})", "not a primitive type"},
        {R"({"Objects": [{"Type": "Profiler::InputSettings", "MouseWheelSensitivity": 1e999}]})", "Number too big"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mText);
        mFolder.Replace("settings.json", row.mText);
        EXPECT_FALSE(mSettings.Load(mPath, mRegistry));
        const std::string log = mLog.Take();
        EXPECT_THAT(log, HasSubstr("Could not read json settings file " + mPath + ". Error: Context: " + mPath));
        EXPECT_THAT(log, HasSubstr(row.mReason));
        ExpectDefaults();
        EXPECT_EQ(mFolder.Read("settings.json"), row.mText);
    }
    EXPECT_FALSE(mSettings.Load(mFolder / "none.json", mRegistry));
    EXPECT_THAT(mLog.Take(), HasSubstr("Could not read file"));
    EXPECT_FALSE(mSettings.Load(mFolder.GetPath(), mRegistry));
    ExpectDefaults();
    EXPECT_EQ(mNumChanges, 0);
    // Defaults name folders, they make none.
    EXPECT_THAT(mFolder.ListEntries(), ElementsAre("settings.json"));
}

TEST_F(SettingsTest, DamageOfAnyKindLeavesACompleteSet)
{
    ASSERT_TRUE(Load(cAdvanced + "," + cInput + "," + MakeSymbols()));
    const std::string whole = mFolder.Read("settings.json");
    const auto expectComplete = [this](const std::string& text, std::size_t where) {
        SCOPED_TRACE(where);
        // A path that has changed must not be made.
        const std::size_t cache = text.find((mFolder / "cache") + "\"");
        const std::size_t captures = text.find((mFolder / "captures") + "\"");
        if (cache == std::string::npos || captures == std::string::npos)
            return;
        mFolder.Replace("settings.json", text);
        mSettings.Load(mPath, mRegistry);
        for (const EAction action : {EAction::Zoom, EAction::Pan, EAction::MeasureRange})
            EXPECT_NE(GetKey(action), EKeyCode::None);
        EXPECT_THAT(mSettings.GetInputSettings().GetMouseWheelSensitivity(false),
            testing::AllOf(testing::Ge(0.0f), testing::Le(1.0f)));
        mLog.Take();
    };
    Damage::gVisitFlippedBits(whole, expectComplete);
    Damage::gVisitTruncations(whole, expectComplete);
}

TEST_F(SettingsTest, DirectoriesThatCannotBeMadeFailTheLoadAndStayInstalled)
{
    const std::string file = mFolder.Write("file", "");
    const auto make = [](const std::string& cache, const std::string& captures) {
        return R"({"Type": "Profiler::SymbolSettings", "SymbolCacheDirectory": ")" + cache +
               R"(", "CaptureTargetDirectory": ")" + captures + R"("})";
    };
    const struct
    {
        std::string mCache;
        std::string mCaptures;
        std::string mReason;
    } rows[] = {
        {"", mFolder / "c", "Symbol cache directory is empty"},
        {file + "/c", mFolder / "c", "Unable to create symbol cache directory " + file + "/c"},
        {mFolder / "s", "", "Capture target directory is empty"},
        {mFolder / "s", file + "/c", "Unable to create capture target directory " + file + "/c"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mReason);
        EXPECT_FALSE(Load(cInput + "," + make(row.mCache, row.mCaptures)));
        EXPECT_THAT(mLog.Take(),
            HasSubstr(
                "PostLoad of symbol settings failed: Context: [no context], internal error: " + row.mReason + "\n"));
        EXPECT_EQ(mSettings.GetSymbolSettings().GetSymbolCacheDirectory(), row.mCache);
        EXPECT_EQ(mSettings.GetSymbolSettings().CaptureTargetDirectory, row.mCaptures);
        EXPECT_EQ(GetKey(EAction::Pan), EKeyCode::F5);
    }
    EXPECT_EQ(mNumChanges, 0);
    EXPECT_TRUE(Load(cInput + "," + make((mFolder / "s\\\\deep"), mFolder / "c")));
    EXPECT_EQ(mSettings.GetSymbolSettings().GetSymbolCacheDirectory(), mFolder / "s/deep");
    EXPECT_TRUE(FileSystem::gFileExists(mFolder / "s/deep") && FileSystem::gFileExists(mFolder / "c"));
}

TEST_F(SettingsTest, SavedSettingsAreReadAgain)
{
    // A new folder, as it is on the first run.
    const std::string path = mFolder / "config/quarkspindle/settings.json";
    EXPECT_FALSE(mSettings.Load(path, mRegistry));
    SymbolSettings& symbols = mSettings.GetSymbolSettings();
    symbols.AutomaticallyCheckForUpdates = false;
    symbols.SymbolLocations = {{"/srv/symbols", true}, {"http://localhost", false}};
    InputSettings& input = mSettings.GetInputSettings();
    input.SetKeyMappings({{EAction::Zoom, EKeyCode::Grave}, {EAction::MeasureRange, EKeyCode::None}});
    input.SetMouseMoveSensitivity(1.0f);
    mSettings.GetAdvancedSettings().KernelSessionRetryMode = -2;
    mLog.Take();
    EXPECT_TRUE(mSettings.Save());
    EXPECT_THAT(mLog.Take(), HasSubstr("Settings file: " + path + " was saved correctly\n"));

    Settings again;
    EXPECT_TRUE(again.Load(path, mRegistry));
    EXPECT_FALSE(again.GetSymbolSettings().AutomaticallyCheckForUpdates);
    EXPECT_EQ(again.GetSymbolSettings().SymbolLocations, symbols.SymbolLocations);
    EXPECT_EQ(again.GetInputSettings().GetKeyMap(), input.GetKeyMap());
    EXPECT_EQ(again.GetInputSettings().GetKey(EAction::Pan), EKeyCode::Control);
    EXPECT_EQ(again.GetInputSettings().GetMouseMoveSensitivity(false), 1.0f);
    EXPECT_EQ(again.GetInputSettings().GetMouseWheelSensitivity(false), 0.5f);
    EXPECT_EQ(again.GetAdvancedSettings().KernelSessionRetryMode, -2);
    const std::string text = mFolder.Read("config/quarkspindle/settings.json");
    EXPECT_LT(text.find("Profiler::SymbolSettings"), text.find("Profiler::InputSettings"));
    EXPECT_LT(text.find("Profiler::InputSettings"), text.find("Profiler::AdvancedSettings"));
}

TEST_F(SettingsTest, AFailedSaveLeavesWhatWasThere)
{
    mFolder.Write("file", "precious");
    EXPECT_FALSE(mSettings.Load(mFolder / "file/settings.json", mRegistry));
    EXPECT_FALSE(mSettings.Save());
    EXPECT_THAT(
        mLog.Take(), HasSubstr("There was an error writing settings file: " + mFolder / "file/settings.json: "));
    mFolder.Write("folder/content", "precious");
    EXPECT_FALSE(mSettings.Load(mFolder / "folder", mRegistry));
    EXPECT_FALSE(mSettings.Save());
    EXPECT_THAT(mFolder.ListEntries(), ElementsAre("file", "folder", "folder/content"));
    EXPECT_FALSE(Settings().Save());
}

TEST_F(SettingsTest, AMistypedFileIsKeptBesideItsReplacement)
{
    mFolder.Write("settings.json", R"({"Objects": [ my own work, with a slip ]})");
    EXPECT_FALSE(mSettings.Load(mPath, mRegistry));
    EXPECT_TRUE(mSettings.Save());
    EXPECT_TRUE(mSettings.Save());
    EXPECT_EQ(mFolder.Read("settings.json.unreadable"), R"({"Objects": [ my own work, with a slip ]})");
    EXPECT_TRUE(mSettings.Load(mPath, mRegistry));
}

TEST(InputSettingsTest, RowsOfAFileBecomeAKeyForEveryAction)
{
    using enum EAction;
    const KeyMapping zoom{Zoom, EKeyCode::Alt};
    const KeyMapping pan{Pan, EKeyCode::Control};
    const KeyMapping measure{MeasureRange, EKeyCode::Shift};
    InputSettings settings;
    EXPECT_THAT(settings.GetKeyMappings(), ElementsAre(zoom, pan, measure));

    settings.SetKeyMappings({{MeasureRange, EKeyCode::A}});
    EXPECT_THAT(settings.GetKeyMappings(), ElementsAre(KeyMapping{MeasureRange, EKeyCode::A}, zoom, pan));
    EXPECT_EQ(settings.GetKey(MeasureRange), EKeyCode::A);
    EXPECT_EQ(settings.GetKey(static_cast<EAction>(3)), EKeyCode::None);
    settings.ResetToDefaults();
    EXPECT_THAT(settings.GetKeyMappings(), ElementsAre(zoom, pan, measure));
}

TEST_F(SettingsTest, TheLastRowOfAnActionCountsAndMissingOnesAreAppended)
{
    using enum EAction;
    EXPECT_TRUE(Load(MakeSymbols() + R"(, {"Type": "Profiler::InputSettings", "KeyMappings": [
        {"Action": "Pan", "Key": "`"}, {"Action": "Zoom", "Key": "None"}, {"Action": "Pan", "Key": "'"}]})"));
    EXPECT_THAT(mSettings.GetInputSettings().GetKeyMappings(),
        ElementsAre(KeyMapping{Pan, EKeyCode::Apostrophe}, KeyMapping{Zoom, EKeyCode::None},
            KeyMapping{Pan, EKeyCode::Grave}, KeyMapping{MeasureRange, EKeyCode::Shift}));
    EXPECT_EQ(GetKey(Pan), EKeyCode::Grave);
    EXPECT_EQ(GetKey(Zoom), EKeyCode::None);
}

TEST_F(SettingsTest, SensitivitiesStayInTheirRange)
{
    const struct
    {
        const char* mText;
        float mValue;
        float mCubed;
    } rows[] = {{"0.5", 0.5f, 0.125f}, {"0.0", 0.0f, 0.0f}, {"1.0", 1.0f, 1.0f}, {"1e30", 1.0f, 1.0f},
        {"1e300", 1.0f, 1.0f}, {"-3.5", 0.0f, 0.0f}, {"1e-40", 1e-40f, 0.0f}};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.mText);
        EXPECT_TRUE(Load(MakeSymbols() + R"(, {"Type": "Profiler::InputSettings", "MouseWheelSensitivity": )" +
                         row.mText + R"(, "MouseMoveSensitivity": )" + row.mText + "}"));
        const InputSettings& input = mSettings.GetInputSettings();
        EXPECT_EQ(input.GetMouseWheelSensitivity(false), row.mValue);
        EXPECT_EQ(input.GetMouseMoveSensitivity(false), row.mValue);
        EXPECT_FLOAT_EQ(input.GetMouseWheelSensitivity(true), row.mCubed);
        EXPECT_FLOAT_EQ(input.GetMouseMoveSensitivity(true), row.mCubed);
    }
    mSettings.GetInputSettings().SetMouseWheelSensitivity(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(mSettings.GetInputSettings().GetMouseWheelSensitivity(false), 0.5f);
}

TEST(SymbolSettingsTest, ServersAndFoldersAreToldApart)
{
    const TemporaryFolder folder;
    folder.Write("store/pingme.txt", "");
    folder.Write("plain/file", "");
    const std::string store = folder / "store";
    const std::string plain = folder / "plain";
    SymbolSettings settings;
    settings.SetSymbolCacheDirectory("/c\\d");
    settings.SymbolLocations = {
        {plain, true}, {store, true}, {"HTTP://caps", true}, {"https://off", false}, {"httpd", true}, {"", true}};
    const std::string server = SymbolSettings::cPublicSymbolServer;
    EXPECT_THAT(settings.GetSymbolSearchPaths(), ElementsAre(server, plain, store, "HTTP://caps", "httpd", ""));
    EXPECT_THAT(settings.GetLocalSymbolDirectories(), ElementsAre(plain, "HTTP://caps", ""));
    EXPECT_EQ(settings.GetSymbolServerPath(), "srv*/c/d*" + server + ";srv*/c/d*" + store + ";srv*/c/d*httpd");

    settings.UseMicrosoftSymbolServers = false;
    settings.SymbolLocations = {{store, false}};
    EXPECT_THAT(settings.GetSymbolSearchPaths(), IsEmpty());
    EXPECT_EQ(settings.GetSymbolServerPath(), "");
}

TEST(SymbolSettingsTest, TheHashFollowsWhatIsSearched)
{
    SymbolSettings settings;
    settings.UseMicrosoftSymbolServers = false;
    settings.SetSymbolCacheDirectory("/cache");
    settings.SymbolLocations = {{"/a", true}, {"/b", false}};
    const uint64_t before = settings.GetHash();
    EXPECT_EQ(before, Utility::gXXH64("/cache/a"));
    settings.SymbolLocations[1].Name = "/other";
    EXPECT_EQ(settings.GetHash(), before);
    settings.SymbolLocations[1].Enabled = true;
    EXPECT_EQ(settings.GetHash(), Utility::gXXH64("/cache/a/other"));
    settings.SetSymbolCacheDirectory("/elsewhere");
    EXPECT_NE(settings.GetHash(), before);
}

}
}
