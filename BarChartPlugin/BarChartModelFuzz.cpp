#include "BarChartPlugin/BarChartModel.h"

#include "BarChartPlugin/BarChartTypes.h"
#include "ProfilerLib/plugin/Plugin.h"
#include "ProfilerLib/plugin/View.h"
#include "ProfilerLib/session/RegisterTypes.h"
#include "ProfilerLib/session/Session.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Schema.h"
#include "Serialization/Testing/FuzzChecks.h"
#include "Serialization/Testing/FuzzContainer.h"
#include "tests/support/FuzzTarget.h"

#include <memory>

namespace Profiler
{
namespace
{

const std::string cFile = std::string{cBarChartFolder} + "/" + cBarChartModelFile;

RTTI::TypeRegistry MakeRegistry()
{
    RTTI::TypeRegistry registry;
    {
        const auto scope = registry.BeginRegistration(RTTI::gGetOwnerID());
        RTTI::gRegisterTypes(registry);
        gRegisterProfilerTypes(registry);
        Serialization::gRegisterTypes(registry);
        gRegisterBarChartTypes(registry);
    }
    registry.Finalize();
    return registry;
}

class FuzzPlugin final : public Plugin
{
public:
    explicit FuzzPlugin(RTTI::TypeRegistry& registry) : Plugin{nullptr, &registry} {}

    std::unique_ptr<Model> CreateModel(Session&) override { return nullptr; }
    std::unique_ptr<Model> LoadModel(Session&) override { return nullptr; }
    std::unique_ptr<View> CreateView(ViewHost&, ViewContext&, Model&) override { return nullptr; }
};

/// A capture's folder that holds one model after the other.
class Capture
{
public:
    Capture()
    {
        BarChartModel empty{&mPlugin, &mSession};
        mContainer = std::make_unique<Serialization::Testing::FuzzContainer>(Save(empty));
    }

    void Write(Fuzz::Input input) const { mFolder.Write(cFile, mContainer->Make(input)); }

    std::unique_ptr<BarChartModel> Load()
    {
        std::unique_ptr<BarChartModel> model;
        Utility::Result result;
        const bool isLoaded = BarChartModel::sLoad(mPlugin, mSession, model, result);
        Serialization::Testing::gCheckOutcome(isLoaded, result);
        Fuzz::gCheck(isLoaded == (model != nullptr), "there is a model after a failure");
        return model;
    }

    std::string Save(BarChartModel& model) const
    {
        Fuzz::gCheck(model.Save().mSuccess, "a model cannot be saved");
        return mFolder.Read(cFile);
    }

private:
    Fuzz::ScratchFolder mFolder;
    Session mSession{mFolder / "capture.session", nullptr, nullptr, nullptr};
    RTTI::TypeRegistry mRegistry = MakeRegistry();
    FuzzPlugin mPlugin{mRegistry};
    std::unique_ptr<Serialization::Testing::FuzzContainer> mContainer;
};

/// Everything that a view asks of a chart.
void CheckChart(const BarChart& chart)
{
    for (int32_t level = 0; level < chart.GetNumLODs(); ++level)
    {
        const BarChartLOD& lod = chart.GetLOD(level);
        // A file may have them out of order; then a bar that is there need not be found.
        for (const BarChartLOD::Bar& bar : lod.Bars)
        {
            const int32_t found = lod.FindBarByStartTime(bar.StartTimeMs);
            Fuzz::gCheck(found < 0 || lod.Bars[static_cast<std::size_t>(found)].StartTimeMs == bar.StartTimeMs,
                "a bar is found that has another start");
        }
    }
    for (const float barsPerSlot : {0.0f, 0.5f, 1.0f, 7.0f, 1000.0f, 1e30f})
    {
        const BarChartLOD* lower = nullptr;
        const BarChartLOD* upper = nullptr;
        float blend = 0.0f;
        chart.GetLODs(barsPerSlot, lower, upper, blend);
        Fuzz::gCheck(lower != nullptr && upper != nullptr, "a chart has no level to draw");
    }
    Fuzz::gCheck(chart.GetNumEvents() >= 0, "a chart has a negative number of occurrences");
}

}
}

void Fuzz::gRunInput(Input input)
{
    using namespace Profiler;

    static Capture sCapture;
    sCapture.Write(input);
    const std::unique_ptr<BarChartModel> model = sCapture.Load();
    if (model == nullptr)
        return;
    const Aside aside;
    for (const BarChartDescription& description : model->GetAllBarCharts())
    {
        if (const BarChart* chart = model->FindBarChart(description.ThreadID, description.Name))
            CheckChart(*chart);
    }
    const std::string saved = sCapture.Save(*model);
    const std::unique_ptr<BarChartModel> again = sCapture.Load();
    gCheck(again != nullptr, "what was saved cannot be read");
    gCheck(sCapture.Save(*again) == saved, "what was read again is saved as other bytes");
}
