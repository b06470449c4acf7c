#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "AppHostProcessControl.h"
#include "AppSideTools.h"
#include "Children.h"
#include "Orn/ThreadControl.h"
#include "ProcessTestTools.h"
#include "SystemFaults.h"

/// A process control that starts test children in the place of app host and mono. What a child does is told by the name
/// of its library, or of its managed app.
class AppHostProcessFixture : public testing::Test {
protected:
    using LogLine = AppSideTools::LogLine;

    AppHostProcessFixture() {
        SystemFaults::mono = TEST_CHILD;
        sut_->SetShutDownFunction([this] { return shutDown_(); });
    }
    void TearDown() override {
        sut_.reset();
        SystemFaults::mono = nullptr;
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left behind";
    }

    bool Launch(const std::string& library, Zandrel::LogicalDeviceId id = AppSideTools::FirstDevice) {
        return sut_->LaunchNativeApp(control_, id, TEST_CHILD, library, "MyApp");
    }

    bool LaunchManaged(const std::string& app) { return sut_->LaunchManagedApp(control_, "host.exe", app, "Managed"); }
    /// Calls `launch`, and once it has passed the run flag and says `line` another thread clears the flag and kills
    /// what is left over.
    void ExpectNothingOutlivesAStopAt(const std::string& line, const std::function<bool()>& launch) {
        std::future<bool> killed;
        const AppSideTools::LineHook hook(log_.GetLogger(), line, [this, &killed] {
            control_.running = false;
            killed = std::async(std::launch::async, [this] { return sut_->KillLeftOver(); });
            killed.wait_for(std::chrono::milliseconds(100));  // without the lock it would be over by then
        });
        EXPECT_TRUE(launch());
        ASSERT_TRUE(killed.valid());
        EXPECT_TRUE(killed.get()) << "there was a process to kill";
        EXPECT_TRUE(GetChildren().empty());
    }

    /// A running connector host; forgets the lines of its launch.
    void GivenConnectorHost(const std::string& app = "pause") {
        ASSERT_TRUE(LaunchManaged(app));
        log_.TakeLines();
    }

    /// A running app host; forgets the lines of its launch.
    void GivenAppHost(const std::string& library = "pause") {
        ASSERT_TRUE(Launch(library));
        log_.TakeLines();
    }

    /// An app host that has ended and is not reaped.
    void GivenEndedAppHost(const std::string& library, Zandrel::LogicalDeviceId id = AppSideTools::FirstDevice) {
        ASSERT_TRUE(Launch(library, id));
        log_.TakeLines();
        siginfo_t info{};
        ASSERT_EQ(waitid(P_ALL, 0, &info, WEXITED | WNOWAIT), 0);
    }

    /// Kills a child past the object under test, which finds it ended and not reaped.
    static void End(pid_t child) {
        EXPECT_EQ(kill(child, SIGKILL), 0);
        siginfo_t info{};
        EXPECT_EQ(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
    }

    /// What a stop ends with when it kills a running app host.
    static std::vector<LogLine> LinesOfAKill() {
        return {{"DEBUG", "KillProcess - Nothing to kill"},
                {"INFO", "KillProcess (SOURCE) - Have to kill process App host"},
                {"INFO", "KillProcess - App host killed"},
                {"INFO", "Stop - Waiting for app host process to exit"},
                {"INFO", "Wait (SOURCE) - Child process was killed by signal 9"},
                {"FATAL", "Stop (SOURCE) - App host process exited with -1"}};
    }

    void ExpectLines(const std::vector<LogLine>& lines) {
        EXPECT_EQ(AppSideTools::Comparable(log_.TakeLines()), lines);
    }

    /// As many launches of `app`, "native app" or "managed app", as ends by a kill, and no failure.
    void ExpectLaunchesAndEnds(const std::string& app, int count) const {
        int launches = 0;
        int ends = 0;
        for (const LogLine& line : AppSideTools::Comparable(log_.GetLines())) {
            launches += line.text == "operator() - Launched " + app + " (pid: N)" ? 1 : 0;
            ends += line.text == "Wait (SOURCE) - Child process was killed by signal 9" ? 1 : 0;
            EXPECT_EQ(line.text.find("failed"), std::string::npos) << line;
        }
        EXPECT_EQ(launches, count);
        EXPECT_EQ(ends, count);
    }

    /// The process ids of the children of all threads, ended ones included.
    static std::vector<pid_t> GetChildren() { return TestSupport::GetChildren(::getpid()); }

    /// The command line of a running child, its arguments joined by blanks.
    static std::string GetCommandLine(int pid) {
        boost::filesystem::ifstream file("/proc/" + std::to_string(pid) + "/cmdline");
        std::string text;
        for (std::string argument; std::getline(file, argument, '\0');) {
            text += (text.empty() ? "" : " ") + argument;
        }
        return text;
    }

    TestSupport::GlobalLogCapture log_;
    std::shared_ptr<AppSideTools::HookedClock> clock_ = std::make_shared<AppSideTools::HookedClock>();
    Zandrel::ThreadControl control_;
    std::function<bool()> shutDown_ = [] { return false; };
    std::unique_ptr<Zandrel::AppHostProcessControl> sut_ =
        std::make_unique<Zandrel::AppHostProcessControl>(log_.GetLogger(), clock_);
};
