#include "ProfilerLib/symbols/SourceLines.h"

#include "ProfilerLib/symbols/FunctionData.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Testing/FuzzChecks.h"
#include "Serialization/Testing/FuzzContainer.h"
#include "Utility/Result.h"
#include "tests/support/FuzzTarget.h"

namespace Profiler
{

namespace
{

constexpr uint64_t cSettingsHash = 1;
constexpr const char* cFile = "module.symlines";

RTTI::TypeRegistry MakeRegistry()
{
    RTTI::TypeRegistry registry;
    gReadySymbolRegistry(registry);
    return registry;
}

std::string Save(SourceLines& lines, const Fuzz::ScratchFolder& folder)
{
    Utility::Result result;
    Fuzz::gCheck(lines.Save(folder / cFile, result), "lines cannot be saved");
    return folder.Read(cFile);
}

}

}

/// Inputs are read as lines of a build with neither GUID nor age.
void Fuzz::gRunInput(Input input)
{
    using namespace Profiler;

    static const ScratchFolder sFolder;
    static const RTTI::TypeRegistry sRegistry = MakeRegistry();
    static const Serialization::Testing::FuzzContainer sContainer = [] {
        SourceLines empty;
        return Serialization::Testing::FuzzContainer{Save(empty, sFolder)};
    }();

    const std::string path = sFolder.Write(cFile, sContainer.Make(input));
    Utility::Result result;
    const auto lines = SourceLines::Load(path, sRegistry, PDBKey{}, cSettingsHash, result);
    Serialization::Testing::gCheckOutcome(lines != nullptr, result);
    if (lines == nullptr)
        return;
    const Aside aside;
    const SourceLineData found = lines->Find({0, 1, 0x1000});
    gCheck(found.IsComplete(), "a line has no path");

    const std::string saved = Save(*lines, sFolder);
    const auto again = SourceLines::Load(path, sRegistry, PDBKey{}, cSettingsHash, result);
    gCheck(again != nullptr, "what was saved cannot be read");
    gCheck(Save(*again, sFolder) == saved, "what was read again is saved as other bytes");
}
