#include "AppDebugMode.h"

#include <algorithm>
#include <atomic>
#include <new>

#include "AllocationFault.h"
#include "AppControl.h"
#include "AppHostProcessFixture.h"
#include "AppLauncher.h"
#include "DeviceStackConnection.h"
#include "ScriptedDeviceStack.h"

namespace {

using AppSideTools::LogLine;
using AppSideTools::WorkingDirectory;
using boost::chrono::milliseconds;
using ProcessTestTools::Eventually;
using Zandrel::AppDebugMode;
using Zandrel::AppIdentity;
using Zandrel::VerificationResult;

/// The debug switch of a managed app whose package check waits until it is released.
class AppDebugModeTest : public AppHostProcessFixture {
protected:
    AppDebugModeTest() {
        identity_->SetAppId("MyApp");
        identity_->SetAppType(1);
        WorkingDirectory::MakeFile(AppSideTools::ConnectorHost);
        WorkingDirectory::MakeFile("device/opt/userdata/ornApp/1/MyApp.dll");
        debugMode_.Begin(cycle_);
    }
    void TearDown() override {
        isReleased_ = true;
        debugMode_.Close();
        AppHostProcessFixture::TearDown();
    }

    std::ptrdiff_t CountLines(const std::string& text) const {
        const auto lines = log_.GetLines();
        return std::count_if(lines.begin(), lines.end(), [&text](const LogLine& line) { return line.text == text; });
    }
    static constexpr const char* Done = "[MyApp] operator() - Set app debug mode done.";
    static constexpr const char* GivenUp =
        "[MyApp] WaitForTasks - A change of the debug mode does not end; going on without it";

    /// A task that hangs in its check.
    void GivenAHangingTask() {
        debugMode_.SetAppDebugMode(true, owner_);
        debugMode_.SetAppDebugMode(false, owner_);
        ASSERT_TRUE(Eventually([this] { return isChecking_.load(); }));
    }

    WorkingDirectory folder_;
    std::atomic<bool> isChecking_{false};
    std::atomic<bool> isReleased_{false};
    std::shared_ptr<AppIdentity> identity_ = std::make_shared<AppIdentity>();
    const Zandrel::PrefixedLogger logger_{log_.GetLogger(), identity_};
    TestSupport::ScriptedDeviceStack deviceStack_;
    Zandrel::DeviceStackConnection connection_{logger_, clock_, deviceStack_.GetFactory(), {}};
    Zandrel::AppControl appControl_{logger_, connection_, identity_, *sut_};
    Zandrel::AppLauncher launcher_{logger_, identity_, *sut_, [this](const auto&, const auto&, const auto&) {
                                       isChecking_ = true;
                                       Eventually([this] { return isReleased_.load(); });
                                       return VerificationResult::SignatureOk;
                                   }};
    const std::shared_ptr<Zandrel::ThreadControl> cycle_ = std::make_shared<Zandrel::ThreadControl>();
    const std::shared_ptr<const void> owner_ = std::make_shared<int>(0);
    AppDebugMode debugMode_{logger_, identity_, *sut_, appControl_, launcher_, milliseconds(20)};
};

TEST_F(AppDebugModeTest, TaskThatHangsIsNotWaitedForForEver) {
    GivenAHangingTask();

    cycle_->running = false;
    debugMode_.Close();

    EXPECT_EQ(CountLines(GivenUp), 1);
    isReleased_ = true;
    EXPECT_TRUE(Eventually([this] { return CountLines(Done) == 2; }));
    EXPECT_TRUE(GetChildren().empty()) << "it launches nothing any more";
}

TEST_F(AppDebugModeTest, TaskOfAnEndedCycleLeavesTheConnectorHostOfTheNextOneAlone) {
    GivenAHangingTask();
    debugMode_.SetAppDebugMode(true, owner_);
    cycle_->running = false;
    const auto next = std::make_shared<Zandrel::ThreadControl>();
    debugMode_.Begin(next);
    ASSERT_TRUE(sut_->LaunchManagedApp(*next, "host.exe", "pause", "MyApp"));

    isReleased_ = true;

    EXPECT_TRUE(Eventually([this] { return CountLines(Done) == 3; }));
    EXPECT_EQ(GetChildren().size(), 1U);
    EXPECT_TRUE(sut_->KillLeftOver());
}

TEST_F(AppDebugModeTest, TaskWhoseCycleEndsAfterTheLaunchWritesNoRunState) {
    identity_->SetLogicalDeviceId(AppSideTools::FirstDevice);
    ASSERT_TRUE(connection_.ConnectDeviceStack());
    GivenAHangingTask();
    deviceStack_.TakeRequests();
    const AppSideTools::LineHook hook(log_.GetLogger(), "Launched managed app", [this] { cycle_->running = false; });

    isReleased_ = true;

    EXPECT_TRUE(Eventually([this] { return CountLines(Done) == 2; }));
    EXPECT_EQ(deviceStack_.GetRequests(), std::vector<std::string>{});
    EXPECT_TRUE(sut_->KillLeftOver());
}

TEST_F(AppDebugModeTest, TaskHoldsItsOwnerAsLongAsItRuns) {
    GivenAHangingTask();
    EXPECT_GT(owner_.use_count(), 1);

    isReleased_ = true;

    EXPECT_TRUE(Eventually([this] { return owner_.use_count() == 1; }));
}

TEST_F(AppDebugModeTest, WithoutMemoryTheSwitchStaysAsItIs) {
    const auto fails = [this](unsigned good) {
        try {
            const TestSupport::AllocationFault fault(good);
            debugMode_.SetAppDebugMode(true, owner_);
            return false;
        } catch (const std::bad_alloc&) {
            return true;
        }
    };
    unsigned good = 0;
    for (; fails(good); ++good) {
        EXPECT_FALSE(sut_->GetConfiguration().IsInAppDebugMode()) << "after " << good << " allocations";
    }

    EXPECT_GT(good, 0U);
    EXPECT_TRUE(sut_->GetConfiguration().IsInAppDebugMode());
    EXPECT_TRUE(Eventually([this] { return CountLines(Done) == 1; }));
}

TEST_F(AppDebugModeTest, NothingHappensWithoutACycle) {
    debugMode_.Close();

    debugMode_.SetAppDebugMode(true, owner_);

    EXPECT_FALSE(sut_->GetConfiguration().IsInAppDebugMode());
    EXPECT_EQ(CountLines(Done), 0);
}

TEST_F(AppDebugModeTest, TasksThatWaitForAHangingOneAllEnd) {
    GivenAHangingTask();
    constexpr int More = 9;
    for (int i = 0; i < More; ++i) {
        debugMode_.SetAppDebugMode(i % 2 == 0, owner_);
    }
    EXPECT_EQ(CountLines(Done), 1);

    isReleased_ = true;

    EXPECT_TRUE(Eventually([this] { return CountLines(Done) == More + 2; }));
    EXPECT_TRUE(Eventually([this] { return owner_.use_count() == 1; }));
    EXPECT_TRUE(GetChildren().empty()) << "the last change was to the debug mode";
}

}  // namespace
