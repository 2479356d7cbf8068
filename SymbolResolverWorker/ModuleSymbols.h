#pragma once

#include <memory>
#include <string>

#include "SymbolResolverWorker/SymbolReader.h"
#include "SymbolResolverWorker/SymbolSearch.h"

namespace Profiler
{
struct PDBKey;
}

namespace Symbols
{

class CodeImage;
class JobControl;

/// All that could be found for one module: its symbols, and its image when that is on this machine. What is found
/// belongs to exactly the build that the key names. One thread.
class ModuleSymbols
{
public:
    enum class EOutcome : uint8_t
    {
        Found,
        NotFound,   ///< there are no symbols to be had
        Unreadable, ///< there are, but they cannot be read
        Stopped,    ///< the job ended before it was known
    };

    /// Other than `Found` with the reason in `result`. `control` must outlive this.
    [[nodiscard]] EOutcome Open(
        const Profiler::PDBKey& key, const SymbolSearch& search, const JobControl& control, Utility::Result& result);

    SymbolReader& GetReader() { return *mReader; }
    /// Null when the image is not there.
    const CodeImage* GetImage() const { return mImage; }

private:
    EOutcome OpenElf(
        const Profiler::PDBKey& key, const SymbolSearch& search, const JobControl& control, Utility::Result& result);
    EOutcome OpenPdb(
        const Profiler::PDBKey& key, const SymbolSearch& search, const JobControl& control, Utility::Result& result);
    void FindPeImage(const Profiler::PDBKey& key, const SymbolSearch& search);

    std::unique_ptr<SymbolReader> mReader;
    std::unique_ptr<CodeImage> mOwnedImage;
    const CodeImage* mImage = nullptr;
};

}
