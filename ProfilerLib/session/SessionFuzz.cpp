#include "ProfilerLib/session/Session.h"

#include "ProfilerLib/session/CaptureTypes.h"
#include "ProfilerLib/session/InstrumentationSearchResult.h"
#include "ProfilerLib/session/TraceEventStream.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Testing/FuzzChecks.h"
#include "Serialization/Testing/FuzzContainer.h"
#include "tests/support/FuzzTarget.h"

#include <algorithm>
#include <memory>
#include <set>

namespace Profiler
{
namespace
{
constexpr const char* cFile = "capture.session";

/// A capture's folder whose events stay and whose session file comes from the inputs.
class Capture
{
public:
    Capture()
    {
        gRegisterCaptureTypes(mRegistry);
        Session empty{mFolder / cFile, nullptr, nullptr, nullptr};
        mContainer = std::make_unique<Serialization::Testing::FuzzContainer>(Save(empty));
    }

    void Write(Fuzz::Input input) const { mFolder.Write(cFile, mContainer->Make(input)); }

    std::unique_ptr<Session> Load()
    {
        std::unique_ptr<Session> session;
        Utility::Result result;
        const bool isLoaded =
            Session::sLoad(mFolder / cFile, mRegistry, nullptr, nullptr, nullptr, session, result) != Session::Failed;
        Serialization::Testing::gCheckOutcome(isLoaded, result);
        Fuzz::gCheck(isLoaded == (session != nullptr), "there is a session after a failure");
        return session;
    }

    std::string Save(Session& session) const
    {
        Utility::Result result;
        Fuzz::gCheck(session.Save(result), "a session cannot be saved");
        return mFolder.Read(cFile);
    }

private:
    Fuzz::ScratchFolder mFolder;
    RTTI::TypeRegistry mRegistry;
    std::unique_ptr<Serialization::Testing::FuzzContainer> mContainer;
};

void CheckThreads(Session& session)
{
    const auto isComplete = [&] {
        const std::set<std::int32_t> ids(session.GetThreadOrder().begin(), session.GetThreadOrder().end());
        return ids.size() == session.GetThreadOrder().size() && ids.size() == session.GetThreads().size() &&
               std::ranges::all_of(ids, [&](std::int32_t id) { return session.FindThread(id) != nullptr; });
    };
    Fuzz::gCheck(isComplete(), "the order does not name each thread once");
    session.SortThreads();
    Fuzz::gCheck(isComplete(), "sorting loses a thread");
}

void CheckModules(ModuleDatabase& database)
{
    const std::vector<Module*> modules = database.GetModules();
    Fuzz::gCheck(std::ranges::is_sorted(modules, {}, &Module::GetImageBase), "the modules are not sorted");
    // The first ones tell as much as all.
    for (std::size_t i = 0; i < std::min<std::size_t>(modules.size(), 20); ++i)
    {
        const std::uint64_t base = modules[i]->GetImageBase();
        for (const std::uint64_t address : {base - 1, base, base + 1, modules[i]->GetImageEnd()})
        {
            static_cast<void>(database.FindModule(address, modules[i]->GetLoadTimeMs()));
            Fuzz::gCheck(database.ResolveAddress(address, 1.0, true).mModule != nullptr, "an address has no module");
        }
        const std::vector<ResolvedFunction> functions = modules[i]->GetFunctions();
        for (std::size_t k = 1; k < functions.size(); ++k)
            Fuzz::gCheck(functions[k - 1].Address < functions[k].Address, "functions are out of order, or twice there");
    }
    std::vector<InstrumentationSearchResult> found;
    database.FindFunctions("a", found);
}
}
}

void Fuzz::gRunInput(Input input)
{
    using namespace Profiler;

    static Capture sCapture;
    sCapture.Write(input);
    const std::unique_ptr<Session> session = sCapture.Load();
    if (session == nullptr)
        return;
    const Aside aside;
    CheckThreads(*session);
    CheckModules(session->GetModuleDatabase());
    std::vector<InstrumentationSearchResult> found;
    session->GetInstrumentationDatabase().FindEventsContaining("", found);
    gCheck(found.size() == session->GetInstrumentationDatabase().GetNumEvents(), "an event is not found");

    // Maps come out in any order.
    const std::string saved = sCapture.Save(*session);
    const std::unique_ptr<Session> again = sCapture.Load();
    gCheck(again != nullptr, "what was saved cannot be read");
    gCheck(again->GetThreadOrder() == session->GetThreadOrder(), "the order of the threads changes");
    gCheck(sCapture.Save(*again).size() == saved.size(), "what was read again is saved in another size");
}
