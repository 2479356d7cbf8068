#include "Quarkspindle/commands/SnapshotCommand.h"

#include <algorithm>

#include <CLI/CLI.hpp>

#include "Quarkspindle/NumberPair.h"
#include "Utility/Format.h"

namespace Quarkspindle
{

namespace
{

std::string CheckRange(const std::string& text)
{
    const auto range = gParseNumberPair(text, ':');
    return range && range->first <= range->second ? std::string{} : "It is not FIRST:LAST";
}

std::string CheckSize(const std::string& text)
{
    constexpr int cSmallest = 200;
    constexpr int cLargest = 8192;
    const auto size = gParseNumberPair(text, 'x');
    const bool isSize =
        size && std::min(size->first, size->second) >= cSmallest && std::max(size->first, size->second) <= cLargest;
    return isSize ? std::string{} : Utility::gFormat("It is not WxH with both from %d to %d", cSmallest, cLargest);
}

}

void SnapshotCommand::Declare(CLI::App& program)
{
    CLI::App& word = AddWord(program, "snapshot", "Draw a chart into a PNG file, without a window on the screen");
    word.add_option("CAPTURE", mRequest.mPath, "Capture directory, .session file, or a trace")->required();
    word.add_option("--event", mRequest.mEvent, "Name of the event, exactly as 'list' shows it")
        ->required()
        ->type_name("NAME");
    word.add_option("--thread", mRequest.mThreadID, "Thread id; without it the thread where the event occurs first")
        ->type_name("ID");
    word.add_option("--size", mSize, "Size of the picture in pixels")
        ->type_name("WxH")
        ->check(CLI::Validator{CheckSize, "", "size"})
        ->capture_default_str();
    word.add_option("--range", mRange, "Show these occurrences only, by their numbers from 0")
        ->type_name("FIRST:LAST")
        ->check(CLI::Validator{CheckRange, "", "range"});
    word.add_flag("--window", mRequest.mWithWindow, "Draw the whole window, with its lists, table and histogram");
    word.add_option("-o,--output", mRequest.mOutput, "The PNG file")->required()->type_name("FILE");
}

bool SnapshotCommand::Run(const CommandContext& context, Utility::Result& result)
{
    // Both have been checked.
    mRequest.mSize = gParseNumberPair(mSize, 'x').value_or(mRequest.mSize);
    mRequest.mRange = gParseNumberPair(mRange, ':');
    const WindowModule* module = gLoadWindowModule(result);
    return module != nullptr && module->TakeSnapshot(mRequest, context.Interrupted, result);
}

}
