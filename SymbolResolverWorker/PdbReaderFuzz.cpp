#include "SymbolResolverWorker/PdbReader.h"

#include <algorithm>

#include "SymbolResolverWorker/ImageIdentity.h"
#include "SymbolResolverWorker/JobControl.h"
#include "Utility/Result.h"
#include "tests/support/FuzzTarget.h"

/// Program databases; and, since their first bytes differ, the files that `ImageIdentity` tells apart.
void Fuzz::gRunInput(Input input)
{
    using namespace Symbols;

    static const ScratchFolder sFolder;
    const std::string path = sFolder.Write("image.pdb", input);
    Utility::Result result;
    ImageIdentity identity;
    gCheck(identity.Read(path, result) != result.HasErrors(), "an image is refused without a reason");

    result.Clear();
    const JobControl control;
    PdbReader reader;
    if (!reader.Open(path, result))
        return gCheck(result.HasErrors(), "a file is refused without a reason");
    std::vector<Profiler::Symbol> functions;
    if (!reader.ReadFunctions(functions, control, result))
        return gCheck(result.HasErrors(), "functions are refused without a reason");
    for (std::size_t i = 0; i < functions.size(); ++i)
    {
        gCheck(i == 0 || functions[i - 1].Address < functions[i].Address, "two functions are at one address");
        gCheck(!functions[i].Name.empty(), "a function has no name");
    }
    for (std::size_t i = 0; i < std::min<std::size_t>(functions.size(), 8); ++i)
    {
        const Profiler::Symbol& function = functions[i];
        if (const auto line = reader.FindLine(function.Address))
        {
            gCheck(line->mLine > 0, "a line has no number");
            const auto again = reader.FindLineInFile(function.Address, function.Address, line->mPath);
            gCheck(again == line->mLine, "a line is another one in its own file");
        }
    }
}
