#include "SymbolResolverWorker/Testing/ReaderFixture.h"

#include <array>
#include <cstdio>
#include <sstream>

#include "SymbolResolverWorker/DebugFileFinder.h"
#include "SymbolResolverWorker/FunctionName.h"
#include "Utility/Result.h"

namespace Symbols::Testing
{

std::string gRunShell(const std::string& command)
{
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    std::array<char, 65536> block;
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), pipe))
        output.append(block.data(), count);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
}

std::vector<std::string> gSplitLines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream{text};
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

bool gHasProgram(const std::string& name)
{
    return !gRunShell("command -v " + name + " || true").empty();
}

std::string ReaderTest::Compile(const std::string& name, const std::string& source, const std::string& options)
{
    const std::string path = mFolder.Write(name, source);
    gRunShell("cd " + mFolder.GetPath() + " && g++ " + options + " " + path + " -o " + path + ".so 2>&1");
    return path + ".so";
}

std::unique_ptr<ElfReader> ReaderTest::Open(const std::string& path, const std::vector<std::string>& directories)
{
    Utility::Result result;
    auto image = std::make_unique<ElfFile>();
    EXPECT_TRUE(image->Open(path, result)) << result.ToString();
    auto debugFile = gFindDebugFile(*image, directories, mControl);
    return std::make_unique<ElfReader>(std::move(image), std::move(debugFile), mControl);
}

std::vector<Profiler::Symbol> ReaderTest::ReadFunctions(SymbolReader& reader)
{
    Utility::Result result;
    std::vector<Profiler::Symbol> functions;
    EXPECT_TRUE(reader.ReadFunctions(functions, mControl, result)) << result.ToString();
    EXPECT_TRUE(std::ranges::is_sorted(functions, {}, &Profiler::Symbol::Address));
    return functions;
}

std::multimap<uint64_t, ToolFunction> gReadElfSymbols(const std::string& path, const std::string& table)
{
    std::multimap<uint64_t, ToolFunction> functions;
    bool isWanted = false;
    for (const std::string& line : gSplitLines(gRunShell("readelf -sW " + path)))
    {
        if (line.starts_with("Symbol table"))
            isWanted = line.find("'" + table + "'") != std::string::npos;
        std::istringstream fields{line};
        std::string number, address, size, type, binding, visibility, section, name;
        fields >> number >> address >> size >> type >> binding >> visibility >> section >> name;
        if (!isWanted || (type != "FUNC" && type != "IFUNC") || section == "UND")
            continue;
        functions.insert({std::stoull(address, nullptr, 16),
            {std::stoull(size, nullptr, 0), binding, gMakeReadable(gCutVersion(name))}});
    }
    return functions;
}

std::multimap<uint64_t, uint64_t> gReadUnwindTable(const std::string& path)
{
    std::multimap<uint64_t, uint64_t> ranges;
    // "00000018 0000000000000024 0000001c FDE cie=00000000 pc=0000000000010020..0000000000010220"
    for (const std::string& line : gSplitLines(gRunShell("readelf -wF " + path + " | grep ' FDE '")))
    {
        const std::size_t begin = line.find("pc=") + 3;
        const std::size_t end = line.find("..") + 2;
        ranges.insert({std::stoull(line.substr(begin), nullptr, 16), std::stoull(line.substr(end), nullptr, 16)});
    }
    return ranges;
}

}
