#include "DeviceStackConfigurationIndicator.h"

#include <boost/thread/barrier.hpp>
#include <boost/thread/thread.hpp>
#include <optional>
#include <stdexcept>

#include "AllocationFault.h"
#include "ObjectModelFixture.h"
#include "Zandrel/OrnIpcClientImpl.h"

namespace {

using namespace Zandrel;

constexpr const char* Begin = R"({"command":"EmitEvent","eventType":"configurationChangeBegin"})";
constexpr const char* End = R"({"command":"EmitEvent","eventType":"configurationChangeEnd"})";

class DeviceStackConfigurationIndicatorTest : public TestSupport::ObjectModelFixture {
protected:
    void OpenAndClose(DeviceStackConnection& road) {
        const DeviceStackConfigurationIndicator sut(road, log.GetLogger(), "app");
    }

    static TestSupport::LogLine BeginLine(const std::string& level, const std::string& message) {
        return {level, "[app] DeviceStackConfigurationIndicator - " + message};
    }
    static TestSupport::LogLine EndLine(const std::string& level, const std::string& message) {
        return {level, "[app] ~DeviceStackConfigurationIndicator - " + message};
    }
    const TestSupport::LogLine switchedOn = BeginLine("INFO", "Switched on configuration change mode.");
    const TestSupport::LogLine switchedOff = EndLine("INFO", "Switched off configuration change mode.");
};

TEST_F(DeviceStackConfigurationIndicatorTest, SpanSendsBeginAndEnd) {
    Connect();
    {
        const DeviceStackConfigurationIndicator sut(connection, log.GetLogger(), "app");

        EXPECT_EQ(stack.GetRequests(), (std::vector<std::string>{Begin}));
        EXPECT_EQ(log.GetLines(), (Lines{switchedOn}));
    }
    EXPECT_EQ(stack.GetRequests(), (std::vector<std::string>{Begin, End}));
    EXPECT_EQ(log.GetLines(), (Lines{switchedOn, switchedOff}));
}

TEST_F(DeviceStackConfigurationIndicatorTest, SpanWhoseBeginRunsOutOfMemoryHasItsEnd) {
    Connect();
    bool isLast = false;
    for (unsigned good = 0; !isLast; ++good) {
        SCOPED_TRACE(good);
        stack.TakeRequests();
        {
            std::optional<TestSupport::AllocationFault> fault(good);
            const DeviceStackConfigurationIndicator sut(connection, log.GetLogger(), "app");
            isLast = !fault->HasHappened();
            fault.reset();
        }
        ASSERT_EQ(stack.GetRequests().back(), End);
    }
    EXPECT_EQ(stack.GetRequests(), (std::vector<std::string>{Begin, End}));
}

TEST_F(DeviceStackConfigurationIndicatorTest, LinesHaveNoPrefixWithoutAnAppId) {
    Connect();
    { const DeviceStackConfigurationIndicator sut(connection, log.GetLogger(), ""); }
    EXPECT_EQ(log.GetLines(),
              (Lines{{"INFO", "DeviceStackConfigurationIndicator - Switched on configuration change mode."},
                     {"INFO", "~DeviceStackConfigurationIndicator - Switched off configuration change mode."}}));
}

TEST_F(DeviceStackConfigurationIndicatorTest, SpanWithoutConnectionReportsItTwiceAndSendsNothing) {
    OpenAndClose(connection);

    EXPECT_EQ(log.GetLines(), (Lines{BeginLine("ERROR", "No devicestack connection available!"),
                                     EndLine("ERROR", "No devicestack connection available!")}));
    EXPECT_TRUE(stack.GetRequests().empty());
}

TEST_F(DeviceStackConfigurationIndicatorTest, TimeOutsAreReported) {
    ConnectToDeafDeviceStack();

    OpenAndClose(impatientConnection);

    EXPECT_EQ(log.GetLines(), (Lines{BeginLine("ERROR", "Sending configurationChangeBegin to devicestack timed out!"),
                                     EndLine("ERROR", "Sending configurationChangeEnd to devicestack timed out!")}));
}

TEST_F(DeviceStackConfigurationIndicatorTest, RefusalsAreReportedWithTheirReasons) {
    Connect();
    stack.Refuse("configurationChangeBegin", "no begin");
    stack.Refuse("configurationChangeEnd", "no end");

    OpenAndClose(connection);

    EXPECT_EQ(log.GetLines(),
              (Lines{BeginLine("ERROR", "Error sending configurationChangeBegin to devicestack! no begin"),
                     EndLine("ERROR", "Error sending configurationChangeEnd to devicestack! no end")}));
}

TEST_F(DeviceStackConfigurationIndicatorTest, EndIsSentAfterABeginThatWasRefused) {
    Connect();
    stack.Refuse("configurationChangeBegin", "no begin");

    OpenAndClose(connection);

    EXPECT_EQ(stack.GetRequests(), (std::vector<std::string>{Begin, End}));
    EXPECT_EQ(log.GetLines().back(), switchedOff);
}

TEST_F(DeviceStackConfigurationIndicatorTest, LostConnectionIsReported) {
    Connect();
    stack.LoseConnectionAt("configurationChangeBegin");

    OpenAndClose(connection);

    EXPECT_EQ(log.GetLines(), (Lines{BeginLine("ERROR",
                                               "Error sending configurationChangeBegin to devicestack! "
                                               "Connection to device stack lost."),
                                     EndLine("ERROR",
                                             "Error sending configurationChangeEnd to devicestack! "
                                             "Not connected to device stack.")}));
}

TEST_F(DeviceStackConfigurationIndicatorTest, ConnectionThatIsClosedWithinTheSpanIsReported) {
    Connect();
    {
        const DeviceStackConfigurationIndicator sut(connection, log.GetLogger(), "app");
        connection.Disconnect();
    }
    EXPECT_EQ(log.GetLines(), (Lines{switchedOn, EndLine("ERROR", "No devicestack connection available!")}));
}

TEST_F(DeviceStackConfigurationIndicatorTest, ExceptionInsideTheSpanStillSendsTheEnd) {
    Connect();

    EXPECT_THROW(
        {
            const DeviceStackConfigurationIndicator sut(connection, log.GetLogger(), "app");
            throw std::runtime_error("inside");
        },
        std::runtime_error);

    EXPECT_EQ(stack.GetRequests(), (std::vector<std::string>{Begin, End}));
    EXPECT_EQ(log.GetLines(), (Lines{switchedOn, switchedOff}));
}

/// A client that is out of order.
class BrokenClient final : public Ostra::IDeviceStackClient {
public:
    BrokenClient() = default;
    ~BrokenClient() override = default;
    BrokenClient(const BrokenClient&) = delete;
    BrokenClient& operator=(const BrokenClient&) = delete;

    void SetEventHandler(IEventHandler*) override {}
    void SetResponseHandler(IResponseHandler*) override {}
    bool Send(const std::string&) override { throw std::runtime_error("out of order"); }
    void SendAtEveryConnect(const std::string&) override {}
};

TEST_F(DeviceStackConfigurationIndicatorTest, ExceptionsOfTheConnectionAreReportedAndGoNoFurther) {
    BrokenClient client;
    DeviceStackConnection broken(
        logger, std::make_shared<TestSupport::SimulatedClock>(),
        {[&client](const std::string&) { return &client; }, [](Ostra::IDeviceStackClient*) {}});
    EXPECT_THROW(broken.ConnectDeviceStack(), std::runtime_error);
    log.TakeLines();

    OpenAndClose(broken);

    EXPECT_EQ(log.GetLines(),
              (Lines{BeginLine("ERROR", "Error sending configurationChangeBegin to devicestack! out of order"),
                     EndLine("ERROR", "Error sending configurationChangeEnd to devicestack! out of order")}));
}

TEST_F(DeviceStackConfigurationIndicatorTest, InterruptionInsideTheSpanStillSendsTheEnd) {
    Connect();
    bool interrupted = false;
    boost::thread thread([this, &interrupted] {
        try {
            const DeviceStackConfigurationIndicator sut(connection, log.GetLogger(), "app");
            boost::this_thread::sleep_for(boost::chrono::hours(1));
        } catch (const boost::thread_interrupted&) {
            interrupted = true;
        }
    });

    thread.interrupt();
    thread.join();

    EXPECT_TRUE(interrupted);
    EXPECT_EQ(stack.GetRequests(), (std::vector<std::string>{Begin, End}));
    EXPECT_EQ(log.GetLines(), (Lines{switchedOn, switchedOff}));
}

class EndOfTheSpan : public DeviceStackConfigurationIndicatorTest, public ::testing::WithParamInterface<const char*> {};

/// The interruption comes while the thread waits for the device stack's answer to the event.
TEST_P(EndOfTheSpan, CannotBeInterrupted) {
    Connect();
    bool interruptionPending = false;
    boost::barrier started(2);
    boost::thread thread([this, &interruptionPending, &started] {
        started.wait();
        OpenAndClose(connection);
        interruptionPending = boost::this_thread::interruption_requested();
    });
    stack.RunBefore(GetParam(), [&thread] { thread.interrupt(); });
    started.wait();
    thread.join();

    EXPECT_TRUE(interruptionPending);
    EXPECT_EQ(log.GetLines(), (Lines{switchedOn, switchedOff}));
}

INSTANTIATE_TEST_SUITE_P(Both, EndOfTheSpan, ::testing::Values("configurationChangeBegin", "configurationChangeEnd"));

class LoadStateTest : public TestSupport::ObjectModelFixture {
protected:
    static Lines Line(const std::string& level, const std::string& message) {
        return {{level, "[app] IndicateLoadState - " + message}};
    }
};

TEST_F(LoadStateTest, LoadedIsSignalled) {
    Connect();

    SignalConfigurationLoaded(connection, logger);

    EXPECT_EQ(stack.GetRequests(),
              (std::vector<std::string>{R"({"command":"EmitEvent","eventType":"configurationLoaded"})"}));
    EXPECT_EQ(log.GetLines(), Line("INFO", "Signal configurationLoaded to devicestack."));
}

TEST_F(LoadStateTest, UnloadedIsSignalled) {
    Connect();

    SignalConfigurationUnloaded(connection, logger);

    EXPECT_EQ(stack.GetRequests(),
              (std::vector<std::string>{R"({"command":"EmitEvent","eventType":"configurationUnloaded"})"}));
    EXPECT_EQ(log.GetLines(), Line("INFO", "Signal configurationUnloaded to devicestack."));
}

TEST_F(LoadStateTest, MissingConnectionIsReported) {
    SignalConfigurationLoaded(connection, logger);

    EXPECT_EQ(log.GetLines(), Line("ERROR", "No devicestack connection available!"));
}

TEST_F(LoadStateTest, TimeOutsAreReported) {
    ConnectToDeafDeviceStack();

    SignalConfigurationLoaded(impatientConnection, logger);
    EXPECT_EQ(log.TakeLines(), Line("ERROR", "Sending configurationLoaded to devicestack timed out!"));

    SignalConfigurationUnloaded(impatientConnection, logger);
    EXPECT_EQ(log.TakeLines(), Line("ERROR", "Sending configurationUnloaded to devicestack timed out!"));
}

TEST_F(LoadStateTest, RefusalsAreReportedWithTheirReasons) {
    Connect();
    stack.Refuse("EmitEvent", "not now");

    SignalConfigurationLoaded(connection, logger);
    EXPECT_EQ(log.TakeLines(), Line("ERROR", "Error sending configurationLoaded to devicestack! not now"));

    SignalConfigurationUnloaded(connection, logger);
    EXPECT_EQ(log.TakeLines(), Line("ERROR", "Error sending configurationUnloaded to devicestack! not now"));
}

/// Whatever the answer: what is not logged is not built.
TEST_F(LoadStateTest, RefusalThatIsNotLoggedTakesNoMoreMemoryThanSuccess) {
    Connect();
    log.GetLogger().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    const auto countAllocations = [this] {
        stack.TakeRequests();
        const unsigned before = TestSupport::CountAllocations();
        SignalConfigurationLoaded(connection, logger);
        return TestSupport::CountAllocations() - before;
    };
    stack.Accept("EmitEvent", R"({"note":"an event whose time has come"})");
    countAllocations();  // what the first one sets up for good

    const unsigned accepted = countAllocations();
    stack.Refuse("EmitEvent", "an event whose time has not come yet");

    EXPECT_EQ(countAllocations(), accepted);
}

TEST_F(LoadStateTest, AppThatDoesNotRunIsShownAndSignalled) {
    Connect();
    TestSupport::GlobalLogCapture ipcLog;
    OrnIpcClientImpl ipcClient(13, 2);

    IndicateAppNotRunning(ipcClient, connection, logger);

    EXPECT_EQ(log.GetLines(),
              (Lines{{"INFO", "[app] IndicateAppNotRunning - Switching RUN led off."},
                     {"INFO", "[app] IndicateLoadState - Signal configurationUnloaded to devicestack."}}));
    EXPECT_EQ(stack.GetRequests(),
              (std::vector<std::string>{R"({"command":"EmitEvent","eventType":"configurationUnloaded"})"}));
    ASSERT_EQ(ipcLog.GetLines().size(), 1U) << "the client says that no supervisor listens";
    EXPECT_EQ(ipcLog.GetLines().front().level, "ERROR");
}

}  // namespace
