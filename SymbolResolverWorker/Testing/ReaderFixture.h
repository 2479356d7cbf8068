#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ProfilerLib/symbols/SymbolModule.h"
#include "SymbolResolverWorker/ElfReader.h"
#include "SymbolResolverWorker/JobControl.h"
#include "Utility/TemporaryFolder.h"

namespace Symbols::Testing
{

/// What a shell command wrote to its output; a failure of the command fails the test.
std::string gRunShell(const std::string& command);
std::vector<std::string> gSplitLines(const std::string& text);
bool gHasProgram(const std::string& name);

/// Readers held against the tools that everyone trusts.
class ReaderTest : public testing::Test
{
protected:
    /// Compiles with "g++ OPTIONS" from a source of that name, and gives the path of the output.
    std::string Compile(const std::string& name, const std::string& source, const std::string& options);
    /// The file may lack nothing that a reader needs; its debug file is looked for in the system and in `directories`.
    std::unique_ptr<ElfReader> Open(const std::string& path, const std::vector<std::string>& directories = {});
    std::vector<Profiler::Symbol> ReadFunctions(SymbolReader& reader);
    std::vector<Profiler::Symbol> ReadFunctions(const std::string& path) { return ReadFunctions(*Open(path)); }

    TemporaryFolder mFolder;
    JobControl mControl;
};

/// A function as `readelf -sW` has it.
struct ToolFunction
{
    uint64_t mSize = 0;
    std::string mBinding;
    std::string mName; ///< readable
};
std::multimap<uint64_t, ToolFunction> gReadElfSymbols(const std::string& path, const std::string& table);

/// The ranges that the unwind table of an image describes, as readelf has them: begin and end.
std::multimap<uint64_t, uint64_t> gReadUnwindTable(const std::string& path);

}
