#include "Application/ApplicationHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "EventRecorder.h"
#include "FakeProgram.h"
#include "Output/LogTap.h"
#include "Support/GrowingPause.h"

namespace LocalDevice {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr milliseconds Never = std::chrono::minutes(10);
constexpr milliseconds AtOnce{1};

class ApplicationHostTest : public testing::Test {
protected:
    ApplicationHost& Make() {
        sut.emplace(script.MakeFactory(), hub, events, times);
        return *sut;
    }
    ApplicationHost& MakeStarted() {
        EXPECT_EQ(Make().Start().result, 2);
        return *sut;
    }
    std::vector<std::string> GetMessages() {
        std::vector<std::string> texts;
        for (const auto& message : recorder.Get<MessageEvent>()) {
            texts.push_back(message.text);
        }
        return texts;
    }

    HostEvents events;
    EventRecorder recorder{events};
    InterfaceObjects objects;
    ApplicationMemory memory;
    GroupObjectService groupObjects{events};
    ApiHub hub{objects, memory, groupObjects, events};
    ProgramScript script;
    ApplicationHostTimes times{Never, Never, Never, Never, Never, Never};
    std::optional<ApplicationHost> sut;
};

TEST(GrowingPauseTest, EachPauseIsTwiceTheOneBeforeUpToTheLongest) {
    GrowingPause sut(milliseconds(500), milliseconds(10'000));
    for (const int expected : {500, 1000, 2000, 4000, 8000, 10'000, 10'000}) {
        EXPECT_EQ(sut.Next(), milliseconds(expected));
    }
    sut.Reset();
    EXPECT_EQ(sut.Next(), milliseconds(500));
}

TEST_F(ApplicationHostTest, StartingCreatesAndInitialises) {
    Make();
    EXPECT_FALSE(sut->IsStarted());
    EXPECT_EQ(sut->Start().result, 2);
    EXPECT_TRUE(sut->IsStarted());
    EXPECT_THAT(script.GetCalls(), ElementsAre("create", "init"));
    EXPECT_THAT(GetMessages(), ElementsAre(StartsWith("Init returned 2 after ")));
}

TEST_F(ApplicationHostTest, TheEndOfTheHostEndsTheProgram) {
    MakeStarted();
    sut.reset();
    EXPECT_THAT(script.GetCalls(), ElementsAre("create", "init", "exit", "delete"));
}

TEST_F(ApplicationHostTest, AllCallsComeFromOneThreadOfTheHost) {
    MakeStarted();
    sut->Restart();
    sut->Exit();
    EXPECT_EQ(script.GetThreads().size(), 1U);
    EXPECT_EQ(script.GetThreads().count(boost::this_thread::get_id()), 0U);
}

TEST_F(ApplicationHostTest, AFailedInitIsTriedAgainOnAFreshObject) {
    times.firstInitPause = AtOnce;
    times.longestInitPause = AtOnce;
    script.onInit = [](int count) { return count < 3 ? 0 : 2; };
    EXPECT_EQ(Make().Start().result, 0);
    ASSERT_TRUE(script.WaitForCall("init", 3));
    EXPECT_EQ(sut->Restart().result, 2);
    EXPECT_THAT(script.GetCalls(), ElementsAre("create", "init", "exit", "delete", "create", "init", "exit", "delete",
                                               "create", "init", "restart"));
}

TEST_F(ApplicationHostTest, AFailedInitIsReportedWithThePauseThatFollows) {
    times.firstInitPause = milliseconds(500'000);
    times.longestInitPause = milliseconds(500'000);
    script.onInit = [](int) { return 0; };
    EXPECT_EQ(Make().Start().result, 0);
    EXPECT_FALSE(sut->IsStarted());
    EXPECT_THAT(GetMessages(), ElementsAre(StartsWith("Init returned 0 after "),
                                           "the application program did not start; trying again in 500.0 s"));
    EXPECT_TRUE(recorder.Get<MessageEvent>().back().isProblem);
}

TEST_F(ApplicationHostTest, ExitEndsTheAttemptsToStart) {
    script.onInit = [](int) { return 0; };
    Make().Start();
    EXPECT_EQ(sut->Exit().problem, "the application program is not started");
    sut.reset();
    EXPECT_EQ(script.CountCalls("init"), 1);
}

TEST_F(ApplicationHostTest, StartThatFailsWhileTheHostEndsIsTheLastAndNoOtherIsPromised) {
    Make();
    script.onInit = [this](int) {
        sut->StopTrying();
        return 0;
    };
    EXPECT_EQ(sut->Start().result, 0);
    EXPECT_THAT(GetMessages(), ElementsAre(StartsWith("Init returned 0 after ")));
}

TEST_F(ApplicationHostTest, StartingAgainDoesNotWaitForTheNextAttempt) {
    script.onInit = [](int count) { return count < 2 ? 0 : 2; };
    EXPECT_EQ(Make().Start().result, 0);
    EXPECT_EQ(sut->Start().result, 2);
}

TEST_F(ApplicationHostTest, StartingTwiceIsRefused) {
    MakeStarted();
    const auto result = sut->Start();
    EXPECT_FALSE(result.result);
    EXPECT_EQ(result.problem, "the application program is started already");
}

TEST_F(ApplicationHostTest, AProgramThatCannotBeCreatedIsAFailure) {
    script.onCreate = [](int) { throw std::runtime_error("no threads left"); };
    const auto result = Make().Start();
    EXPECT_EQ(result.result, 0);
    EXPECT_EQ(result.problem, "createApplicationProgram threw an exception: no threads left");
    EXPECT_THAT(script.GetCalls(), ElementsAre("create"));
}

TEST_F(ApplicationHostTest, ACallThatThrowsHasFailed) {
    script.onInit = [](int) -> int { throw std::runtime_error("broken"); };
    const auto result = Make().Start();
    EXPECT_EQ(result.result, 0);
    EXPECT_EQ(result.problem, "Init threw an exception: broken");
    EXPECT_THAT(script.GetCalls(), ElementsAre("create", "init", "exit", "delete"));
}

TEST_F(ApplicationHostTest, ARestartGivesTheProgramsResult) {
    script.onRestart = [](int count, KnxStack::IApiHub&) { return count == 1 ? 2 : 0; };
    MakeStarted();
    EXPECT_EQ(sut->Restart().result, 2);
    EXPECT_EQ(sut->Restart().result, 0);
    EXPECT_EQ(sut->GetRestartCount(), 1U);
}

TEST_F(ApplicationHostTest, ARestartThatTheProgramIgnoresIsNotCounted) {
    script.onRestart = [](int count, KnxStack::IApiHub&) {
        if (count == 2) {
            GetApplicationLogger().forcedLog(
                log4cplus::DEBUG_LOG_LEVEL,
                "[App] OnDeviceRestart - Ignore device restart request because we already restarting");
        }
        return 2;
    };
    MakeStarted();
    EXPECT_EQ(sut->Restart().result, 2);
    EXPECT_EQ(sut->Restart().result, 2);
    EXPECT_EQ(sut->GetRestartCount(), 1U);
    EXPECT_EQ(sut->Restart().result, 2);
    EXPECT_EQ(sut->GetRestartCount(), 2U);
}

TEST_F(ApplicationHostTest, WithoutProgramThereIsNoRestartAndNoExit) {
    Make();
    EXPECT_FALSE(sut->Restart().result);
    EXPECT_FALSE(sut->Exit().result);
    EXPECT_EQ(sut->Restart().problem, "the application program is not started");
}

TEST_F(ApplicationHostTest, AfterExitTheProgramCanBeStartedAnew) {
    MakeStarted();
    hub.SetRunState(true);
    EXPECT_EQ(sut->Exit().result, 1);
    EXPECT_FALSE(sut->IsStarted());
    EXPECT_EQ(hub.GetRunState(), RunState::Unknown);
    EXPECT_EQ(sut->Start().result, 2);
    EXPECT_THAT(script.GetCalls(), ElementsAre("create", "init", "exit", "delete", "create", "init"));
}

TEST_F(ApplicationHostTest, TheRestartOfAnUnloadedApplicationFollowsTheEvent) {
    MakeStarted();
    sut->OnUnloading();
    EXPECT_EQ(script.CountCalls("restart"), 0);
    sut->OnUnloaded();
    sut->OnUnloaded();
    ASSERT_TRUE(script.WaitForCall("restart", 1));
    sut->Exit();
    EXPECT_EQ(script.CountCalls("restart"), 1);
}

TEST_F(ApplicationHostTest, TheRestartComesAnywayWhenTheEventIsHeldUp) {
    times.unloadGrace = AtOnce;
    MakeStarted();
    sut->OnUnloading();
    ASSERT_TRUE(script.WaitForCall("restart", 1));
    sut->OnUnloaded();
    sut->Exit();
    EXPECT_EQ(script.CountCalls("restart"), 1);
}

TEST_F(ApplicationHostTest, ARestartAfterAnUnloadIsRepeatedUntilACycleHasLookedAtTheLoadState) {
    times.unloadRepeat = AtOnce;
    script.onRestart = [this](int count, KnxStack::IApiHub&) {
        if (count == 3) {
            KnxStack::BinaryData state;
            objects.Find(ObjectType::Application)->GetProperty(LoadStateControlProperty)->ReadElements(0, 1, state);
        }
        return 2;
    };
    MakeStarted();
    sut->OnUnloading();
    sut->OnUnloaded();
    ASSERT_TRUE(script.WaitForCall("restart", 3));
    sut->Exit();
    EXPECT_EQ(script.CountCalls("restart"), 3);
    EXPECT_EQ(GetMessages().at(3), "OnDeviceRestart: no init cycle has begun since the application was unloaded");
}

TEST_F(ApplicationHostTest, ALoadEndsTheRepetitionAfterTheUnload) {
    times.unloadRepeat = AtOnce;
    script.onRestart = [this](int count, KnxStack::IApiHub& apiHub) {
        if (count == 1) {
            sut->OnLoaded(0);
        } else {
            apiHub.GetApplicationPrg1Memory();
        }
        return 2;
    };
    MakeStarted();
    sut->OnUnloading();
    sut->OnUnloaded();
    ASSERT_TRUE(script.WaitForCall("restart", 2));
    sut->Exit();
    EXPECT_EQ(script.CountCalls("restart"), 2);
}

TEST_F(ApplicationHostTest, ARestartAfterALoadIsRepeatedUntilACycleHasBegun) {
    times.restartRepeat = AtOnce;
    script.onRestart = [](int count, KnxStack::IApiHub& apiHub) {
        if (count == 4) {
            apiHub.GetApplicationPrg1Memory();
        }
        return count == 2 ? 0 : 2;
    };
    MakeStarted();
    hub.GetApplicationPrg1Memory();
    sut->OnLoaded(1);
    ASSERT_TRUE(script.WaitForCall("restart", 4));
    sut->Exit();
    EXPECT_EQ(script.CountCalls("restart"), 4);
    EXPECT_EQ(hub.GetCycleCount(), 2U);
}

TEST_F(ApplicationHostTest, ARestartAfterALoadComesOnceEvenWhenACycleHasBegunAlready) {
    times.restartRepeat = AtOnce;
    MakeStarted();
    hub.GetApplicationPrg1Memory();
    sut->OnLoaded(0);
    ASSERT_TRUE(script.WaitForCall("restart", 1));
    sut->Exit();
    EXPECT_EQ(script.CountCalls("restart"), 1);
}

TEST_F(ApplicationHostTest, TheRepetitionIsBounded) {
    times.restartRepeat = AtOnce;
    times.restartBound = milliseconds(0);
    MakeStarted();
    sut->OnLoaded(0);
    recorder.WaitFor<MessageEvent>(4);
    EXPECT_EQ(GetMessages().back(), "no init cycle has begun since the device was loaded; giving up");
    EXPECT_EQ(script.CountCalls("restart"), 1);
}

TEST_F(ApplicationHostTest, AnotherUnloadEndsTheRepetition) {
    MakeStarted();
    sut->OnLoaded(0);
    ASSERT_TRUE(script.WaitForCall("restart", 1));
    sut->OnUnloading();
    sut->OnUnloaded();
    ASSERT_TRUE(script.WaitForCall("restart", 2));
    sut->Exit();
    EXPECT_EQ(script.CountCalls("restart"), 2);
}

TEST_F(ApplicationHostTest, ALoadWithoutProgramRestartsNothing) {
    Make();
    sut->OnUnloading();
    sut->OnUnloaded();
    sut->OnLoaded(0);
    sut->Exit();
    EXPECT_THAT(script.GetCalls(), IsEmpty());
}

TEST_F(ApplicationHostTest, ARunStateIsPublished) {
    hub.SetRunState(true);
    EXPECT_EQ(hub.GetRunState(), RunState::Running);
    const auto states = recorder.Get<RunStateEvent>();
    ASSERT_EQ(states.size(), 1U);
    EXPECT_EQ(states[0].state, RunState::Running);
}

}  // namespace
}  // namespace LocalDevice
