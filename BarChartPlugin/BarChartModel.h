#pragma once

#include "BarChartPlugin/BarChart.h"
#include "BarChartPlugin/BarChartDescription.h"
#include "ProfilerLib/plugin/Model.h"
#include "Serialization/RTTI/TypeOf.h"
#include "System/JobScheduler.h"
#include "Utility/Mutex.h"
#include "Utility/Result.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace Profiler
{

/// The name of the folder in a capture's directory, and of the one file in it.
inline constexpr const char* cBarChartFolder = "BarChart";
inline constexpr const char* cBarChartModelFile = "Model.dat";

/// The charts of one session: the list of all that it can show, noted while its events go by, and those that were
/// computed, each on demand and by one pass over the event stream on a job. The session owns it.
///
/// `ProcessEvent`, `Reset` and `Save` belong to the session's event path. `GetOrCreateBarChart` and `FindBarChart` may
/// be called from any thread once the events have been processed. No job may run when the model dies: whoever requests
/// a chart waits for it.
///
/// The host links this class too and calls models that a plug-in made. All that it may call there is virtual, so that
/// it is always the code of the image that made the model which runs; see `gAsBarChartModel`. For the same reason it is
/// not final: that would let the host's compiler call its own copy.
class BarChartModel : public Model
{
public:
    using Callback = std::function<void(BarChart& chart)>;

    BarChartModel(Plugin* plugin, Session* session);
    ~BarChartModel() override;

    /// The model as the session's directory holds it. A file that is damaged or contradicts itself fails with
    /// `Serialization::CorruptData`, and `outModel` keeps what it held. Creates the folder in any case.
    [[nodiscard]] static bool sLoad(
        Plugin& plugin, Session& session, std::unique_ptr<BarChartModel>& outModel, Utility::Result& result);

    const RTTI::TypeHandle& GetType() const override { return RTTI::gTypeOf<BarChartModel>(); }

    const ModelResult& ProcessEvent(const TraceEvent& event) override;

    /// Deletes the folder with all that it holds. The lists stay.
    void Reset() override;

    /// Writes the file. Holds the lock while it does, so that a job that finishes meanwhile publishes afterwards.
    const ModelResult& Save() override;

    /// Every pair of event name and thread that was seen, in the order of first appearance.
    virtual const std::vector<BarChartDescription>& GetAllBarCharts() const;

    /// The first computed chart of that description, or null. It lives as long as the model.
    virtual BarChart* FindBarChart(int32_t threadID, const std::string& name);

    /// Cancels `previousJob`, without waiting for it. A chart that is there already is given to `callback` at once, on
    /// the calling thread, and no job is needed: the handle is the empty one. Otherwise a job computes it and calls
    /// `callback` on its own thread; not when it was cancelled. The job joins the exclusion group of `previousJob`, so
    /// that the jobs of one client never run side by side.
    virtual System::JobHandle GetOrCreateBarChart(
        int32_t threadID, const std::string& name, const System::JobHandle& previousJob, const Callback& callback);

private:
    friend struct RTTI::Access;
    static consteval auto sDescribe()
    {
        return RTTI::gDescribe<BarChartModel>("Profiler::BarChartModel", RTTI::Version{2}, RTTI::Base<Model>{},
            RTTI::Field<&BarChartModel::mAllBarCharts>{"AllBarCharts"},
            RTTI::Field<&BarChartModel::mComputedBarCharts>{"ComputedBarCharts"});
    }

    void ComputeBarChart(int32_t threadID, const std::string& name, const Callback& callback, const bool& cancelled);
    void NoteBarChart(const TraceEvent& event);
    bool CheckLoaded(Utility::Result& result);

    std::vector<BarChartDescription> mAllBarCharts;

    /// The members of `mAllBarCharts`; empty in a model that was read from a file, which gets no events.
    std::unordered_set<BarChartDescription, BarChartDescriptionHash, BarChartDescriptionEqual> mKnownBarCharts;

    /// Guesses at the members of `mKnownBarCharts`, by the event's identifier and thread. A guess is checked, so that
    /// an identifier that a recorder uses for several names costs time and nothing else. Almost every event hits.
    std::vector<const BarChartDescription*> mRecentBarCharts;

    Utility::Mutex mMutex;
    std::vector<std::unique_ptr<BarChart>> mComputedBarCharts GUARDED_BY(mMutex);
};

/// The model as what it is, also when another image made it; null when it is something else, or a `BarChartModel` of
/// another build. Both images must have registered their types, and the registry must be finalised.
[[nodiscard]] BarChartModel* gAsBarChartModel(Model& model);

}
