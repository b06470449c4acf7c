#include "AppLauncher.h"

#include "AppHostProcessFixture.h"

namespace {

using AppSideTools::AppHost;
using AppSideTools::AppHostControlState;
using AppSideTools::HookedClock;
using AppSideTools::LineHook;
using AppSideTools::LogLine;
using AppSideTools::Report;
using AppSideTools::SecondDevice;
using AppSideTools::WorkingDirectory;
using boost::chrono::seconds;
using Zandrel::AppIdentity;
using Zandrel::AppLauncher;

constexpr const char* Library = "device/opt/userdata/orn/libornmyapp.so";

class AppLauncherTest : public AppHostProcessFixture {
protected:
    AppLauncherTest() {
        identity_->SetAppId("MyApp");
        identity_->SetLogicalDeviceId(SecondDevice);
        WorkingDirectory::MakeLink(TEST_CHILD, AppHost);
        WorkingDirectory::MakeFile(Library);
    }

    bool Launch() { return launcher_.LaunchApp(control_); }

    /// Acts at the log line that contains `text`.
    LineHook At(const char* text, std::function<void()> action) { return {log_.GetLogger(), text, std::move(action)}; }
    void Interrupt() { control_.running = false; }

    /// What a launch logs up to the wait, and `more` after that.
    static std::vector<LogLine> LinesUpToTheWait(const std::vector<LogLine>& more) {
        std::vector<LogLine> lines{
            {"INFO", "[MyApp] GetAppHost - Try to find app host device/opt/ostra/bin/ornapphost"},
            {"DEBUG", "[MyApp] GetNativeAppLib - Found app at: device/opt/userdata/orn/libornmyapp.so"},
            {"INFO",
             "LaunchNativeApp - Launching app host (Command Line = device/opt/ostra/bin/ornapphost "
             "device/opt/userdata/orn/libornmyapp.so 2)."},
            {"INFO", "operator() - Launched native app (pid: N)"},
            {"DEBUG", "[MyApp] LaunchApp - Waiting for app host to have started."}};
        lines.insert(lines.end(), more.begin(), more.end());
        lines.push_back({"DEBUG", "~MeasureDuration - Starting app host took"});
        return lines;
    }

    WorkingDirectory folder_;
    std::shared_ptr<AppIdentity> identity_ = std::make_shared<AppIdentity>();
    AppLauncher launcher_{Zandrel::PrefixedLogger(log_.GetLogger(), identity_), identity_, *sut_};
};

TEST_F(AppLauncherTest, LaunchSucceedsOnceTheAppRuns) {
    clock_->onSleep = [this] { Report(*sut_, AppHostControlState::Running); };

    EXPECT_TRUE(Launch());

    ExpectLines(LinesUpToTheWait({{"INFO", "[MyApp] LaunchApp - Done: app host running."}}));
    EXPECT_EQ(GetChildren().size(), 1U);
}

TEST_F(AppLauncherTest, AppOfTypeZeroIsNative) {
    identity_->SetAppType(0);
    clock_->onSleep = [this] { Report(*sut_, AppHostControlState::Running); };

    EXPECT_TRUE(Launch());
}

TEST_F(AppLauncherTest, NothingHappensWhenTheRunFlagIsCleared) {
    Interrupt();

    EXPECT_FALSE(Launch());

    ExpectLines({{"INFO", "[MyApp] LaunchApp - Interruption signaled."}});
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(AppLauncherTest, LaunchNeedsALogicalDevice) {
    const auto identity = std::make_shared<AppIdentity>();
    identity->SetAppId("MyApp");
    AppLauncher sut(Zandrel::PrefixedLogger(log_.GetLogger(), identity), identity, *sut_);

    EXPECT_FALSE(sut.LaunchApp(control_));

    ExpectLines({{"FATAL", "[MyApp] LaunchApp - No valid Logical KNX Device Id."}});
}

TEST_F(AppLauncherTest, MissingAppHostIsReported) {
    boost::filesystem::remove(AppHost);

    EXPECT_FALSE(Launch());

    ExpectLines({{"INFO", "[MyApp] GetAppHost - Try to find app host device/opt/ostra/bin/ornapphost"},
                 {"ERROR", "[MyApp] LaunchNativeApp - Failed to find app host."},
                 {"FATAL", "[MyApp] LaunchApp - Starting app host failed."},
                 {"DEBUG", "~MeasureDuration - Starting app host took"}});
}

TEST_F(AppLauncherTest, MissingLibraryIsReported) {
    boost::filesystem::remove(Library);

    EXPECT_FALSE(Launch());

    ExpectLines({{"INFO", "[MyApp] GetAppHost - Try to find app host device/opt/ostra/bin/ornapphost"},
                 {"DEBUG", "[MyApp] GetNativeAppLib - Failed to find app at: device/opt/userdata/orn/libornmyapp.so"},
                 {"DEBUG", "[MyApp] GetNativeAppLib - Failed to find app at: device/opt/ostra/lib/libornmyapp.so"},
                 {"ERROR", "[MyApp] LaunchNativeApp - Failed to find native app: MyApp"},
                 {"FATAL", "[MyApp] LaunchApp - Starting app host failed."},
                 {"DEBUG", "~MeasureDuration - Starting app host took"}});
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(AppLauncherTest, EmptyAppIdFindsNoLibrary) {
    identity_->SetAppId("");

    EXPECT_FALSE(Launch());

    const auto lines = log_.GetLines();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[1].text.rfind("GetNativeAppLib - No App Id specified! [", 0), 0U) << lines[1];
    EXPECT_EQ(lines[2].text.rfind("LaunchNativeApp - Failed to find native app:  [", 0), 0U) << lines[2];
}

TEST_F(AppLauncherTest, AppHostThatCannotBeStartedIsReported) {
    boost::filesystem::remove(AppHost);
    WorkingDirectory::MakeFile(AppHost);

    EXPECT_FALSE(Launch());

    const auto lines = AppSideTools::Comparable(log_.GetLines());
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[3], (LogLine{"ERROR",
                                 "operator() - Failed to create app host process (device/opt/ostra/bin/ornapphost), "
                                 "error: Permission denied (system:13)"}));
    EXPECT_EQ(lines[4], (LogLine{"FATAL", "[MyApp] LaunchApp - Starting app host failed."}));
}

TEST_F(AppLauncherTest, InterruptionBeforeTheStartStartsNothing) {
    const LineHook hook = At("Found app at", [this] { Interrupt(); });

    EXPECT_FALSE(Launch());

    ExpectLines({{"INFO", "[MyApp] GetAppHost - Try to find app host device/opt/ostra/bin/ornapphost"},
                 {"DEBUG", "[MyApp] GetNativeAppLib - Found app at: device/opt/userdata/orn/libornmyapp.so"},
                 {"INFO", "LaunchNativeApp - Interruption signaled."},
                 {"FATAL", "[MyApp] LaunchApp - Starting app host failed."},
                 {"DEBUG", "~MeasureDuration - Starting app host took"}});
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(AppLauncherTest, InterruptionAfterTheStartLeavesTheAppHostRunning) {
    const LineHook hook = At("Launched native app", [this] { Interrupt(); });

    EXPECT_FALSE(Launch());

    EXPECT_TRUE(clock_->sleeps.empty());
    const auto lines = AppSideTools::Comparable(log_.GetLines());
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[4], (LogLine{"INFO", "[MyApp] LaunchApp - Interruption signaled."}));
    EXPECT_EQ(GetChildren().size(), 1U);
}

TEST_F(AppLauncherTest, AppThatDoesNotRunInTimeIsReported) {
    Report(*sut_, AppHostControlState::Starting);

    EXPECT_FALSE(Launch());

    EXPECT_EQ(clock_->now, HookedClock::TimePoint(seconds(90)));
    ExpectLines(LinesUpToTheWait({{"FATAL", "[MyApp] LaunchApp - Time-out waiting for running app host."}}));
}

TEST_F(AppLauncherTest, InterruptionEndsTheWaitWithinOnePoll) {
    clock_->onSleep = [this] { Interrupt(); };

    EXPECT_FALSE(Launch());

    EXPECT_EQ(clock_->sleeps.size(), 1U);
    ExpectLines(LinesUpToTheWait({{"FATAL", "[MyApp] LaunchApp - Time-out waiting for running app host."}}));
}

TEST_F(AppLauncherTest, InterruptionOfARunningAppFailsTheLaunch) {
    clock_->onSleep = [this] { Report(*sut_, AppHostControlState::Running); };
    const LineHook hook = At("Done: app host running.", [this] { Interrupt(); });

    EXPECT_FALSE(Launch());

    ExpectLines(LinesUpToTheWait({{"INFO", "[MyApp] LaunchApp - Done: app host running."},
                                  {"INFO", "[MyApp] LaunchApp - Interruption signaled."}}));
}

TEST_F(AppLauncherTest, AppThatDropsOutAtOnceFailsTheLaunch) {
    clock_->onSleep = [this] { Report(*sut_, AppHostControlState::Running); };
    const LineHook hook = At("Done: app host running.", [this] { Report(*sut_, AppHostControlState::Stopping); });

    EXPECT_FALSE(Launch());

    ExpectLines(LinesUpToTheWait({{"INFO", "[MyApp] LaunchApp - Done: app host running."},
                                  {"FATAL", "[MyApp] LaunchApp - Failure: app host not running"}}));
}

}  // namespace
