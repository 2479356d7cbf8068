#include "ProfilerLib/symbols/RemoteMessage.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "Networking/Frame.h"
#include "Networking/MessageSender.h"
#include "ProfilerLib/symbols/ConvertPDBJob.h"
#include "ProfilerLib/symbols/FunctionData.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "ProfilerLib/symbols/ResolveFunctionDataJob.h"
#include "Serialization/BinaryFormat.h"
#include "Serialization/RTTI/TypeQueries.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Utility/InputMemoryStream.h"
#include "Utility/OutputMemoryStream.h"
#include "Utility/Result.h"

namespace Profiler
{

namespace
{

const PDBKey cKey{"c:/app.exe", 1, 2, 3, {4, 5}, "app.pdb"};

/// Keeps what was sent last.
class Recorder : public Networking::MessageSender
{
public:
    void Send(uint8_t id, const void* data, uint32_t length) override
    {
        mID = id;
        mPayload.assign(static_cast<const char*>(data), length);
    }

    int mID = -1;
    std::string mPayload;
};

class RemoteMessageTest : public testing::Test
{
protected:
    RemoteMessageTest() { gReadySymbolRegistry(mRegistry); }

    template <class T>
    std::unique_ptr<T> Read(std::string_view payload)
    {
        mResult.Clear();
        Utility::InputMemoryStream stream{payload.data(), payload.size()};
        return ReadObject<T>(mRegistry, stream, mResult);
    }

    template <class T>
    std::unique_ptr<T> SendAndRead(T object)
    {
        EXPECT_TRUE(SendObject(mRecorder, ERemoteMessage::Ping, object));
        EXPECT_EQ(mRecorder.mID, 7);
        auto read = Read<T>(mRecorder.mPayload);
        EXPECT_NE(read, nullptr) << mResult.ToString();
        return read;
    }

    RTTI::TypeRegistry mRegistry;
    Recorder mRecorder;
    Utility::Result mResult;
};

TEST_F(RemoteMessageTest, RecordsComeBackAsTheyWereSent)
{
    const auto convert = SendAndRead(ConvertPDBJob{cKey, 77, "/cache/app.symcache", "srv*a*b", "/cache", {"x", "y"}});
    EXPECT_EQ(convert->JobHandle, -1);
    EXPECT_EQ(convert->Key, cKey);
    EXPECT_EQ(convert->SymbolSettingsHash, 77u);
    EXPECT_EQ(convert->CacheFilePath, "/cache/app.symcache");
    EXPECT_EQ(convert->SymbolServerPath, "srv*a*b");
    EXPECT_EQ(convert->SymbolCacheDirectory, "/cache");
    EXPECT_EQ(convert->LocalSymbolDirectories, (std::vector<std::string>{"x", "y"}));

    ResolveFunctionDataJob function{cKey, 0x400000, "s", "c", {"l"}, 1, 2, 3, 4};
    function.JobHandle = 12;
    const auto functionRead = SendAndRead(function);
    EXPECT_EQ(functionRead->JobHandle, 12);
    EXPECT_EQ(functionRead->ModuleBaseAddress, 0x400000u);
    EXPECT_EQ(functionRead->CursorLineAddress, 4u);
    EXPECT_EQ(SendAndRead(ResolveLineDataJob{cKey, 1, "s", "c", {}, {7, 8}})->AddressesToResolve,
        (std::vector<uint64_t>{7, 8}));

    const auto result = SendAndRead(ConvertPDBResult{cKey, "path", 5, ConvertPDBResult::EResult::FileError});
    EXPECT_EQ(result->Result, ConvertPDBResult::EResult::FileError);
    EXPECT_EQ(
        SendAndRead(ConvertPDBProgress{cKey, ESymbolLoadState::Finished})->SymbolLoadState, ESymbolLoadState::Finished);
    EXPECT_TRUE(SendAndRead(RemoteJobCompleted{3, true})->Canceled);
    EXPECT_EQ(SendAndRead(CancelRemoteJob{9})->JobHandle, 9);

    FunctionData data;
    data.Result = EResolveFunctionDataResult::SourceUnmatched;
    data.Instructions = {{500, 0x401000, 0xFFFF, "call", "0x402000", true}};
    const auto dataRead = SendAndRead(data);
    EXPECT_EQ(dataRead->Result, EResolveFunctionDataResult::SourceUnmatched);
    EXPECT_EQ(dataRead->Instructions, data.Instructions);
    FunctionLineData lines;
    lines.Lines = {1, -1};
    EXPECT_EQ(SendAndRead(lines)->Lines, lines.Lines);

    // Those that are derived pass for what they are derived from.
    SourceLineData sourceLines;
    sourceLines.Lines = {1, -1};
    sourceLines.Paths = {"a.cpp"};
    sourceLines.PathIndices = {0, 0};
    ASSERT_TRUE(SendObject(mRecorder, ERemoteMessage::LineResult, sourceLines));
    const auto linesRead = Read<FunctionLineData>(mRecorder.mPayload);
    ASSERT_TRUE(linesRead != nullptr && RTTI::gIsA<SourceLineData>(*linesRead)) << mResult.ToString();
    EXPECT_EQ(linesRead->Lines, lines.Lines);
    EXPECT_EQ(static_cast<const SourceLineData&>(*linesRead).Paths, sourceLines.Paths);
    EXPECT_EQ(SendAndRead(ResolveSourceLinesJob{cKey, 0, "s", "c", {}, {7, 8}})->AddressesToResolve,
        (std::vector<uint64_t>{7, 8}));
}

/// The example of the format page; the schema is that of containers.
TEST_F(RemoteMessageTest, HasTheBytesOfTheFormat)
{
    using namespace std::string_literals;
    RemoteJobCompleted completed{0, true};
    ASSERT_TRUE(SendObject(mRecorder, ERemoteMessage::JobCompleted, completed));
    const std::string& payload = mRecorder.mPayload;
    EXPECT_EQ(Networking::gMakeHeader(static_cast<uint8_t>(mRecorder.mID), static_cast<uint32_t>(payload.size())),
        0x0200000000000507u);
    const std::string root = "\x01\0\0\0\0\0\0\0"
                             "\x1C\0\0\0\0\0\0\0Profiler::RemoteJobCompleted"
                             "\x05\0\0\0\0\0\0\0"
                             "\0\0\0\0"
                             "\x01"
                             "\x72\xA0\xB3\x49\xD2\x3B\x12\x83"s;
    EXPECT_TRUE(payload.ends_with(root));
}

TEST_F(RemoteMessageTest, TypesKeepTheirStoredNames)
{
    const struct
    {
        const RTTI::TypeHandle& mType;
        const char* mName;
        std::vector<std::string> mProperties;
    } rows[] = {
        {RTTI::gTypeOf<RemoteJobBase>(), "Profiler::RemoteJobBase", {"JobHandle int32_t"}},
        {RTTI::gTypeOf<ConvertPDBJob>(), "Profiler::ConvertPDBJob",
            {"Key Profiler::PDBKey", "SymbolSettingsHash uint64_t", "CacheFilePath std::string",
                "SymbolServerPath std::string", "SymbolCacheDirectory std::string",
                "LocalSymbolDirectories Array_std::string"}},
        {RTTI::gTypeOf<ResolveFunctionDataJobBase>(), "Profiler::ResolveFunctionDataJobBase",
            {"Key Profiler::PDBKey", "ModuleBaseAddress uint64_t", "SymbolServerPath std::string",
                "SymbolCacheDirectory std::string", "LocalSymbolDirectories Array_std::string"}},
        {RTTI::gTypeOf<ResolveFunctionDataJob>(), "Profiler::ResolveFunctionDataJob",
            {"FunctionAddress uint64_t", "FunctionSize uint64_t", "FunctionLineAddress uint64_t",
                "CursorLineAddress uint64_t"}},
        {RTTI::gTypeOf<ResolveLineDataJob>(), "Profiler::ResolveLineDataJob", {"AddressesToResolve Array_uint64_t"}},
        {RTTI::gTypeOf<ConvertPDBProgress>(), "Profiler::ConvertPDBProgress",
            {"Key Profiler::PDBKey", "SymbolLoadState Profiler::ESymbolLoadState"}},
        {RTTI::gTypeOf<ConvertPDBResult>(), "Profiler::ConvertPDBResult",
            {"Key Profiler::PDBKey", "SymbolModulePath std::string", "SymbolSettingsHash uint64_t",
                "Result Profiler::ConvertPDBResult::EResult"}},
        {RTTI::gTypeOf<AsmInstruction>(), "Profiler::AsmInstruction",
            {"ID uint32_t", "Address uint64_t", "Size uint16_t", "Mnemonic std::string", "OpStr std::string",
                "IsCallInstruction bool"}},
        {RTTI::gTypeOf<FunctionData>(), "Profiler::FunctionData",
            {"Result Profiler::EResolveFunctionDataResult", "DisassemblyResult Profiler::EDisassemblyResult",
                "ErrorMessage std::string", "SourcePath std::string", "ResolvedFunctionLine int32_t",
                "ResolvedCursorLine int32_t", "Instructions Array_Profiler::AsmInstruction"}},
        {RTTI::gTypeOf<FunctionLineData>(), "Profiler::FunctionLineData",
            {"Lines Array_int32_t", "Result Profiler::EResolveLineDataResult", "ErrorMessage std::string"}},
        {RTTI::gTypeOf<ResolveSourceLinesJob>(), "Profiler::ResolveSourceLinesJob", {}},
        {RTTI::gTypeOf<SourceLineData>(), "Profiler::SourceLineData",
            {"Paths Array_std::string", "PathIndices Array_uint32_t"}},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(row.mType.GetName(), row.mName);
        EXPECT_EQ(RTTI::gGetCompound(row.mType).Version, 1);
        std::vector<std::string> properties;
        for (int32_t i = 0; i < RTTI::gGetNumProperties(row.mType); ++i)
        {
            const RTTI::Property& property = RTTI::gGetProperty(row.mType, i);
            properties.push_back(std::string{property.Name} + " " + property.Type->Info->Name);
        }
        EXPECT_EQ(properties, row.mProperties) << row.mName;
    }
    EXPECT_EQ(RTTI::gTypeOf<ESymbolLoadState>().Info->Size, 4);
    EXPECT_EQ(RTTI::gTypeOf<EDisassemblyResult>().Info->Size, 1);
}

TEST_F(RemoteMessageTest, ABaseTakesAnyOfItsJobs)
{
    ConvertPDBJob job{cKey, 0, "", "", "", {}};
    job.JobHandle = 41;
    ASSERT_TRUE(SendObject(mRecorder, ERemoteMessage::RunJob, job));
    const auto read = Read<RemoteJobBase>(mRecorder.mPayload);
    ASSERT_NE(read, nullptr) << mResult.ToString();
    EXPECT_EQ(read->JobHandle, 41);
    EXPECT_TRUE(RTTI::gIsA<ConvertPDBJob>(*read));
}

TEST_F(RemoteMessageTest, OtherPayloadsAreRefusedWithAReason)
{
    RemoteJobCompleted completed{1, false};
    ASSERT_TRUE(SendObject(mRecorder, ERemoteMessage::JobCompleted, completed));
    const std::string good = mRecorder.mPayload;
    const auto pack = [this](const std::vector<RTTI::Object*>& objects) {
        Utility::OutputMemoryStream stream;
        EXPECT_TRUE(Serialization::gWriteBinary(stream, objects, mResult));
        return std::string{reinterpret_cast<const char*>(stream.GetBuffer()), stream.GetSize()};
    };
    const struct
    {
        const char* mWhat;
        std::string mPayload;
        const char* mReason;
    } rows[] = {
        {"nothing", "", ""},
        {"half of it", good.substr(0, good.size() / 2), ""},
        {"no object", pack({}), "A message holds one object, not 0"},
        {"two objects", pack({&completed, &completed}), "A message holds one object, not 2"},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(Read<RemoteJobCompleted>(row.mPayload), nullptr) << row.mWhat;
        EXPECT_NE(mResult.ToString().find(row.mReason), std::string::npos) << row.mWhat << ": " << mResult.ToString();
        EXPECT_TRUE(mResult.HasErrors()) << row.mWhat;
    }
    EXPECT_EQ(Read<CancelRemoteJob>(good), nullptr);
    EXPECT_NE(mResult.ToString().find("was to hold a Profiler::CancelRemoteJob, and holds a "), std::string::npos);
}

}

}
