#include "OrnKnxAppPrg.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/chrono/duration.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <memory>
#include <string>
#include <vector>

#include "CapturingAppender.h"
#include "FakeKnxStack.h"
#include "ScriptedDeviceStack.h"
#include "SimulatedClock.h"
#include "Zandrel/KnxOdsMapping.h"

namespace {

using TestSupport::FakeKnxStack;
using TestSupport::LogLine;
using TestSupport::ScriptedDeviceStack;
using TestSupport::SimulatedClock;

constexpr int Failure = 0;
constexpr int Exited = 1;
constexpr int Started = 2;

/// The application program between a KNX stack and a device stack that do as they are told. There is no app host.
class OrnKnxAppPrg : public testing::Test {
protected:
    OrnKnxAppPrg() {
        deviceStack_.Accept("GetDeviceConfig", R"({"deviceConfig":{"ipc":{"KnxSerialNumber1":"000A14FF0102"}}})");
        environment_.clock = clock_;
        environment_.clientFactory = deviceStack_.GetFactory();
        sut_ = std::make_unique<Zandrel::OrnKnxAppPrg>(capture_.GetLogger(), environment_);
    }

    /// Lines of both forms end like this: prefix and call stack depend on whether the app is known yet.
    int CountLines(const std::string& level, const std::string& text) const {
        const auto lines = capture_.GetLines();
        return static_cast<int>(std::count_if(lines.begin(), lines.end(), [&](const LogLine& line) {
            return line.level == level && line.text.find(text) != std::string::npos;
        }));
    }
    bool WaitForLine(const std::string& level, const std::string& text) const {
        for (int i = 0; i < 10000; ++i) {
            if (CountLines(level, text) > 0) {
                return true;
            }
            boost::this_thread::sleep_for(boost::chrono::milliseconds(1));
        }
        return false;
    }
    int CountRequests(const std::string& text) const {
        const auto requests = deviceStack_.GetRequests();
        return static_cast<int>(std::count_if(requests.begin(), requests.end(), [&](const std::string& request) {
            return request.find(text) != std::string::npos;
        }));
    }

    TestSupport::LogCapture capture_;
    std::shared_ptr<SimulatedClock> clock_ = std::make_shared<SimulatedClock>();
    ScriptedDeviceStack deviceStack_;
    FakeKnxStack stack_;
    Zandrel::Environment environment_;
    std::unique_ptr<Zandrel::OrnKnxAppPrg> sut_;
};

TEST_F(OrnKnxAppPrg, InitReturnsTwoWhileTheCycleRunsOn) {
    EXPECT_EQ(sut_->Init(stack_), Started);
    EXPECT_EQ(CountLines("DEBUG", "StartInitThread - Started a new thread for updating enabled objects."), 1);
    EXPECT_EQ(sut_->Exit(), Exited);
}

TEST_F(OrnKnxAppPrg, InitFailsWithoutGroupObjects) {
    stack_.RemoveGroupValueService();
    EXPECT_EQ(sut_->Init(stack_), Failure);
    EXPECT_EQ(CountLines("DEBUG", "Init - Failed to initialize knxhandler."), 1);
    EXPECT_EQ(sut_->Exit(), Exited);
}

TEST_F(OrnKnxAppPrg, InitFailsWithoutADeviceStack) {
    environment_.clientFactory.create = [](const std::string&) { return nullptr; };
    sut_ = std::make_unique<Zandrel::OrnKnxAppPrg>(capture_.GetLogger(), environment_);
    EXPECT_EQ(sut_->Init(stack_), Failure);
    EXPECT_EQ(CountLines("ERROR", "Init - Connecting the devicestack failed."), 1);
    EXPECT_EQ(sut_->Exit(), Exited);
}

TEST_F(OrnKnxAppPrg, CycleOfAnUnloadedApplicationEndsWithoutTouchingTheDeviceStack) {
    // No cycle comes to know the logical device: a restart would reset its configuration.
    deviceStack_.Accept("GetDeviceConfig", R"({"deviceConfig":{"ipc":{"KnxSerialNumber1":"000000000000"}}})");
    EXPECT_EQ(sut_->Init(stack_), Started);
    stack_.Properties().WriteLoadEvent(4);
    ASSERT_EQ(sut_->OnDeviceRestart(), Started);
    deviceStack_.TakeRequests();
    ASSERT_EQ(sut_->OnDeviceRestart(), Started);
    EXPECT_TRUE(WaitForLine(
        "INFO", "operator() - Init thread aborted because app prg interface object is currently unloaded."));
    EXPECT_EQ(sut_->Exit(), Exited);
    EXPECT_EQ(CountRequests("GetDeviceConfig"), 0);
    EXPECT_EQ(CountRequests("SetConfiguration"), 0);
}

TEST_F(OrnKnxAppPrg, CycleWithoutAnAppHostReportsTheRunStateError) {
    stack_.DownloadApplication("NoSuchApp");
    ASSERT_EQ(sut_->Init(stack_), Started);
    EXPECT_TRUE(WaitForLine("DEBUG", "operator() - Thread finished."));
    EXPECT_EQ(stack_.GetRunStates(), std::vector<bool>{false});
    EXPECT_EQ(CountLines("FATAL", "[NoSuchApp] operator() - Set runstate to error"), 1);
    EXPECT_EQ(CountLines("INFO", "[NoSuchApp] ConfigureObjectModel - Object model configured successfully."), 1);
    EXPECT_EQ(CountLines("DEBUG", "Starting reset timer."), 0);
    EXPECT_EQ(sut_->Exit(), Exited);
}

TEST_F(OrnKnxAppPrg, RestartBeforeInitReturnsZeroAndALaterOneIsAccepted) {
    EXPECT_EQ(sut_->OnDeviceRestart(), Failure);
    EXPECT_EQ(CountLines("DEBUG", "OnDeviceRestart - IApiHub is nullptr!"), 1);
    EXPECT_EQ(sut_->OnDeviceRestart(), Failure);
    EXPECT_EQ(CountLines("INFO", "OnDeviceRestart - Missing logical device ID"), 2);

    stack_.DownloadApplication("App");
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(WaitForLine("DEBUG", "Thread finished."));
    EXPECT_EQ(sut_->OnDeviceRestart(), Started);
    EXPECT_EQ(CountLines("DEBUG", "Ignore device restart request because we already restarting"), 0);
    EXPECT_EQ(sut_->Exit(), Exited);
}

TEST_F(OrnKnxAppPrg, SecondRestartWhileTheFirstOnesCycleRunsIsIgnoredButHasSentItsSignal) {
    stack_.DownloadApplication("App");
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(WaitForLine("DEBUG", "Thread finished."));
    deviceStack_.Ignore("GetDeviceConfig");
    ASSERT_EQ(sut_->OnDeviceRestart(), Started);
    deviceStack_.TakeRequests();

    EXPECT_EQ(sut_->OnDeviceRestart(), Started);

    EXPECT_EQ(
        CountLines("DEBUG", "[App] OnDeviceRestart - Ignore device restart request because we already restarting"), 1);
    EXPECT_EQ(CountRequests("configurationUnloaded"), 1);
    EXPECT_EQ(sut_->Exit(), Exited);
}

TEST_F(OrnKnxAppPrg, CycleThatDoesNotEndInTimeIsDetachedAndLeavesTheStackAlone) {
    stack_.DownloadApplication("App");
    deviceStack_.Ignore("GetDeviceConfig");
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(deviceStack_.WaitForRequest("GetDeviceConfig"));

    EXPECT_EQ(sut_->Exit(), Exited);
    EXPECT_EQ(CountLines("FATAL", "InterruptAndJoinInitThread - Thread join timeout. Interrupting thread..."), 1);
    EXPECT_EQ(CountLines("WARN", "Exit - Failed to stop init thread."), 1);
    sut_.reset();
    const int touches = stack_.CountTouches();
    EXPECT_TRUE(WaitForLine("DEBUG", "operator() - Thread has been interrupted."));
    EXPECT_EQ(stack_.CountTouches(), touches);
    EXPECT_TRUE(stack_.GetRunStates().empty());
}

TEST_F(OrnKnxAppPrg, ExitWithoutALogicalDeviceNeitherSignalsNorResetsButDisconnects) {
    EXPECT_EQ(sut_->Exit(), Exited);
    EXPECT_EQ(
        CountLines("INFO", "Exit - Cannot signal KNX communication disabled because logical device id is unknown."), 1);
    EXPECT_EQ(CountLines("INFO", "Stop - No running app host on this machine to be terminated"), 1);
    EXPECT_EQ(CountLines("INFO", "~MeasureDuration - Disconnecting from dsc took "), 1);
    EXPECT_EQ(CountRequests("enabled"), 0);
}

TEST_F(OrnKnxAppPrg, ExitDropsEventHandlerAndServices) {
    stack_.DownloadApplication("App");
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(WaitForLine("DEBUG", "Thread finished."));
    EXPECT_NE(deviceStack_.GetEventHandler(), nullptr);

    EXPECT_EQ(sut_->Exit(), Exited);
    EXPECT_EQ(deviceStack_.GetEventHandler(), nullptr);
    sut_.reset();
    EXPECT_FALSE(stack_.GroupValues().SendWrite(1, TestSupport::MakeGroupValue({1})));
}

TEST_F(OrnKnxAppPrg, ValueBeforeTheLogicalDeviceIsKnownIsNotHandled) {
    EXPECT_FALSE(sut_->OnValueChanged(1001003, "valueChanged", "2.1:1"));
    EXPECT_EQ(capture_.GetLines(), (std::vector<LogLine>{{"DEBUG", "OnValueChanged - 1001003: valueChanged, 2.1:1"},
                                                         {"DEBUG", "OnValueChanged - Invalid Logical device ID."}}));
}

TEST_F(OrnKnxAppPrg, ValueThatIsNoSerialisedValueEndsInOneLine) {
    stack_.DownloadApplication("App");
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(WaitForLine("DEBUG", "Thread finished."));
    capture_.TakeLines();

    EXPECT_FALSE(sut_->OnValueChanged(*Zandrel::KnxOdsMapping::GetCoValueObjModelId(1, 1), "valueChanged", "junk"));

    EXPECT_EQ(CountLines("ERROR", "[App] OnValueChanged - "), 1);
    EXPECT_EQ(sut_->Exit(), Exited);
}

}  // namespace
