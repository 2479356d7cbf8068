#include "ProfilerLib/symbols/SymbolModule.h"

#include <algorithm>
#include <limits>

#include "ProfilerLib/symbols/RegisterTypes.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Testing/FuzzChecks.h"
#include "Serialization/Testing/FuzzContainer.h"
#include "tests/support/FuzzTarget.h"

namespace Profiler
{

namespace
{

constexpr uint64_t cSettingsHash = 1;
constexpr const char* cFile = "module.symcache";

RTTI::TypeRegistry MakeRegistry()
{
    RTTI::TypeRegistry registry;
    gReadySymbolRegistry(registry);
    return registry;
}

std::string Save(SymbolModule& module, const Fuzz::ScratchFolder& folder)
{
    Utility::Result result;
    Fuzz::gCheck(module.Save(folder / cFile, result), "a module cannot be saved");
    return folder.Read(cFile);
}

/// At the bounds of each function, what is found is what the list says.
void CheckLookup(const SymbolModule& module, uint64_t address)
{
    const auto& functions = module.GetFunctions();
    const auto behind = std::ranges::upper_bound(functions, address, {}, &Symbol::Address);
    const bool isCovered =
        behind != functions.begin() && std::any_of(functions.begin(), behind, [&](const Symbol& symbol) {
            return symbol.Address == std::prev(behind)->Address &&
                   (symbol.Size == 0 || address - symbol.Address < symbol.Size);
        });
    const Symbol* found = module.FindByAddress(0, address);
    if (found == nullptr)
        return;
    Fuzz::gCheck(isCovered, "an address is found that no function covers");
    Fuzz::gCheck(found->Address == std::prev(behind)->Address, "an address is found in an earlier function");
}

}

}

void Fuzz::gRunInput(Input input)
{
    using namespace Profiler;

    static const ScratchFolder sFolder;
    static const RTTI::TypeRegistry sRegistry = MakeRegistry();
    static const Serialization::Testing::FuzzContainer sContainer = [] {
        SymbolModule empty;
        return Serialization::Testing::FuzzContainer{Save(empty, sFolder)};
    }();

    const std::string path = sFolder.Write(cFile, sContainer.Make(input));
    Utility::Result result;
    const auto module = SymbolModule::Load(path, sRegistry, cSettingsHash, result);
    Serialization::Testing::gCheckOutcome(module != nullptr, result);
    if (module == nullptr)
        return;
    const Aside aside;
    const auto& functions = module->GetFunctions();
    gCheck(std::ranges::is_sorted(functions, {}, &Symbol::Address), "the functions are not sorted");
    // The first ones tell as much as all.
    for (std::size_t i = 0; i < std::min<std::size_t>(functions.size(), 20); ++i)
    {
        const Symbol& symbol = functions[i];
        for (const uint64_t address : {symbol.Address, symbol.Address - 1, symbol.Address + symbol.Size})
            CheckLookup(*module, address);
        const Symbol* named = module->FindByName(symbol.Name);
        gCheck(named != nullptr && named->Name == symbol.Name, "a function is not found by its name");
    }

    const std::string saved = Save(*module, sFolder);
    // An empty module is read only under its own settings.
    const auto again = SymbolModule::Load(path, sRegistry, module->GetSymbolSettingsHash(), result);
    gCheck(again != nullptr, "what was saved cannot be read");
    gCheck(Save(*again, sFolder) == saved, "what was read again is saved as other bytes");
}
