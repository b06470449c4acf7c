#include <log4cplus/appender.h>
#include <log4cplus/spi/loggingevent.h>

#include <boost/thread/barrier.hpp>
#include <boost/thread/thread.hpp>

#include "FullDownload.h"
#include "ObjectModelConfiguratorFixture.h"

namespace {

using namespace Zandrel;

class ObjectModelInterruptionTest : public TestSupport::ObjectModelConfiguratorFixture {
protected:
    ObjectModelInterruptionTest() { knx.download = TestSupport::MakeFullDownload(Device1()); }

    void StopBefore(const std::string& request) {
        stack.RunBefore(request, [this] { control.running = false; });
    }
};

/// Runs an action when a line that ends with a text is logged.
class LineTrigger : public log4cplus::Appender {
public:
    LineTrigger(std::string end, std::function<void()> action) : end_(std::move(end)), action_(std::move(action)) {}
    ~LineTrigger() override { destructorImpl(); }
    LineTrigger(const LineTrigger&) = delete;
    LineTrigger& operator=(const LineTrigger&) = delete;

    void close() override { closed = true; }
    void append(const log4cplus::spi::InternalLoggingEvent& event) override {
        const std::string& text = event.getMessage();
        if (text.size() >= end_.size() && text.compare(text.size() - end_.size(), end_.size(), end_) == 0) {
            action_();
        }
    }

private:
    std::string end_;
    std::function<void()> action_;
};

TEST_F(ObjectModelInterruptionTest, StopWhileTheDeviceIsDeterminedEndsTheConfiguration) {
    Connect();
    StopBefore("GetDeviceConfig");

    EXPECT_FALSE(Configure());

    EXPECT_EQ(TakeLines(), (Lines{determined, interrupted}));
    EXPECT_EQ(stack.GetRequests().size(), 1U);
}

TEST_F(ObjectModelInterruptionTest, StopCountsBeforeAMissingDevice) {
    Connect();
    stack.Refuse("GetDeviceConfig", "not now");
    StopBefore("GetDeviceConfig");

    EXPECT_FALSE(Configure());

    EXPECT_EQ(TakeLines(),
              (Lines{Line("ERROR", "GetLogicalKnxDeviceId", "Error retrieving configuration from devicestack! not now"),
                     interrupted}));
}

TEST_F(ObjectModelInterruptionTest, StopWhileTheDownloadIsReadEndsTheConfigurationAndKeepsNothing) {
    knx.whenRead = [this] { control.running = false; };
    Connect();

    EXPECT_FALSE(Configure());

    EXPECT_EQ(TakeLines(), (Lines{determined, retrieved, interrupted}));
    EXPECT_EQ(stack.GetRequests().size(), 1U);
    EXPECT_TRUE(sut.GetKnxConfiguration()->cos.empty());
}

/// Each row: a request during which the stop comes, and the documents that were sent by then.
class StopDuringDocument : public ObjectModelInterruptionTest,
                           public ::testing::WithParamInterface<std::pair<const char*, std::size_t>> {};

TEST_P(StopDuringDocument, SendsNoFurtherOneAndEndsTheSpan) {
    const auto& [request, documents] = GetParam();
    Connect();
    StopBefore(request);

    EXPECT_FALSE(Configure());

    EXPECT_EQ(stack.GetDocuments().size(), documents);
    EXPECT_EQ(stack.GetRequests().back(), End);
    const Lines lines = TakeLines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), interrupted), 1);
    EXPECT_EQ(lines.back(), switchedOff);
}

INSTANTIATE_TEST_SUITE_P(Documents, StopDuringDocument,
                         ::testing::Values(std::pair("KIM-FriendlyName", 1), std::pair("KIM-DPT", 2),
                                           std::pair("192.168.1.50", 3), std::pair("\"85899345\"", 4)));

TEST_F(ObjectModelInterruptionTest, StopWithinTheLastDocumentChangesNothingAnyMore) {
    Connect();
    StopBefore("of the configuration tool");

    EXPECT_TRUE(Configure());

    EXPECT_EQ(stack.GetDocuments().size(), 5U);
}

TEST_F(ObjectModelInterruptionTest, StopBetweenTwoCosSendsNoneOfThem) {
    Connect();
    const log4cplus::SharedAppenderPtr trigger(
        new LineTrigger("CO Channel 26 is inactive", [this] { control.running = false; }));
    log.GetLogger().addAppender(trigger);

    EXPECT_FALSE(Configure());

    log.GetLogger().removeAppender(trigger);
    EXPECT_EQ(TakeLines(), (Lines{determined, retrieved, switchedOn, devicesSent,
                                  Line("DEBUG", "ConfigureObjModelCo", "CO Channel 13 is inactive"),
                                  Line("DEBUG", "ConfigureObjModelCo", "CO Channel 26 is inactive"), interrupted,
                                  Took("Adding 520 COs to configuration"), switchedOff}));
    EXPECT_EQ(stack.GetDocuments().size(), 1U);
}

/// Boost's interruption, which comes when nobody waits for the cycle any more: it passes through every wait.
class InterruptedWait : public ObjectModelInterruptionTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(InterruptedWait, LeavesTheConfigurationAndEndsTheSpan) {
    Connect();
    stack.Ignore(GetParam());
    bool passedThrough = false;
    boost::thread thread([this, &passedThrough] {
        try {
            Configure();
        } catch (const boost::thread_interrupted&) {
            passedThrough = true;
        }
    });
    ASSERT_TRUE(stack.WaitForRequest(GetParam()));
    thread.interrupt();
    thread.join();

    EXPECT_TRUE(passedThrough);
    const std::vector<std::string> requests = stack.GetRequests();
    const bool began = std::count(requests.begin(), requests.end(), Begin) == 1;
    EXPECT_EQ(requests.back() == End, began);
}

INSTANTIATE_TEST_SUITE_P(Waits, InterruptedWait,
                         ::testing::Values("GetDeviceConfig", "KIM-FriendlyName", "KIM-DPT", "192.168.1.50"));

/// A cycle that goes on in the background must not bring back what the reset after its stop has emptied.
TEST_F(ObjectModelInterruptionTest, CycleThatReadsOnAfterAResetKeepsNothing) {
    Connect();
    knx.whenRead = [this] {
        control.running = false;
        EXPECT_TRUE(sut.ResetConfiguration(Device1()));
    };

    EXPECT_FALSE(Configure());

    EXPECT_TRUE(sut.GetKnxConfiguration()->cos.empty());
}

TEST_F(ObjectModelInterruptionTest, ConnectionMayGoWhileACycleSends) {
    Connect();
    stack.Ignore("KIM-DPT");
    bool configured = true;
    boost::thread thread([this, &configured] { configured = Configure(); });
    ASSERT_TRUE(stack.WaitForRequest("KIM-DPT"));

    connection.Disconnect();
    thread.join();

    EXPECT_FALSE(configured);
    const Lines lines = TakeLines();
    EXPECT_EQ(lines.at(lines.size() - 3),
              Line("ERROR", "SetConfiguration", "Configuration of object model failed: Messenger closed."));
    EXPECT_EQ(lines.back().level, "ERROR") << "there is no way for the end any more";
}

}  // namespace
