#include <stdexcept>

#include "DeviceStackConnection.h"
#include "GroupValueBridgeFixture.h"
#include "ScriptedDeviceStack.h"

namespace {

using KnxStack::GroupValue;
using TestSupport::Co;
using TestSupport::IdOf;
using TestSupport::MakeGroupValue;
using TestSupport::On;

class GroupValueReadTest : public TestSupport::GroupValueBridgeFixture {
protected:
    GroupValueReadTest() {
        EXPECT_TRUE(connection_.ConnectDeviceStack());
        log_.TakeLines();
        sut_.SetMessengers(nullptr, [this](unsigned long id, bool useStoredValue) {
            requests_.emplace_back(id, useStoredValue);
            return connection_.GetValue(id, useStoredValue).value();
        });
    }

    std::vector<std::pair<unsigned long, bool>> requests_;
    GroupValue value_ = MakeGroupValue({0xAA});
    TestSupport::ScriptedDeviceStack deviceStack_;
    TestSupport::LogCapture connectionLog_{"Connection"};
    Zandrel::DeviceStackConnection connection_{
        {connectionLog_.GetLogger(), identity_}, std::make_shared<Zandrel::Clock>(), deviceStack_.GetFactory()};
};

TEST_F(GroupValueReadTest, RequestIsAnsweredWithTheDeviceStacksValue) {
    deviceStack_.Accept("GetValue", R"({"value":"2.1:1"})");

    EXPECT_TRUE(sut_.OnGroupValueRead(Co, value_));

    EXPECT_EQ(value_, On);
    EXPECT_EQ(requests_, (std::vector<std::pair<unsigned long, bool>>{{IdOf(Co), true}}));
    EXPECT_EQ(log_.GetLines(), Lines{});
}

TEST_F(GroupValueReadTest, CoWithoutDataPointIsSilent) {
    EXPECT_FALSE(sut_.OnGroupValueRead(521, value_));

    EXPECT_EQ(log_.GetLines(), Lines{});
    EXPECT_TRUE(requests_.empty());
}

TEST_F(GroupValueReadTest, WithoutAMessengerThereIsNoAnswer) {
    sut_.SetMessengers({}, {});

    EXPECT_FALSE(sut_.OnGroupValueRead(Co, value_));

    EXPECT_EQ(log_.GetLines(), (Lines{{"ERROR", "[app] OnGroupValueRead - No messenger available to request value"}}));
    EXPECT_EQ(value_, MakeGroupValue({0xAA}));
}

TEST_F(GroupValueReadTest, TimeOutIsAnError) {
    Zandrel::DeviceStackConnection connection({connectionLog_.GetLogger(), identity_},
                                              std::make_shared<Zandrel::Clock>(), deviceStack_.GetFactory(),
                                              TestSupport::ShortConnectionTimes());
    ASSERT_TRUE(connection.ConnectDeviceStack());
    deviceStack_.Ignore("GetValue");
    sut_.SetMessengers(nullptr, [&connection](unsigned long id, bool useStoredValue) {
        return connection.GetValue(id, useStoredValue).value();
    });

    EXPECT_FALSE(sut_.OnGroupValueRead(Co, value_));

    EXPECT_EQ(log_.GetLines(), (Lines{{"ERROR", "[app] OnGroupValueRead - Request timed out."}}));
    sut_.SetMessengers({}, {});
}

TEST_F(GroupValueReadTest, RefusalIsAnError) {
    deviceStack_.Refuse("GetValue", "no value");

    EXPECT_FALSE(sut_.OnGroupValueRead(Co, value_));

    EXPECT_EQ(log_.GetLines(),
              (Lines{{"ERROR", "[app] OnGroupValueRead - Error retrieving value from devicestack! no value"}}));
    EXPECT_EQ(value_, MakeGroupValue({0xAA}));
}

TEST_F(GroupValueReadTest, ValueThatDoesNotConvertIsFatal) {
    deviceStack_.Accept("GetValue", R"({"value":"5.1:it's on"})");

    EXPECT_FALSE(sut_.OnGroupValueRead(Co, value_));

    EXPECT_THAT(globalLog_.GetLines(),
                testing::ElementsAre(GlobalLine("FATAL", "OnGroupValueRead", "GroupValueBridge",
                                                "The CO 5, DPT 65537 value read from the ODS did not convert into a "
                                                "GroupValue 5 -> it's on")));
    EXPECT_EQ(value_, MakeGroupValue({0xAA}));
}

TEST_F(GroupValueReadTest, ReplyThatIsNoValueThrows) {
    deviceStack_.Accept("GetValue", R"({"value":"on"})");

    EXPECT_THROW(sut_.OnGroupValueRead(Co, value_), std::invalid_argument);
}

}  // namespace
