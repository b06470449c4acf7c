#include <array>
#include <boost/chrono/duration.hpp>
#include <ostream>

#include "LifeCycleFixture.h"
#include "Zandrel/KnxOdsMapping.h"

namespace LifeCycle {
namespace {

using boost::chrono::seconds;

/// What a cycle does when it has failed, each of which waits for an answer.
enum class FailedStop {
    UnloadedAfterConfiguration,  ///< the object model was refused
    KnxCommunicationOff,         ///< the same, after the run state was set
    UnloadedAfterLaunch,         ///< there is no such app
};

/// What happens to a failed cycle meanwhile.
enum class FailedEvent { Nothing, Restart, Exit, ExitAndDelete, ExitTooLate, ExitAndDeleteTooLate, DeviceStackLost };

struct FailedWay {
    FailedStop stop;
    FailedEvent event;
};

std::ostream& operator<<(std::ostream& stream, const FailedWay& way) {
    static constexpr std::array Stops{"UnloadedAfterConfiguration", "KnxCommunicationOff", "UnloadedAfterLaunch"};
    static constexpr std::array Events{
        "Nothing", "Restart", "Exit", "ExitAndDelete", "ExitTooLate", "ExitAndDeleteTooLate", "DeviceStackLost"};
    return stream << "StoppedAt" << Stops[static_cast<std::size_t>(way.stop)] << "Then"
                  << Events[static_cast<std::size_t>(way.event)];
}

std::vector<FailedWay> AllFailedWays() {
    std::vector<FailedWay> ways;
    for (const FailedStop stop :
         {FailedStop::UnloadedAfterConfiguration, FailedStop::KnxCommunicationOff, FailedStop::UnloadedAfterLaunch}) {
        for (const FailedEvent event :
             {FailedEvent::Nothing, FailedEvent::Restart, FailedEvent::Exit, FailedEvent::ExitAndDelete,
              FailedEvent::ExitTooLate, FailedEvent::ExitAndDeleteTooLate, FailedEvent::DeviceStackLost}) {
            ways.push_back({stop, event});
        }
    }
    return ways;
}

class WayThroughAFailedCycle : public LifeCycleFixture, public testing::WithParamInterface<FailedWay> {
protected:
    void StartFailedCycle() {
        if (GetParam().stop == FailedStop::UnloadedAfterLaunch) {
            boost::filesystem::remove(Library);
        } else {
            deviceStack_.Refuse(Devices, "no");
        }
        StartCycleUntilRequest(GetParam().stop == FailedStop::KnxCommunicationOff ? CommunicationOff()
                                                                                  : "configurationUnloaded");
    }
    /// What was in the way is not there any more.
    void Repair() {
        AppSideTools::WorkingDirectory::MakeFile(Library);
        deviceStack_.Accept(Devices);
    }

    void ExitNow(bool thenDelete, bool isTooLate) {
        const std::size_t runStates = stack_.GetRunStates().size();
        clock_->threadIsHeld = isTooLate;
        const Call call = Exit();
        EXPECT_EQ(call.result, Exited);
        EXPECT_EQ(call.waits, seconds(isTooLate ? 4 : 0));
        if (thenDelete) {
            sut_.reset();
        }
        const int touches = stack_.CountTouches();
        Release();
        WaitForCycleEnd();
        EXPECT_EQ(stack_.GetRunStates().size(), runStates) << "a cycle that was asked to end set the run state";
        EXPECT_EQ(stack_.CountTouches(), touches);
        EXPECT_EQ(CountLines("Starting reset timer."), 0);
    }

    static std::string CommunicationOff() {
        return "\"id\":" + std::to_string(Zandrel::KnxOdsMapping::GetAppHostAppControlEventObjModelId(1)) +
               R"(,"value":"3.1:3")";
    }
    static constexpr const char* Library = "device/opt/userdata/orn/libornmyapp.so";
    static constexpr const char* Devices = "KIM-FriendlyName";
};

TEST_P(WayThroughAFailedCycle, EndsAndLeavesNothingBehind) {
    StartFailedCycle();
    EXPECT_FALSE(HasChild());
    switch (GetParam().event) {
        case FailedEvent::Restart:
            Repair();
            EXPECT_EQ(Restart().result, Started);
            WaitForCycleEnd();
            EXPECT_TRUE(stack_.GetRunStates().back());
            break;
        case FailedEvent::Exit:
            return ExitNow(false, false);
        case FailedEvent::ExitAndDelete:
            return ExitNow(true, false);
        case FailedEvent::ExitTooLate:
            return ExitNow(false, true);
        case FailedEvent::ExitAndDeleteTooLate:
            return ExitNow(true, true);
        case FailedEvent::DeviceStackLost:
            LoseConnection();
            [[fallthrough]];
        case FailedEvent::Nothing:
            Release();
            WaitForCycleEnd();
            EXPECT_EQ(stack_.GetRunStates(), std::vector<bool>{false});
            EXPECT_EQ(CountLines("Starting reset timer."), 0);
            EXPECT_FALSE(HasChild());
            Reconnect();
            Repair();
            break;
    }
    ExpectThatARestartWorks();
    EXPECT_EQ(Exit().result, Exited);
}

INSTANTIATE_TEST_SUITE_P(All, WayThroughAFailedCycle, testing::ValuesIn(AllFailedWays()),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace LifeCycle
