#include "GroupObjects/GroupObjectService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/thread/future.hpp>
#include <boost/thread/thread.hpp>

#include "EventRecorder.h"
#include "TestDevice.h"

namespace LocalDevice {
namespace {

using KnxStack::GroupValue;
using TestDevice::Dpt;
using TestDevice::GroupAddress;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint16_t SwitchAddress = GroupAddress(1, 0, 1);
constexpr std::uint16_t LevelAddress = GroupAddress(1, 0, 2);
constexpr std::uint16_t SharedAddress = GroupAddress(1, 0, 3);
constexpr std::uint16_t ManyAddresses = GroupAddress(2, 0, 1);  ///< and the two that follow

/// Keeps what it is to send.
class RecordingLink : public IBusLink {
public:
    bool Send(const Telegram& telegram) override {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        if (isAway || isFull) {
            return false;
        }
        sent_.push_back(telegram);
        return true;
    }
    bool IsConnected() const override { return !isAway && !isQueueing; }

    std::vector<Telegram> GetSent() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return sent_;
    }

    std::atomic<bool> isAway{false};
    std::atomic<bool> isFull{false};
    std::atomic<bool> isQueueing{false};  ///< away, and takes what is to be sent later

private:
    boost::mutex mutex_;
    std::vector<Telegram> sent_;
};

/// An application: keeps what it gets, and gives what it has.
class Application : public KnxStack::IGroupValueUser {
public:
    bool OnGroupValueWrite(std::uint32_t groupObject, const GroupValue& value) override {
        return Take("write", groupObject, value);
    }
    bool OnGroupValueResponse(std::uint32_t groupObject, const GroupValue& value) override {
        return Take("response", groupObject, value);
    }
    bool OnGroupValueRead(std::uint32_t, GroupValue& value, bool) override {
        readEntered.set_value();
        if (isReadHeld) {
            readReleased.get_future().wait();
        }
        if (!answer) {
            return false;
        }
        value = *answer;
        return true;
    }

    std::vector<std::string> GetTaken() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return taken_;
    }

    std::atomic<bool> isTaking{true};
    std::optional<GroupValue> answer;
    bool isReadHeld = false;
    boost::promise<void> readEntered;
    boost::promise<void> readReleased;

private:
    bool Take(const std::string& kind, std::uint32_t groupObject, const GroupValue& value) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        taken_.push_back(kind + " " + std::to_string(groupObject) + " " + FormatHex(value.GetBytes()));
        return isTaking;
    }

    boost::mutex mutex_;
    std::vector<std::string> taken_;
};

class GroupObjectServiceTest : public testing::Test {
protected:
    GroupObjectServiceTest() {
        auto ownedLink = std::make_unique<RecordingLink>();
        link = ownedLink.get();
        sut.Connect(std::move(ownedLink));
        sut.LoadObjects(&device);
        sut.LoadAssociations(&device);
        sut.SetOnline(true);
    }
    ~GroupObjectServiceTest() override { sut.UnregisterUser(application); }

    static Telegram Make(GroupService service, std::uint16_t address, Bytes data, bool isCompact = false) {
        Telegram telegram;
        telegram.service = service;
        telegram.groupAddress = address;
        telegram.data = std::move(data);
        telegram.isCompact = isCompact;
        return telegram;
    }
    void Receive(GroupService service, std::uint16_t address, Bytes data = {}, bool isCompact = false) {
        sut.OnTelegram(Make(service, address, std::move(data), isCompact));
    }
    std::vector<std::string> WaitForVerdicts(std::size_t count) {
        std::vector<std::string> verdicts;
        for (const auto& event : recorder.WaitFor<TelegramEvent>(count)) {
            verdicts.push_back(std::to_string(event.number) + " " + ToText(event.verdict) +
                               (event.reason.empty() ? "" : ": " + event.reason));
        }
        return verdicts;
    }

    const DeviceDescription device = TestDevice::Make({
        TestDevice::Object(1, Dpt(1, 1), "CWU", {SwitchAddress, SharedAddress}),
        TestDevice::Object(2, Dpt(5, 10), "CRWTUI", {LevelAddress}),
        TestDevice::Object(3, Dpt(1, 1), "CW", {SharedAddress}),
        TestDevice::Object(4, Dpt(5, 10), "CT", {}),
        TestDevice::Object(5, Dpt(5, 10), "CRW", {LevelAddress + 100}),
        TestDevice::Object(6, Dpt(5, 10), "CRWTU", {ManyAddresses, ManyAddresses + 1, ManyAddresses + 2}),
    });
    HostEvents events;
    EventRecorder recorder{events};
    Application application;
    GroupObjectService sut{events};
    RecordingLink* link = nullptr;
};

TEST_F(GroupObjectServiceTest, GroupObjectsAreThoseOfTheDescription) {
    EXPECT_NE(sut.GetGroupObject(1), nullptr);
    EXPECT_TRUE(sut.GetGroupObject(1)->MayBeWritten());
    EXPECT_EQ(sut.GetGroupObject(0), nullptr);
    EXPECT_EQ(sut.GetGroupObject(7), nullptr);
    EXPECT_EQ(sut.GetGroupObject(521), nullptr);
    EXPECT_EQ(sut.GetObjectCount(), 6U);
}

TEST_F(GroupObjectServiceTest, WritesAndResponsesReachTheApplicationInBusOrder) {
    sut.RegisterUser(application);
    std::vector<std::string> expected;
    for (std::uint8_t i = 0; i < 200; ++i) {
        Receive(i % 2 == 0 ? GroupService::Write : GroupService::Response, LevelAddress, {i});
        expected.push_back((i % 2 == 0 ? "write 2 " : "response 2 ") + FormatHex({i}));
    }
    recorder.WaitFor<TelegramEvent>(200);
    EXPECT_EQ(application.GetTaken(), expected);
    EXPECT_EQ(sut.GetCounters().taken, 200U);
}

TEST_F(GroupObjectServiceTest, OneTelegramReachesEveryListenerOfItsAddress) {
    sut.RegisterUser(application);
    Receive(GroupService::Write, SharedAddress, {1}, true);
    EXPECT_THAT(WaitForVerdicts(2), ElementsAre("1 taken", "3 taken"));
    EXPECT_THAT(application.GetTaken(), ElementsAre("write 1 01", "write 3 01"));
}

TEST_F(GroupObjectServiceTest, AnObjectHearsOnEachOfItsAddressesAndSendsOnTheFirst) {
    sut.RegisterUser(application);
    for (std::uint8_t i = 0; i < 3; ++i) {
        Receive(GroupService::Write, static_cast<std::uint16_t>(ManyAddresses + i), {i});
    }
    recorder.WaitFor<TelegramEvent>(3);
    EXPECT_THAT(application.GetTaken(), ElementsAre("write 6 00", "write 6 01", "write 6 02"));
    EXPECT_TRUE(sut.WriteValue(6, GroupValue({9}), 0));
    const auto sent = link->GetSent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].groupAddress, ManyAddresses);
}

TEST_F(GroupObjectServiceTest, AReadOnAnyAddressIsAnsweredThere) {
    Receive(GroupService::Write, ManyAddresses, {7});
    for (std::uint16_t i = 0; i < 3; ++i) {
        Receive(GroupService::Read, static_cast<std::uint16_t>(ManyAddresses + i));
    }
    recorder.WaitFor<TelegramEvent>(7);
    const auto sent = link->GetSent();
    ASSERT_EQ(sent.size(), 3U);
    for (std::uint16_t i = 0; i < 3; ++i) {
        EXPECT_EQ(sent[i].service, GroupService::Response);
        EXPECT_EQ(sent[i].groupAddress, ManyAddresses + i);
        EXPECT_THAT(sent[i].data, ElementsAre(7));
    }
}

TEST_F(GroupObjectServiceTest, EndsInTheMiddleOfReads) {
    constexpr unsigned Reads = 20;
    for (int round = 0; round < 500; ++round) {
        GroupObjectService ending(events);
        ending.LoadObjects(&device);
        ending.LoadAssociations(&device);
        ending.SetOnline(true);
        for (unsigned i = 0; i < Reads; ++i) {
            ending.OnTelegram(Make(GroupService::Read, LevelAddress, {}));
        }
        EXPECT_EQ(ending.GetCounters().received, Reads);
    }
}

TEST_F(GroupObjectServiceTest, WhatIsNotLetThroughIsRefusedAndCounted) {
    sut.RegisterUser(application);
    Receive(GroupService::Write, LevelAddress, {1, 2});
    Receive(GroupService::Response, SharedAddress, {1}, true);
    EXPECT_THAT(WaitForVerdicts(3), ElementsAre("2 refused: wrong length: 2 bytes instead of 1 byte", "1 taken",
                                                "3 refused: no update flag"));
    EXPECT_THAT(application.GetTaken(), ElementsAre("response 1 01"));
    EXPECT_EQ(sut.GetCounters().refused, 2U);
}

TEST_F(GroupObjectServiceTest, ATelegramToAnotherAddressIsOnlyCounted) {
    Receive(GroupService::Write, GroupAddress(31, 7, 255), {1});
    Receive(GroupService::Write, LevelAddress, {1});
    EXPECT_THAT(WaitForVerdicts(1), ElementsAre("2 taken: no application"));
    EXPECT_EQ(sut.GetCounters().received, 2U);
    EXPECT_EQ(sut.GetCounters().unaddressed, 1U);
}

TEST_F(GroupObjectServiceTest, ADeviceThatIsNotLoadedTakesNothing) {
    sut.SetOnline(false);
    Receive(GroupService::Write, LevelAddress, {1});
    EXPECT_TRUE(sut.WriteValue(2, GroupValue({5}), 0));
    EXPECT_THAT(WaitForVerdicts(1), ElementsAre("2 kept: device is not loaded"));
    EXPECT_THAT(link->GetSent(), IsEmpty());
}

TEST_F(GroupObjectServiceTest, WhatTheApplicationDoesNotTakeIsRefused) {
    sut.RegisterUser(application);
    application.isTaking = false;
    Receive(GroupService::Write, LevelAddress, {1});
    EXPECT_THAT(WaitForVerdicts(1), ElementsAre("2 refused: by the application"));
}

TEST_F(GroupObjectServiceTest, AReadIsAnsweredWithTheApplicationsValueOnTheRequestedAddress) {
    sut.RegisterUser(application);
    application.answer = GroupValue({7});
    Receive(GroupService::Read, LevelAddress);
    EXPECT_THAT(WaitForVerdicts(2), ElementsAre("2 answered", "2 sent"));
    const auto sent = link->GetSent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].service, GroupService::Response);
    EXPECT_EQ(sent[0].groupAddress, LevelAddress);
    EXPECT_THAT(sent[0].data, ElementsAre(7));
}

TEST_F(GroupObjectServiceTest, AReadStaysSilentWhenTheApplicationHasNoValue) {
    sut.RegisterUser(application);
    Receive(GroupService::Read, LevelAddress);
    EXPECT_THAT(WaitForVerdicts(1), ElementsAre("2 silent: the application has no value"));
    EXPECT_THAT(link->GetSent(), IsEmpty());
}

TEST_F(GroupObjectServiceTest, AReadStaysSilentWhenTheApplicationsValueHasTheWrongLength) {
    sut.RegisterUser(application);
    application.answer = GroupValue({1, 2});
    Receive(GroupService::Read, LevelAddress);
    EXPECT_THAT(WaitForVerdicts(1), ElementsAre("2 silent: wrong length: 2 bytes instead of 1 byte"));
}

TEST_F(GroupObjectServiceTest, AReadWithoutReadFlagStaysSilent) {
    sut.RegisterUser(application);
    Receive(GroupService::Read, SwitchAddress);
    EXPECT_THAT(WaitForVerdicts(1), ElementsAre("1 silent: no read flag"));
}

TEST_F(GroupObjectServiceTest, WithoutApplicationAReadIsAnsweredWithTheLastValueIfThereIsOne) {
    Receive(GroupService::Read, LevelAddress + 100);
    EXPECT_THAT(WaitForVerdicts(1), ElementsAre("5 silent: no value yet"));
    Receive(GroupService::Write, LevelAddress + 100, {9});
    Receive(GroupService::Read, LevelAddress + 100);
    EXPECT_THAT(WaitForVerdicts(4),
                ElementsAre("5 silent: no value yet", "5 taken: no application", "5 answered", "5 sent"));
    EXPECT_THAT(link->GetSent().at(0).data, ElementsAre(9));
}

TEST_F(GroupObjectServiceTest, ASlowAnswerDoesNotHoldUpValues) {
    sut.RegisterUser(application);
    application.isReadHeld = true;
    Receive(GroupService::Read, LevelAddress);
    application.readEntered.get_future().wait();
    Receive(GroupService::Write, LevelAddress, {3});
    EXPECT_THAT(WaitForVerdicts(1), ElementsAre("2 taken"));
    EXPECT_TRUE(sut.WriteValue(2, GroupValue({4}), 0));
    application.readReleased.set_value();
    EXPECT_THAT(WaitForVerdicts(3), ElementsAre("2 taken", "2 sent", "2 silent: the application has no value"));
}

TEST_F(GroupObjectServiceTest, UnregisteringWaitsForTheReadThatIsRunning) {
    sut.RegisterUser(application);
    application.isReadHeld = true;
    Receive(GroupService::Read, LevelAddress);
    application.readEntered.get_future().wait();
    boost::thread releaser([this] { application.readReleased.set_value(); });
    EXPECT_TRUE(sut.UnregisterUser(application));
    EXPECT_FALSE(sut.UnregisterUser(application));
    Receive(GroupService::Write, LevelAddress, {3});
    EXPECT_THAT(WaitForVerdicts(2),
                UnorderedElementsAre("2 silent: the application has no value", "2 taken: no application"));
    EXPECT_THAT(application.GetTaken(), IsEmpty());
    releaser.join();
}

TEST_F(GroupObjectServiceTest, AWrittenValueIsSentToTheSendingAddress) {
    EXPECT_TRUE(sut.WriteValue(2, GroupValue({0x80}), 0));
    const auto sent = link->GetSent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].service, GroupService::Write);
    EXPECT_EQ(sent[0].groupAddress, LevelAddress);
    EXPECT_FALSE(sent[0].isCompact);
    EXPECT_THAT(sent[0].data, ElementsAre(0x80));
    EXPECT_THAT(WaitForVerdicts(1), ElementsAre("2 sent"));
}

TEST_F(GroupObjectServiceTest, AWrittenValueThatIsNotToBeSentIsKept) {
    EXPECT_TRUE(sut.WriteValue(1, GroupValue({1}), 0));
    EXPECT_TRUE(sut.WriteValue(4, GroupValue({1}), 0));
    EXPECT_THAT(WaitForVerdicts(2), ElementsAre("1 kept: no transmit flag", "4 kept: no group address"));
    EXPECT_THAT(link->GetSent(), IsEmpty());
    EXPECT_EQ(sut.GetCounters().kept, 2U);
}

TEST_F(GroupObjectServiceTest, WritingFailsForTheWrongLengthAndForNoObject) {
    EXPECT_FALSE(sut.WriteValue(2, GroupValue({1, 2}), 0));
    EXPECT_FALSE(sut.WriteValue(2, GroupValue(), 0));
    EXPECT_FALSE(sut.WriteValue(0, GroupValue({1}), 0));
    EXPECT_FALSE(sut.WriteValue(100, GroupValue({1}), 0));
    EXPECT_THAT(WaitForVerdicts(2), ElementsAre("2 refused: wrong length: 2 bytes instead of 1 byte",
                                                "2 refused: wrong length: 0 bytes instead of 1 byte"));
}

TEST_F(GroupObjectServiceTest, WhatIsWrittenWhileTheBusIsAwayIsDroppedAndCounted) {
    link->isAway = true;
    EXPECT_TRUE(sut.WriteValue(2, GroupValue({1}), 0));
    EXPECT_THAT(WaitForVerdicts(1), ElementsAre("2 dropped: the bus is away"));
    EXPECT_EQ(sut.GetCounters().dropped, 1U);
    sut.Connect(nullptr);
    EXPECT_FALSE(sut.IsConnected());
    EXPECT_TRUE(sut.WriteValue(2, GroupValue({1}), 0));
    EXPECT_EQ(sut.GetCounters().dropped, 2U);
}

TEST_F(GroupObjectServiceTest, WhatIsWrittenWhileTooMuchWaitsForTheBusIsDroppedAndCounted) {
    link->isFull = true;
    EXPECT_TRUE(sut.WriteValue(2, GroupValue({1}), 0));
    EXPECT_THAT(WaitForVerdicts(1), ElementsAre("2 dropped: too many telegrams wait for the bus"));
    EXPECT_EQ(sut.GetCounters().dropped, 1U);
}

TEST_F(GroupObjectServiceTest, WhatTheLinkKeepsForLaterIsQueuedAndCounted) {
    link->isQueueing = true;
    EXPECT_TRUE(sut.WriteValue(2, GroupValue({1}), 0));
    EXPECT_THAT(WaitForVerdicts(1), ElementsAre("2 queued: the bus is away"));
    EXPECT_EQ(sut.GetCounters().queued, 1U);
    EXPECT_EQ(sut.GetCounters().sent, 0U);
}

TEST_F(GroupObjectServiceTest, WhatIsReadOnInitIsReadOnceAfterEachLoad) {
    sut.OnRunning();
    EXPECT_THAT(link->GetSent(), IsEmpty());
    sut.OnLoaded();
    sut.OnRunning();
    sut.OnRunning();
    auto sent = link->GetSent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].service, GroupService::Read);
    EXPECT_EQ(sent[0].groupAddress, LevelAddress);
    sut.OnLoaded();
    sut.OnRunning();
    EXPECT_EQ(link->GetSent().size(), 2U);
}

TEST_F(GroupObjectServiceTest, AnAddressTellsItsTypeAndItsListeners) {
    EXPECT_EQ(sut.FindDpt(LevelAddress), Dpt(5, 10));
    EXPECT_EQ(sut.FindDpt(GroupAddress(31, 7, 255)), std::nullopt);
    EXPECT_EQ(sut.CountListeners(SharedAddress), 2U);
    sut.LoadObjects(nullptr);
    EXPECT_EQ(sut.FindDpt(LevelAddress), std::nullopt);
    sut.LoadAssociations(nullptr);
    EXPECT_EQ(sut.CountListeners(SharedAddress), 0U);
}

}  // namespace
}  // namespace LocalDevice
