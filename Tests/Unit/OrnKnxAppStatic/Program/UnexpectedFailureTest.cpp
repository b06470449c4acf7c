#include <atomic>
#include <optional>
#include <stdexcept>

#include "AllocationFault.h"
#include "ProgramFixture.h"

namespace {

using namespace Program;

constexpr const char* Finished = "operator() - Thread finished.";
const TestSupport::LogLine RunStateError{"FATAL", "[App] operator() - Set runstate to error"};

/// What must not go wrong and does.
class ProgramUnexpectedFailure : public ProgramFixture {
protected:
    /// Lets the sending of a request that contains `text` throw.
    void ThrowAt(const std::string& text) {
        client_.onSend = [text](const std::string& json) {
            if (json.find(text) != std::string::npos) {
                throw std::runtime_error("on fire");
            }
        };
    }

    /// The lines of the levels ERROR and FATAL, without their call stacks.
    Lines TakeErrors() {
        Lines errors;
        for (TestSupport::LogLine& line : log_.TakeLines()) {
            if (line.level == "ERROR" || line.level == "FATAL") {
                CutCallStack(line);
                errors.push_back(line);
            }
        }
        return errors;
    }

    /// Lets the allocation fail that comes next after the line `text`, on the thread that logs it.
    void FailAllocationAfter(const std::string& text) {
        hook_.emplace(log_.GetLogger(), text, [this] {
            if (!fault_) {
                fault_.emplace();
            }
        });
    }

    std::optional<TestSupport::AllocationFault> fault_;
    std::optional<AppSideTools::LineHook> hook_;
};

TEST_F(ProgramUnexpectedFailure, OfTheClientLetsInitFail) {
    client_.onSetResponseHandler = [] { throw std::runtime_error("on fire"); };

    EXPECT_EQ(sut_->Init(stack_), Failure);

    ExpectHostLines({{"INFO", "ConnectDeviceStack - Create devicestack client connecting with localhost..."},
                     {"ERROR", "Init - Unexpected failure: on fire [CALL STACK]"}});
    EXPECT_EQ(sut_->Exit(), Exited);
}

TEST_F(ProgramUnexpectedFailure, OfTheMemoryLetsARestartFailAndALaterOneWorks) {
    Start();
    Unload();
    FailAllocationAfter("Signal configurationUnloaded to devicestack.");

    EXPECT_EQ(sut_->OnDeviceRestart(), Failure);

    EXPECT_EQ(TakeErrors(), (Lines{{"ERROR", "[App] OnDeviceRestart - Unexpected failure: std::bad_alloc"}}));
    EXPECT_EQ(sut_->OnDeviceRestart(), Started);
    EXPECT_TRUE(WaitForLine(Aborted));
}

TEST_F(ProgramUnexpectedFailure, OfTheConfigurationIsAFailedOne) {
    ThrowAt("GetDeviceConfig");
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(WaitForLine(Finished));

    EXPECT_EQ(TakeErrors(), (Lines{{"ERROR", "ConfigureObjectModel - Unexpected failure: on fire [CALL STACK]"},
                                   {"FATAL", "operator() - Failed to configure object model [CALL STACK]"},
                                   {"FATAL", "operator() - Set runstate to error [CALL STACK]"},
                                   {"FATAL", "operator() - Missing logical device ID [CALL STACK]"}}));
    EXPECT_EQ(stack_.GetRunStates(), std::vector<bool>{false});
}

TEST_F(ProgramUnexpectedFailure, OfTheEventBeforeTheLaunchChangesNothing) {
    FailAllocationAfter("Object model configured successfully.");
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(WaitForLine(Finished));

    EXPECT_EQ(TakeErrors(),
              (Lines{{"ERROR",
                      "[App] IndicateLoadState - Error sending configurationLoaded to devicestack! std::bad_alloc"}}));
    EXPECT_EQ(stack_.GetRunStates(), std::vector<bool>{true});
}

TEST_F(ProgramUnexpectedFailure, BeforeTheLaunchIsAFailedOne) {
    FailAllocationAfter("Signal configurationLoaded to devicestack.");
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(WaitForLine(Finished));

    EXPECT_EQ(TakeErrors(), (Lines{{"ERROR", "[App] operator() - Unexpected failure: std::bad_alloc"}, RunStateError}));
    EXPECT_EQ(stack_.GetRunStates(), std::vector<bool>{false});
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ProgramUnexpectedFailure, OfTheMemoryForTheLineOfARunStateKeepsNoRunStateFromTheStack) {
    ThrowAt("GetDeviceConfig");
    FailAllocationAfter("Signal configurationUnloaded to devicestack.");
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(WaitForLine(Finished));

    EXPECT_EQ(TakeErrors(), (Lines{{"ERROR", "ConfigureObjectModel - Unexpected failure: on fire [CALL STACK]"},
                                   {"FATAL", "operator() - Failed to configure object model [CALL STACK]"},
                                   {"ERROR", "operator() - Unexpected failure: std::bad_alloc [CALL STACK]"},
                                   {"FATAL", "operator() - Missing logical device ID [CALL STACK]"}}));
    EXPECT_EQ(stack_.GetRunStates(), std::vector<bool>{false});
}

/// A hub whose run state cannot be set.
class FailingHub final : public KnxStack::IApiHub {
public:
    explicit FailingHub(TestSupport::FakeKnxStack& stack) : stack_(stack) {}

    KnxStack::IGroupValueService* GetGroupValueService() override { return stack_.GetGroupValueService(); }
    KnxStack::IPropertyService* GetPropertyService() override { return stack_.GetPropertyService(); }
    KnxStack::IMemory* GetApplicationPrg1Memory() override { return stack_.GetApplicationPrg1Memory(); }
    void SetRunState(bool /*running*/) override { throw std::runtime_error("on fire"); }

private:
    TestSupport::FakeKnxStack& stack_;
};

TEST_F(ProgramUnexpectedFailure, OfTheHubEndsTheCycleAndARestartWorks) {
    FailingHub hub(stack_);
    ASSERT_EQ(sut_->Init(hub), Started);
    ASSERT_TRUE(WaitForLine("[App] operator() - Unexpected failure: on fire"));
    EXPECT_EQ(TakeErrors(), (Lines{{"ERROR", "[App] operator() - Unexpected failure: on fire"}}));

    for (int restart = 0; restart < 2; ++restart) {
        EXPECT_EQ(sut_->OnDeviceRestart(), Started);
        EXPECT_TRUE(WaitForLine("[App] operator() - Unexpected failure: on fire")) << "ignored";
        Forget();
    }
    sut_.reset();  // before its hub
}

/// A cycle that is inside the stack when the host exits.
class ProgramLateCycle : public ProgramFixture {
protected:
    void TearDown() override {
        isReleased_ = true;
        ProgramFixture::TearDown();
    }

    std::atomic<bool> isInside_{false};
    std::atomic<bool> isReleased_{false};
};

TEST_F(ProgramLateCycle, LeavesBeforeTheMemoryOfAHubThatIsClosed) {
    constexpr std::uint16_t GroupObjectTable = 9;
    clock_->joinLimit = boost::chrono::milliseconds(20);
    stack_.LoadState(GroupObjectTable).ServeFrom([this](KnxStack::BinaryData& data) {
        const boost::this_thread::disable_interruption uninterrupted;
        isInside_ = true;
        WaitUntil([this] { return isReleased_.load(); });
        data = KnxStack::BinaryData({1});
        return true;
    });
    ASSERT_EQ(sut_->Init(stack_), Started);
    ASSERT_TRUE(WaitUntil([this] { return isInside_.load(); }));
    ASSERT_EQ(sut_->Exit(), Exited);
    Forget();

    isReleased_ = true;

    EXPECT_TRUE(WaitForLine("operator() - "));
    EXPECT_EQ(log_.GetLines(),
              (Lines{{"INFO", "operator() - Finishing init thread as it has been requested to stop."}}));
}

}  // namespace
