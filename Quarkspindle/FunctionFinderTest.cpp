#include "Quarkspindle/FunctionFinder.h"

#include <gmock/gmock.h>

#include "ProfilerLib/symbols/SymbolModule.h"
#include "Utility/Result.h"

namespace Quarkspindle
{

namespace
{

using ::testing::HasSubstr;

class FunctionFinderTest : public testing::Test
{
protected:
    /// The address of what is found; 0 for none, with the reason in `mResult`.
    uint64_t Find(std::initializer_list<const char*> functions, const char* name)
    {
        Profiler::SymbolModule module;
        uint64_t address = 0;
        for (const char* function : functions)
            module.AddSymbol(++address, 1, function);
        mResult.Clear();
        const Profiler::Symbol* found = gFindFunction(module, 0x1000, name, mResult);
        EXPECT_EQ(found == nullptr, mResult.HasErrors());
        return found == nullptr ? 0 : found->Address;
    }

    Utility::Result mResult;
};

TEST_F(FunctionFinderTest, AFunctionWinsOverItsClones)
{
    EXPECT_EQ(Find({"A::Work(int) [clone .cold]", "A::Work(int)", "A::Work(int) [clone .part.0]"}, "A::Work"), 2u);
    EXPECT_EQ(Find({"A::Work(int) [clone .cold]", "A::Work(int)"}, "A::Work(int)"), 2u);
    EXPECT_EQ(Find({"A::Work(int) [clone .cold]", "A::Work(int)"}, "A::Work(int) [clone .cold]"), 1u);
    EXPECT_EQ(Find({"work.cold", "work", "work.part.0"}, "work"), 2u);
    EXPECT_EQ(Find({"A::Work(int) [clone .constprop.0]", "A::Other()"}, "A::Work"), 1u) << "nothing else is left of it";
    EXPECT_EQ(Find({"work.isra.0", "worker"}, "work"), 1u);
    EXPECT_EQ(Find({"work.isra.0", "work.part.0"}, "work"), 0u);
    EXPECT_THAT(mResult.ToString(), HasSubstr("is the name of 2 functions"));
}

TEST_F(FunctionFinderTest, ParametersAndWhatIsReturnedMayBeLeftOut)
{
    EXPECT_EQ(Find({"A::Worker(int)", "A::Work(int)", "A::Workshop::Open()"}, "A::Work"), 2u);
    EXPECT_EQ(Find({"std::pair<int, char> Make<int>(int)", "Make<char>(char)"}, "Make<int>"), 1u);
    EXPECT_EQ(Find({"Name[abi:cxx11](int)"}, "Name"), 1u);
    EXPECT_EQ(Find({"(anonymous namespace)::Help(int)"}, "(anonymous namespace)::Help"), 1u);
    EXPECT_EQ(Find({"Call(std::function<void (int)>)", "Call<Help>(Help)"}, "Help"), 0u);
    EXPECT_THAT(mResult.ToString(), HasSubstr("There is no function \"Help\""));
}

TEST_F(FunctionFinderTest, TheInnermostNameIsEnoughForOne)
{
    EXPECT_EQ(Find({"A::Box::Add(A::Item)", "A::Box::Add(A::Item) [clone .cold]", "A::Adder()"}, "Add"), 1u);
    EXPECT_EQ(Find({"Outer::Work(int)", "Work(int)"}, "Work"), 2u);
    EXPECT_EQ(Find({"(anonymous namespace)::Help(int)", "std::function<Help (int)>::Call()"}, "Help"), 1u);
    EXPECT_EQ(Find({"int Twice<int>(int)"}, "Twice"), 1u);
    EXPECT_EQ(Find({"int Twice<int>(int)", "char Twice<char>(char)"}, "Twice"), 0u);
    EXPECT_THAT(mResult.ToString(), HasSubstr("is the name of 2 functions"));
    EXPECT_EQ(Find({"Add::Run(int)", "Run(Add)", "Run<Add>(int)", "Add<int>::Run()"}, "Add"), 0u);
    EXPECT_THAT(mResult.ToString(), HasSubstr("There is no function"));
}

TEST_F(FunctionFinderTest, SeveralThatFitAreToldWithTheirAddresses)
{
    EXPECT_EQ(Find({"Work(int)", "Work(char)", "Work(int) [clone .cold]"}, "Work"), 0u);
    EXPECT_THAT(mResult.ToString(),
        HasSubstr("is the name of 2 functions, such as \"Work(int)\" at 0x1001 and \"Work(char)\" at 0x1002"));
    EXPECT_EQ(Find({"help", "help"}, "help"), 0u) << "static functions of two files";
    EXPECT_THAT(mResult.ToString(), HasSubstr("\"help\" at 0x1001 and \"help\" at 0x1002"));
}

}

}
