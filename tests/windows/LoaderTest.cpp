#include "tests/windows/ProbeTest.h"

#include "tradeapi/com/ComponentLoader.h"

#include <objbase.h>

#include <thread>

namespace halvane {
namespace {

// Each test begins and ends without the probe in the process, and with what the probe is told
// before it is loaded.
class LoaderTest : public testing::Test {
  protected:
    LoaderTest() { Clear(); }
    ~LoaderTest() override { Clear(); }

    static void Clear() {
        UnloadComponentModules();
        CoFreeUnusedLibrariesEx(0, 0); // what the registry led to
        for (const wchar_t* told :
             {L"PROBE_FAIL", L"PROBE_CREATED", L"PROBE_REFUSE", L"PROBE_WANDER"})
            SetEnvironmentVariableW(told, nullptr);
    }

    static void Tell(const wchar_t* name, const wchar_t* value) {
        SetEnvironmentVariableW(name, value);
    }
    static Text Told(const wchar_t* name) {
        wchar_t value[64] = L"";
        GetEnvironmentVariableW(name, value, 64);
        return value;
    }
    static bool IsLoaded() { return GetModuleHandleW(ProbeFile().c_str()) != nullptr; }

    std::uint32_t SleptMs() { return clock_.TickCount() - start_; }

    JumpingClock clock_{1000};
    const std::uint32_t start_ = clock_.TickCount();
    ScopedClock scopedClock_{clock_};
};

const wchar_t* const kAccount = L"Ovaro.TradeDataAccount.1";
const wchar_t* const kReplace = L"Ovaro.TradeReplaceOrderParameters.1";

TEST_F(LoaderTest, TheFileStaysLoadedAfterItGaveAnObject) {
    ASSERT_FALSE(IsLoaded());
    EXPECT_TRUE(CreateComponentObject(kAccount));
    EXPECT_TRUE(IsLoaded());
    EXPECT_TRUE(CreateComponentObject(kAccount));
    UnloadComponentModules();
    EXPECT_FALSE(IsLoaded()); // two objects, one load
    EXPECT_EQ(SleptMs(), 0u);
}

TEST_F(LoaderTest, AFactoryThatFailsTwiceGetsAThirdAttempt) {
    Tell(L"PROBE_FAIL", L"2");
    EXPECT_TRUE(CreateComponentObject(kAccount));
    EXPECT_EQ(Told(L"PROBE_CREATED"), L"3");
    EXPECT_EQ(SleptMs(), 400u);
}

TEST_F(LoaderTest, AFactoryThatAlwaysFailsLeavesNothingLoaded) {
    Tell(L"PROBE_FAIL", L"1000");
    EXPECT_FALSE(CreateComponentObject(kAccount));
    EXPECT_EQ(Told(L"PROBE_CREATED"), L"3");
    EXPECT_EQ(SleptMs(), 400u);
    EXPECT_FALSE(IsLoaded());
}

TEST_F(LoaderTest, AFailureDoesNotUnloadWhatAnEarlierObjectNeeds) {
    const auto object = CreateComponentObject(kAccount);
    Tell(L"PROBE_FAIL", L"3");
    EXPECT_FALSE(CreateComponentObject(kAccount));
    EXPECT_TRUE(IsLoaded());
}

TEST_F(LoaderTest, TheCurrentDirectoryIsKept) {
    wchar_t before[300];
    wchar_t after[300];
    SetCurrentDirectoryW(ExecutableFolder().c_str());
    GetCurrentDirectoryW(300, before);
    Tell(L"PROBE_WANDER", L"1");
    EXPECT_TRUE(CreateComponentObject(kAccount));
    GetCurrentDirectoryW(300, after);
    EXPECT_STREQ(Shown(before).c_str(), Shown(after).c_str());
}

TEST_F(LoaderTest, TwoClassesAndStrangersComeFromTheRegistryAlone) {
    const RegisteredClass registered(kReplace, L"{7D6CE3B5-1B0B-4F5E-9E4E-6D60C2A4B901}",
                                     ProbeFile());
    EXPECT_FALSE(CreateComponentObject(kReplace));
    EXPECT_FALSE(CreateComponentObject(L"Ovaro.Stranger.1"));
    EXPECT_EQ(SleptMs(), 0u); // not one attempt
    EXPECT_TRUE(CreateAutomationObject(kReplace));
    EXPECT_FALSE(CreateAutomationObject(L"Ovaro.Stranger.1"));
}

TEST_F(LoaderTest, AClassThatTheFileLacksComesFromTheRegistry) {
    const RegisteredClass registered(kAccount, L"{7D6CE3B5-1B0B-4F5E-9E4E-6D60C2A4B903}",
                                     ProbeFile());
    Tell(L"PROBE_REFUSE", L"{B323E7F5-5455-42FD-9CB6-2FB71E6B7516}");
    EXPECT_TRUE(CreateAutomationObject(kAccount));
    EXPECT_EQ(SleptMs(), 400u);
}

TEST_F(LoaderTest, ThreadsNeedNoComOfTheirOwn) {
    const RegisteredClass registered(kReplace, L"{7D6CE3B5-1B0B-4F5E-9E4E-6D60C2A4B901}",
                                     ProbeFile());
    bool created[4] = {};
    {
        std::vector<std::jthread> threads;
        for (bool& one : created)
            threads.emplace_back([&one] {
                for (int i = 0; i < 50; ++i)
                    one = CreateAutomationObject(kReplace) && CreateAutomationObject(kAccount);
            });
    }
    for (const bool one : created)
        EXPECT_TRUE(one);
}

} // namespace
} // namespace halvane
