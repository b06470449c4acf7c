#include "ObjectModelConfiguratorFixture.h"

namespace {

using namespace Zandrel;

class ObjectModelResetTest : public TestSupport::ObjectModelConfiguratorFixture {
protected:
    static constexpr const char* Disable =
        R"({"command":"SetConfiguration","id":1000000,"properties":{"enabled":false}})";

    /// Configures, so that there is something to reset.
    void ConnectAndConfigure() {
        Connect();
        ASSERT_TRUE(Configure());
        ASSERT_FALSE(sut.GetKnxConfiguration()->cos.empty());
        stack.TakeRequests();
        TakeLines();
    }

    const TestSupport::LogLine failed =
        Line("WARN", "ResetConfiguration", "Failed to disable device channel. Logical device: 1");
};

TEST_F(ObjectModelResetTest, ResetForgetsTheDownloadAndDisablesTheDevice) {
    ConnectAndConfigure();

    EXPECT_TRUE(sut.ResetConfiguration(Device1()));

    EXPECT_TRUE(sut.GetKnxConfiguration()->cos.empty());
    EXPECT_EQ(stack.GetRequests(), (std::vector<std::string>{Disable}));
    EXPECT_TRUE(TakeLines().empty());
}

TEST_F(ObjectModelResetTest, ResetForgetsTheDownloadEvenWhenDisablingIsRefused) {
    ConnectAndConfigure();
    stack.Refuse("properties", "unknown id");

    EXPECT_FALSE(sut.ResetConfiguration(Device1()));

    EXPECT_TRUE(sut.GetKnxConfiguration()->cos.empty());
    EXPECT_EQ(
        TakeLines(),
        (Lines{Line("ERROR", "DisableLogicalKnxDevice", "Failed to set configuration of object '1000000': unknown id"),
               failed}));
}

TEST_F(ObjectModelResetTest, ResetForgetsTheDownloadEvenWithoutConnection) {
    ConnectAndConfigure();
    connection.Disconnect();

    EXPECT_FALSE(sut.ResetConfiguration(Device1()));

    EXPECT_TRUE(sut.GetKnxConfiguration()->cos.empty());
    EXPECT_EQ(TakeLines(),
              (Lines{Line("ERROR", "DisableLogicalKnxDevice", "Connection to device stack unavailable!"), failed}));
}

TEST_F(ObjectModelResetTest, DownloadLastsAsLongAsSomebodyUsesIt) {
    ConnectAndConfigure();
    const std::shared_ptr<const KnxConfiguration> used = sut.GetKnxConfiguration();

    EXPECT_TRUE(sut.ResetConfiguration(Device1()));

    EXPECT_FALSE(used->cos.empty());
    EXPECT_EQ(used.use_count(), 1);
}

TEST_F(ObjectModelResetTest, ResetOfTheSecondDeviceNamesIt) {
    Connect();
    stack.Refuse("properties", "unknown id");

    EXPECT_FALSE(sut.ResetConfiguration(*LogicalDeviceId::From(2)));

    EXPECT_EQ(
        TakeLines(),
        (Lines{Line("ERROR", "DisableLogicalKnxDevice", "Failed to set configuration of object '2000000': unknown id"),
               Line("WARN", "ResetConfiguration", "Failed to disable device channel. Logical device: 2")}));
}

TEST_F(ObjectModelResetTest, IdZeroIsRefusedAtOnce) {
    Connect();

    EXPECT_FALSE(sut.DisableLogicalKnxDevice(0));

    EXPECT_TRUE(stack.GetRequests().empty());
    EXPECT_TRUE(TakeLines().empty());
}

TEST_F(ObjectModelResetTest, DisablingThatTimesOutIsReported) {
    ConnectToDeafDeviceStack();
    ObjectModelConfigurator impatient(logger, impatientConnection, identity, knx);

    EXPECT_FALSE(impatient.DisableLogicalKnxDevice(42));

    EXPECT_EQ(TakeLines(),
              (Lines{Line("ERROR", "DisableLogicalKnxDevice", "Setting configuration of object '42' time out.")}));
}

TEST_F(ObjectModelResetTest, DisablingWithALostConnectionIsReported) {
    Connect();
    stack.LoseConnectionAt("properties");

    EXPECT_FALSE(sut.DisableLogicalKnxDevice(42));

    EXPECT_EQ(TakeLines(),
              (Lines{Line("ERROR", "DisableLogicalKnxDevice",
                          "Failed to set configuration of object '42': Connection to device stack lost.")}));
}

}  // namespace
