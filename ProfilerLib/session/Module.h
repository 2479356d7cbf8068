#pragma once

#include <atomic>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ProfilerLib/session/InstrumentationSearchResult.h"
#include "ProfilerLib/symbols/PDBKey.h"
#include "ProfilerLib/symbols/ResolvedAddress.h"
#include "ProfilerLib/symbols/ResolvedFunction.h"
#include "ProfilerLib/symbols/SymbolSource.h"
#include "Serialization/RTTI/TypeOf.h"
#include "Utility/Mutex.h"

namespace Profiler
{

class SymbolModule;

/// What a recorder knows of an image. Times are milliseconds on the capture's clock.
struct ModuleImage
{
    static constexpr double cAlwaysLoaded = std::numeric_limits<double>::lowest();
    static constexpr double cNeverUnloaded = std::numeric_limits<double>::max();

    std::string_view mPath;
    uint64_t mImageBase = ~uint64_t{0};
    int32_t mImageSize = -1;
    int32_t mTimeStamp = -1;
    int32_t mPDBAge = -1;
    SerializableGUID mPDBGUID;
    std::string_view mPDBName;
    double mLoadTimeMs = cAlwaysLoaded;
    double mUnloadTimeMs = cNeverUnloaded;
};

/// An image that was mapped into the recorded process or the kernel, and the functions of it that were asked for. Owned
/// by its `ModuleDatabase`, lives as long as that, and is not moved. Lookups may come from any thread; they load the
/// image's symbols when they need them, which takes long and holds no lock. What the lookups find is saved with the
/// session.
class Module
{
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<Module>("Profiler::Module", RTTI::Version{1}, RTTI::Field<&Module::mName>{"Name"},
            RTTI::Field<&Module::mPath>{"Path"}, RTTI::Field<&Module::mImageBase>{"ImageBase"},
            RTTI::Field<&Module::mImageEnd>{"ImageEnd"}, RTTI::Field<&Module::mImageSize>{"ImageSize"},
            RTTI::Field<&Module::mImageTimeStamp>{"ImageTimeStamp"}, RTTI::Field<&Module::mPDBName>{"PDBName"},
            RTTI::Field<&Module::mPDBAge>{"PDBAge"}, RTTI::Field<&Module::mPDBGUID>{"PDBGUID"},
            RTTI::Field<&Module::mLoadTimeMs>{"LoadTimeMs"}, RTTI::Field<&Module::mUnloadTimeMs>{"UnloadTimeMs"},
            RTTI::Field<&Module::mResolvedFunctions>{"ResolvedFunctions"},
            RTTI::Field<&Module::mFunctions>{"Functions"});
    }

public:
    /// What is known of the symbols.
    enum class ELoadState : uint8_t
    {
        Unknown = 0, ///< of a running recording, nothing tried yet
        Loaded = 1,
        Failed = 2, ///< not tried again
        Stored = 3, ///< read from a session, with what was resolved at recording time
    };

    /// Whether an image was mapped at a time, as far as its two times say.
    enum class EMapped : uint8_t
    {
        Yes,
        Later,  ///< it was loaded after that time
        Before, ///< it was gone by then
    };

    /// Without a source no symbols are ever found.
    explicit Module(SymbolSource* symbolCache = nullptr);
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;
    ~Module();

    /// The function at an address. When none was found, the result names this module and the function "Unknown". With
    /// `cachedOnly` a module that was read from a session answers from what is stored with it.
    ResolvedAddress ResolveAddress(uint64_t address, bool cachedOnly);

    /// The function of exactly that name; a result without a module when there is none.
    ResolvedAddress ResolveFunctionByName(std::string_view name, bool cachedOnly);

    /// Blocks until the source has found or refused the symbols. Two threads may do this at once.
    bool LoadPDB();

    /// Pass a request on to the source. Without one, `onCancelled` is called at once and the request is none.
    ResolveRequest ResolveFunctionData(const ResolvedAddress& resolvedAddress, uint64_t functionLineAddress,
        uint64_t cursorLineAddress, SymbolSource::FunctionDataHandler onFunctionData,
        SymbolSource::LineDataHandler onLineData, SymbolSource::CancelHandler onCancelled);
    ResolveRequest ResolveLineData(const std::vector<uint64_t>& addresses, SymbolSource::LineDataHandler onLineData,
        SymbolSource::CancelHandler onCancelled);

    /// Appends the resolved functions whose name contains `text`, whatever the case.
    void FindFunctions(std::string_view text, std::vector<InstrumentationSearchResult>& results) const;

    /// The database's: once, before anyone else knows the module.
    void SetImage(const ModuleImage& image);
    /// The database's: puts in what is not known yet of the same image.
    void FillGaps(const ModuleImage& image);
    /// The database's: makes a usable module of what a file held. Functions that are not in order are sorted, and of
    /// several at one address the first stays.
    void OnLoaded();
    /// The database's: a module that stands for addresses in no module. It never loads anything.
    void SetPlaceholder(std::string_view name);

    /// The database's, which takes it behind its own.
    Utility::RecursiveMutex& GetLock() const { return mLock; }

    /// False for an address below the base; a module of unknown size contains nothing.
    bool Contains(uint64_t address) const;
    EMapped GetMapped(double timeMs) const;

    uint64_t GetImageBase() const { return mImageBase; }
    uint64_t GetImageEnd() const { return mImageEnd; }
    int32_t GetImageSize() const { return mImageSize; }
    std::string GetName() const;
    std::string GetPath() const;
    PDBKey GetPDBKey() const;
    double GetLoadTimeMs() const;
    double GetUnloadTimeMs() const;
    std::vector<ResolvedFunction> GetFunctions() const;
    ELoadState GetLoadState() const { return mLoadState.load(std::memory_order_acquire); }

private:
    using FunctionMap = std::unordered_map<uint64_t, ResolvedFunction>;

    /// The fields that the source identifies a program database by.
    struct Identity
    {
        std::string mName;
        std::string mPath;
        std::string mPDBName;
        int32_t mImageTimeStamp;
        int32_t mPDBAge;
        SerializableGUID mPDBGUID;
    };

    Identity GetIdentity() const;
    bool IsLoaded(bool cachedOnly);
    ResolvedAddress MakeResolved(const ResolvedFunction& function, uint64_t address);
    void SortFunctions() REQUIRES(mLock);
    const ResolvedFunction* FindFunction(uint64_t address) const REQUIRES(mLock);

    mutable Utility::RecursiveMutex mLock; ///< taken after the database's

    // Set before the module is found by anyone, constant from then on.
    SymbolSource* const mSymbolCache;
    const ResolvedFunction mUnknownFunction;
    uint64_t mImageBase = ~uint64_t{0};
    uint64_t mImageEnd = ~uint64_t{0};
    int32_t mImageSize = -1;

    std::string mName GUARDED_BY(mLock);
    std::string mPath GUARDED_BY(mLock);
    int32_t mImageTimeStamp GUARDED_BY(mLock) = -1;
    std::string mPDBName GUARDED_BY(mLock);
    int32_t mPDBAge GUARDED_BY(mLock) = -1;
    SerializableGUID mPDBGUID GUARDED_BY(mLock);
    double mLoadTimeMs GUARDED_BY(mLock) = ModuleImage::cAlwaysLoaded;
    double mUnloadTimeMs GUARDED_BY(mLock) = ModuleImage::cNeverUnloaded;
    FunctionMap mResolvedFunctions GUARDED_BY(mLock);           ///< an older form, moved to `mFunctions` at load
    std::vector<ResolvedFunction> mFunctions GUARDED_BY(mLock); ///< by address, no two with one

    // Read outside the lock: the symbol module is stored before the state that says that it is there (release), and
    // read after it (acquire).
    std::atomic<const SymbolModule*> mSymbolModule = nullptr;
    std::atomic<ELoadState> mLoadState = ELoadState::Unknown;
};

}
