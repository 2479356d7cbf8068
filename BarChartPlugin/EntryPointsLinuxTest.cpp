#include "BarChartPlugin/BarChartModel.h"
#include "BarChartPlugin/BarChartTypes.h"
#include "ProfilerLib/plugin/Plugin.h"
#include "ProfilerLib/plugin/PluginDescriptor.h"
#include "ProfilerLib/session/RegisterTypes.h"
#include "ProfilerLib/session/Session.h"
#include "ProfilerLib/symbols/RegisterTypes.h"
#include "Serialization/RTTI/Image.h"
#include "Serialization/RTTI/TypeRegistry.h"
#include "Serialization/Schema.h"
#include "System/DynamicLibrary.h"
#include "System/JobScheduler.h"
#include "Utility/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <span>
#include <thread>

#include <elf.h>

// The module as a host meets it. This program is the host: it links the same libraries, each image with its own copy.

namespace Profiler
{
namespace
{

/// The table at that place of the file; empty when the file is too short for it.
template <class T>
std::vector<T> gReadTable(std::span<const std::byte> file, uint64_t offset, uint64_t size)
{
    std::vector<T> table;
    if (offset <= file.size() && size <= file.size() - offset)
    {
        table.resize(size / sizeof(T));
        std::memcpy(table.data(), file.data() + offset, table.size() * sizeof(T));
    }
    return table;
}

/// The names that the dynamic symbol table of a module defines.
std::vector<std::string> gReadExports(const std::string& path)
{
    std::vector<std::byte> bytes;
    EXPECT_TRUE(FileSystem::gReadFileToBuffer(path, bytes));
    const auto header = gReadTable<Elf64_Ehdr>(bytes, 0, sizeof(Elf64_Ehdr)).at(0);
    const auto sections = gReadTable<Elf64_Shdr>(bytes, header.e_shoff, header.e_shnum * sizeof(Elf64_Shdr));
    std::vector<std::string> names;
    for (const Elf64_Shdr& section : sections)
    {
        if (section.sh_type != SHT_DYNSYM)
            continue;
        const Elf64_Shdr& texts = sections.at(section.sh_link);
        const auto text = gReadTable<char>(bytes, texts.sh_offset, texts.sh_size);
        for (const Elf64_Sym& symbol : gReadTable<Elf64_Sym>(bytes, section.sh_offset, section.sh_size))
        {
            if (symbol.st_shndx != SHN_UNDEF && ELF64_ST_BIND(symbol.st_info) != STB_LOCAL)
                names.emplace_back(&text.at(symbol.st_name));
        }
    }
    return names;
}

class BarChartPluginTest : public testing::Test
{
protected:
    /// The module keeps its plug-in until it goes, so that it is loaded once for all tests.
    struct Host
    {
        Host()
        {
            std::string error;
            if (!mModule.Open(BARCHARTPLUGIN_MODULE, error))
            {
                ADD_FAILURE() << error;
                return;
            }
            mDescriptor = static_cast<const PluginDescriptor*>(mModule.Find("descriptor"));
            mDescriptor->InitializeTracing({{&sWriteLine, this}});
            {
                const auto scope = mRegistry.BeginRegistration(RTTI::gGetOwnerID());
                RTTI::gRegisterTypes(mRegistry);
                gRegisterProfilerTypes(mRegistry);
                gRegisterSymbolTypes(mRegistry);
                Serialization::gRegisterTypes(mRegistry);
                gRegisterBarChartTypes(mRegistry);
            }
            CreateFromManyThreads();
            mRegistry.Finalize();
        }

        void CreateFromManyThreads()
        {
            Plugin* created[4] = {};
            std::vector<std::thread> threads;
            for (Plugin*& plugin : created)
                threads.emplace_back([&] { plugin = mDescriptor->CreatePlugin(GetBus(), &mRegistry); });
            for (std::thread& thread : threads)
                thread.join();
            for (Plugin* plugin : created)
                EXPECT_EQ(plugin, created[0]);
            mPlugins = {created[0]};
        }

        /// A bus that is only ever compared.
        MessageBus* GetBus() { return static_cast<MessageBus*>(static_cast<void*>(this)); }

        static void sWriteLine(const char* line, void* context)
        {
            auto& host = *static_cast<Host*>(context);
            const std::lock_guard lock{host.mLinesMutex};
            host.mLines.emplace_back(line);
        }
        std::vector<std::string> TakeLines()
        {
            const std::lock_guard lock{mLinesMutex};
            return std::exchange(mLines, {});
        }

        RTTI::TypeRegistry mRegistry;
        System::DynamicLibrary mModule;
        const PluginDescriptor* mDescriptor = nullptr;
        PluginList mPlugins;
        std::mutex mLinesMutex;
        std::vector<std::string> mLines;
    };

    static Host& sGetHost()
    {
        // Never unloaded: the leak checker at the end would no longer find what the module's statics hold.
        static Host& sHost = *new Host;
        return sHost;
    }

    void SetUp() override
    {
        ASSERT_NE(sGetHost().mDescriptor, nullptr);
        sGetHost().TakeLines();
    }

    std::unique_ptr<Session> Record(System::JobScheduler& scheduler)
    {
        auto session = std::make_unique<Session>(mFolder / "x.session", nullptr, &scheduler, &sGetHost().mPlugins);
        session->CreateModels();
        Utility::Result result;
        for (int i = 0; i < 1000; ++i)
        {
            TraceEvent event;
            event.mType = i % 2 == 0 ? ETraceEventType::InstrumentationBegin : ETraceEventType::InstrumentationEnd;
            event.mTime = i;
            event.mThreadID = 3;
            event.mName = i % 2 == 0 ? "Frame" : "";
            event.mContext = i % 2 == 0 ? std::to_string(i) : "";
            EXPECT_TRUE(session->AddEvent(event, result)) << result.ToString();
        }
        EXPECT_TRUE(session->EndModels(result)) << result.ToString();
        return session;
    }

    TemporaryFolder mFolder;
};

TEST_F(BarChartPluginTest, ExportsItsThreeNamesAndNothingElse)
{
    for (const char* module : {BARCHARTPLUGIN_MODULE, BARCHARTMODELS_MODULE})
        EXPECT_THAT(
            gReadExports(module), testing::UnorderedElementsAre("createPlugin", "descriptor", "initializeTracing"));
}

TEST_F(BarChartPluginTest, DescriptorNamesVersionAndEntries)
{
    const Host& host = sGetHost();
    EXPECT_EQ(host.mDescriptor->InterfaceVersion, 3);
    EXPECT_STREQ(host.mDescriptor->Name, "BarChartPlugin");
    EXPECT_STREQ(host.mDescriptor->Version, "1.0");
    EXPECT_EQ(reinterpret_cast<void*>(host.mDescriptor->InitializeTracing), host.mModule.Find("initializeTracing"));
    EXPECT_EQ(reinterpret_cast<void*>(host.mDescriptor->CreatePlugin), host.mModule.Find("createPlugin"));
}

TEST_F(BarChartPluginTest, FirstCallMakesThePluginAndLaterOnesGiveItBack)
{
    Host& host = sGetHost();
    Plugin* plugin = host.mPlugins[0];
    EXPECT_EQ(host.mRegistry.GetCurrentOwnerID(), RTTI::TypeRegistry::cNoOwner);

    RTTI::TypeRegistry other;
    EXPECT_EQ(host.mDescriptor->CreatePlugin(nullptr, &other), plugin);
    EXPECT_EQ(plugin->GetMessageBus(), host.GetBus());
    EXPECT_EQ(plugin->GetTypeRegistry(), &host.mRegistry);
}

TEST_F(BarChartPluginTest, HostComputesChartsThroughTheModulesModel)
{
    System::JobScheduler scheduler{1};
    std::unique_ptr<Session> session = Record(scheduler);
    BarChartModel* model = gAsBarChartModel(*session->GetModels().at(0));
    ASSERT_NE(model, nullptr);
    EXPECT_NE(&model->GetType(), &RTTI::gTypeOf<BarChartModel>()) << "the type of the other image";
    const std::vector<BarChartDescription> expected{{"Frame", 3}};
    EXPECT_EQ(model->GetAllBarCharts(), expected);

    BarChart* chart = nullptr;
    scheduler.Wait({model->GetOrCreateBarChart(3, "Frame", {}, [&](BarChart& made) { chart = &made; })}, false);
    ASSERT_NE(chart, nullptr);
    EXPECT_EQ(chart, model->FindBarChart(3, "Frame"));
    EXPECT_EQ(chart->GetNumEvents(), 500);
    EXPECT_EQ(chart->GetTotalTime(), 500.0);
    EXPECT_EQ(chart->GetLOD(0).Bars[499].Context, "998");
    EXPECT_EQ(chart->GetLOD(9).Bars.size(), 1U);

    Utility::Result result;
    ASSERT_TRUE(session->Save(result)) << result.ToString();
    session.reset();
    EXPECT_EQ(Session::sLoad(mFolder / "x.session", sGetHost().mRegistry, nullptr, &scheduler, &sGetHost().mPlugins,
                  session, result),
        Session::Loaded)
        << result.ToString();
    model = gAsBarChartModel(*session->GetModels().at(0));
    ASSERT_NE(model, nullptr);
    ASSERT_NE(model->FindBarChart(3, "Frame"), nullptr);
    EXPECT_EQ(model->FindBarChart(3, "Frame")->GetNumEvents(), 500);
    EXPECT_THAT(sGetHost().TakeLines(), testing::IsEmpty());
}

TEST_F(BarChartPluginTest, ModelThatCannotBeLoadedIsALogLineAndNoModel)
{
    System::JobScheduler scheduler{0};
    const std::unique_ptr<Session> session = Record(scheduler);
    ASSERT_TRUE(FileSystem::gDeleteFile(mFolder / "BarChart/Model.dat"));
    EXPECT_EQ(sGetHost().mPlugins[0]->LoadModel(*session), nullptr);
    EXPECT_THAT(sGetHost().TakeLines(),
        testing::ElementsAre(
            testing::EndsWith("]: Error loading barchart model: Context: " + (mFolder / "BarChart/Model.dat") +
                              ", internal error: Unable to open file\n")));
}

}
}
