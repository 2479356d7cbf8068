#include "SpindlemarkAPI/InstrumentationScope.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace
{
using SpindlemarkAPI::gInstallRecorder;
using SpindlemarkAPI::InstrumentationScope;
using ::testing::ElementsAre;

class NotingRecorder : public SpindlemarkAPI::Recorder
{
public:
    void Begin(const char* label, const char* context) override
    {
        mNotes.push_back(std::string("begin ") + label + (context != nullptr ? std::string(" ") + context : ""));
    }
    void End(const char* label) override { mNotes.push_back(std::string("end ") + label); }

    std::vector<std::string> mNotes;
};

TEST(InstrumentationScopeTest, EachEndGoesWhereItsBeginWent)
{
    NotingRecorder first;
    NotingRecorder second;
    {
        const InstrumentationScope unseen("unseen");
        gInstallRecorder(&first);
        const InstrumentationScope outer("outer", "context");
        {
            gInstallRecorder(&second);
            const InstrumentationScope inner("inner");
        }
        gInstallRecorder(nullptr);
        const InstrumentationScope late("late");
    }
    EXPECT_THAT(first.mNotes, ElementsAre("begin outer context", "end outer"));
    EXPECT_THAT(second.mNotes, ElementsAre("begin inner", "end inner"));
}
}
