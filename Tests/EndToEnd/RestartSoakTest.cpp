#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <optional>
#include <random>
#include <thread>

#include "Children.h"
#include "LocalDevice.h"
#include "LogFollower.h"
#include "RepeatCount.h"

namespace {

using EndToEnd::DeviceStack;
using EndToEnd::Host;
using EndToEnd::json;
using EndToEnd::LogFollower;
using EndToEnd::Milliseconds;
using EndToEnd::StairLightSerialNumber;
using EndToEnd::TelegramMonitor;
using EndToEnd::WaitUntil;
using TestSupport::GetRepeatCount;

constexpr const char* Button = "1/0/1";
constexpr const char* ScrollingText = "1/0/4";

/// After these the program has touched about all that it ever does.
constexpr unsigned long WarmUpRestarts = 5;

/// What the warm-up leaves to be touched, and fragmentation. A sanitizer remembers every thread that ever ran.
[[maybe_unused]] std::size_t GetAllowedGrowthKiB([[maybe_unused]] unsigned long restarts) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return 16384 + restarts * 16;
#else
    return 4096;
#endif
}

#if defined(__SANITIZE_THREAD__)
constexpr unsigned long RestartsOfATestRun = 5;
#elif defined(__SANITIZE_ADDRESS__)
constexpr unsigned long RestartsOfATestRun = 10;
#else
constexpr unsigned long RestartsOfATestRun = 25;
#endif

struct Counts {
    unsigned long accepted = 0;
    unsigned long ignored = 0;  ///< a cycle of an earlier restart was under way
    unsigned long refused = 0;
    unsigned long powerCycles = 0;
    unsigned long appDeaths = 0;

    friend std::ostream& operator<<(std::ostream& stream, const Counts& counts) {
        return stream << counts.accepted << " restarts accepted, " << counts.ignored << " ignored, " << counts.refused
                      << " refused; " << counts.powerCycles << " exits and starts, " << counts.appDeaths
                      << " apps killed";
    }
};

using Lines = std::vector<std::string>;

std::optional<Lines::const_iterator> Find(Lines::const_iterator begin, Lines::const_iterator end, const char* part) {
    const auto found =
        std::find_if(begin, end, [part](const std::string& line) { return line.find(part) != std::string::npos; });
    return found == end ? std::nullopt : std::make_optional(found);
}

/// A sanitizer keeps freed memory for a while; that is no growth.
TestSupport::ChildProcess::Environment WithoutQuarantine() {
    const char* const options = std::getenv("ASAN_OPTIONS");
    return {{"ASAN_OPTIONS", (options == nullptr ? "" : options + std::string(":")) + "quarantine_size_mb=1"}};
}

/// LeakSanitizer looks at a program that ends from a process of its own, which outlives one that is killed meanwhile.
#ifdef __SANITIZE_ADDRESS__
constexpr Milliseconds TimeOfLeakCheck{10'000};
#else
constexpr Milliseconds TimeOfLeakCheck{0};
#endif

/// One device, from its start to its end, restarted at random points. What is random comes from the seed; a point is a
/// share of the time that a cycle took at the beginning, whatever the speed of the machine.
class RestartSoak : public testing::Test {
protected:
    RestartSoak() : seed_(GetRepeatCount("ORN_SOAK_SEED", std::random_device()())), random_(seed_) {}

    bool OneOutOf(unsigned long count) { return random_() % count == 0; }

    void SleepForAShareOfACycle() {
        constexpr unsigned long Parts = 1000;
        const auto share = static_cast<Milliseconds::rep>(random_() % Parts);
        std::this_thread::sleep_for(span_ * share / Parts);
    }

    /// How long a cycle takes from the call of the host to the report of the run state, and half as long again: some
    /// points lie behind its end.
    Milliseconds MeasureCycle() {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_TRUE(host_.RestartAndWait());
        return std::chrono::duration_cast<Milliseconds>(std::chrono::steady_clock::now() - begin) * 3 / 2;
    }

    /// Turns the application program off and on again. Its first cycle takes restarts at any point.
    void PowerCycle() {
        ASSERT_EQ(host_.Ask({{"command", "exit"}}).at("result"), 1);
        ASSERT_TRUE(host_.GetAppHosts().empty());
        SleepForAShareOfACycle();
        ASSERT_EQ(host_.Ask({{"command", "start"}}).at("result"), 2);
        ++counts_.powerCycles;
    }

    void KillApp() {
        for (const pid_t app : host_.GetAppHosts()) {
            ::kill(app, SIGKILL);
            ++counts_.appDeaths;
        }
    }

    /// Restarts, and waits until it is clear what became of it.
    void Restart() {
        const auto cycles = host_.GetStatus().at("cycles").get<unsigned long>();
        log_.TakeNew();
        if (host_.Ask({{"command", "restart"}}).at("result") != 2) {
            ++counts_.refused;
            return;
        }
        const auto lines = log_.TakeNew();
        if (Find(lines.begin(), lines.end(), "Ignore device restart request because we already restarting")) {
            ++counts_.ignored;
            return;
        }
        // The thread of the cycle before has ended: one that begins from now on is another.
        const auto joined = Find(lines.begin(), lines.end(), "Interrupting and joining the init thread took");
        ASSERT_TRUE(joined);
        ASSERT_TRUE(Find(*joined, lines.end(), "Thread started.") || log_.WaitFor("Thread started."));
        ASSERT_TRUE(WaitUntil([this, cycles] { return host_.GetStatus().at("cycles") > cycles; }));
        ++counts_.accepted;
    }

    void RestartAtARandomPoint() {
        SleepForAShareOfACycle();
        if (OneOutOf(4)) {
            ASSERT_NO_FATAL_FAILURE(PowerCycle());
            SleepForAShareOfACycle();
        }
        if (OneOutOf(64)) {
            KillApp();
        }
        host_.Write(Button, OneOutOf(2) ? "1" : "0");
        ASSERT_NO_FATAL_FAILURE(Restart());
    }

    void RestartUntilAccepted(unsigned long count) {
        while (counts_.accepted < count) {
            ASSERT_NO_FATAL_FAILURE(RestartAtARandomPoint()) << counts_;
        }
    }

    /// The device with its app running and a text that scrolls, as it is after any restart in the end.
    void ComeToRest() {
        TelegramMonitor monitor(host_);
        EXPECT_TRUE(host_.RestartAndWait());
        EXPECT_TRUE(host_.WaitForRunState("running"));
        EXPECT_TRUE(monitor.NextSent(ScrollingText) && monitor.NextSent(ScrollingText));
        EXPECT_TRUE(WaitUntil([this] { return host_.GetAppHosts().size() == 1; }));
    }

    EndToEnd::Resources Measure() { return EndToEnd::GetResources(host_.GetProcess().GetPid()); }

    /// Ends host and device stack; nothing of them may be left, and no sanitizer may have found anything.
    void End() {
        EXPECT_EQ(host_.Ask({{"command", "exit"}}).at("result"), 1);
        EXPECT_EQ(host_.GetAppHosts(), std::vector<pid_t>{});
        EXPECT_TRUE(host_.Stop());
        EXPECT_TRUE(WaitUntil([this] { return TestSupport::GetFollowers(host_.GetProcess().GetPid()).empty(); },
                              TimeOfLeakCheck))
            << "an orphan was left behind";
        EXPECT_EQ(EndToEnd::FindSanitizerReports(host_.GetProcess()), std::vector<std::string>{});
        deviceStack_.GetProcess().Signal(SIGTERM);
        EXPECT_EQ(deviceStack_.GetProcess().WaitForExit(), TestSupport::ExitStatus::Exited(0));
        EXPECT_EQ(EndToEnd::FindSanitizerReports(deviceStack_.GetProcess()), std::vector<std::string>{});
    }

    const unsigned long restarts_ = GetRepeatCount("ORN_SOAK_RESTARTS", RestartsOfATestRun);
    const unsigned long seed_;
    std::mt19937_64 random_;
    Milliseconds span_{0};
    Counts counts_;

    DeviceStack deviceStack_{{StairLightSerialNumber}};
    Host host_{
        {EndToEnd::SampleDevice("stairlight"), deviceStack_.GetAddress(), "in-process", {}, WithoutQuarantine()}};
    LogFollower log_{host_.GetLogPath()};
};

TEST_F(RestartSoak, LeavesNoReportNoOrphanAndNothingThatGrows) {
    ASSERT_TRUE(host_.WaitForRunState("running"));
    span_ = MeasureCycle();
    std::cout << "seed " << seed_ << ", points within " << span_.count() << " ms" << std::endl;
    ASSERT_NO_FATAL_FAILURE(RestartUntilAccepted(WarmUpRestarts));
    ComeToRest();
    const EndToEnd::Resources before = Measure();

    ASSERT_NO_FATAL_FAILURE(RestartUntilAccepted(WarmUpRestarts + restarts_));
    std::cout << counts_ << std::endl;

    ComeToRest();
    EndToEnd::Resources after{};
    EXPECT_TRUE(WaitUntil([this, &before, &after] {
        after = Measure();
        return after.threads <= before.threads && after.descriptors <= before.descriptors;
    }));
    std::cout << "threads " << before.threads << " -> " << after.threads << ", descriptors " << before.descriptors
              << " -> " << after.descriptors << ", resident KiB " << before.residentKiB << " -> " << after.residentKiB
              << std::endl;
#if !defined(ORN_EMULATED)  // where the memory is the emulator's, which keeps all code that it has translated
    EXPECT_LE(after.residentKiB, before.residentKiB + GetAllowedGrowthKiB(restarts_));
#endif
    End();
}

}  // namespace
