#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/thread.hpp>

#include "Bus/BusParticipant.h"
#include "Bus/InProcessBus.h"
#include "Bus/KnxdConnection.h"

namespace LocalDevice {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Keeps what a link hears.
class Listener {
public:
    TelegramHandler GetHandler() {
        return [this](const Telegram& telegram) {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            heard_.push_back(telegram);
            changed_.notify_all();
        };
    }
    std::vector<std::uint16_t> WaitForAddresses(std::size_t count) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        changed_.wait_for(lock, boost::chrono::seconds(10), [&] { return heard_.size() >= count; });
        std::vector<std::uint16_t> addresses;
        for (const auto& telegram : heard_) {
            addresses.push_back(telegram.groupAddress);
        }
        return addresses;
    }
    std::uint16_t GetLastSource() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return heard_.back().source;
    }

private:
    boost::mutex mutex_;
    boost::condition_variable changed_;
    std::vector<Telegram> heard_;
};

Telegram To(std::uint16_t address, GroupService service = GroupService::Write) {
    Telegram telegram;
    telegram.service = service;
    telegram.groupAddress = address;
    return telegram;
}

class InProcessBusTest : public testing::Test {
protected:
    Listener first;
    Listener second;
    Listener third;
    InProcessBus sut;
};

TEST_F(InProcessBusTest, EveryParticipantHearsTheOthersInOrderAndNotItself) {
    const auto firstLink = sut.Connect(1, first.GetHandler());
    const auto secondLink = sut.Connect(2, second.GetHandler());
    const auto thirdLink = sut.Connect(3, third.GetHandler());
    EXPECT_TRUE(firstLink->Send(To(10)));
    EXPECT_TRUE(secondLink->Send(To(11)));
    EXPECT_TRUE(firstLink->Send(To(12)));
    EXPECT_THAT(third.WaitForAddresses(3), ElementsAre(10, 11, 12));
    EXPECT_THAT(first.WaitForAddresses(1), ElementsAre(11));
    EXPECT_THAT(second.WaitForAddresses(2), ElementsAre(10, 12));
    EXPECT_EQ(third.GetLastSource(), 1);
    EXPECT_TRUE(firstLink->IsConnected());
}

TEST_F(InProcessBusTest, AParticipantThatLeftHearsNothingMore) {
    const auto firstLink = sut.Connect(1, first.GetHandler());
    auto secondLink = sut.Connect(2, second.GetHandler());
    const auto thirdLink = sut.Connect(3, third.GetHandler());
    secondLink.reset();
    firstLink->Send(To(10));
    EXPECT_THAT(third.WaitForAddresses(1), ElementsAre(10));
    EXPECT_THAT(second.WaitForAddresses(0), IsEmpty());
}

TEST_F(InProcessBusTest, AHandlerMaySend) {
    std::unique_ptr<IBusLink> echo;
    echo = sut.Connect(2, [&echo](const Telegram& telegram) {
        if (telegram.groupAddress == 10) {
            echo->Send(To(11));
        }
    });
    const auto firstLink = sut.Connect(1, first.GetHandler());
    firstLink->Send(To(10));
    EXPECT_THAT(first.WaitForAddresses(1), ElementsAre(11));
    echo.reset();
}

class BusParticipantTest : public testing::Test {
protected:
    BusConnector Connector() {
        return [this](TelegramHandler handler) { return bus.Connect(7, std::move(handler)); };
    }

    InProcessBus bus;
    BusParticipant sut{Connector()};
};

TEST_F(BusParticipantTest, AReadGivesTheResponseToItsAddress) {
    std::unique_ptr<IBusLink> device;
    device = bus.Connect(1, [&device](const Telegram& telegram) {
        if (telegram.service == GroupService::Read) {
            device->Send(To(static_cast<std::uint16_t>(telegram.groupAddress + 1), GroupService::Response));
            device->Send(To(telegram.groupAddress, GroupService::Write));
            device->Send(To(telegram.groupAddress, GroupService::Response));
        }
    });
    const auto response = sut.Read(10, std::chrono::seconds(10));
    ASSERT_TRUE(response);
    EXPECT_EQ(response->groupAddress, 10);
    EXPECT_EQ(response->service, GroupService::Response);
    EXPECT_EQ(response->source, 1);
    device.reset();
}

TEST_F(BusParticipantTest, AReadThatNobodyAnswersEndsInTime) {
    EXPECT_FALSE(sut.Read(10, std::chrono::milliseconds(1)));
}

TEST_F(BusParticipantTest, StoppingEndsARead) {
    boost::thread stopper([this] { sut.Stop(); });
    EXPECT_FALSE(sut.Read(10, std::chrono::minutes(10)));
    stopper.join();
}

TEST_F(BusParticipantTest, JoinsTheBusWhenItIsFirstUsed) {
    unsigned joins = 0;
    BusParticipant person([&](TelegramHandler handler) {
        ++joins;
        return bus.Connect(7, std::move(handler));
    });
    EXPECT_EQ(joins, 0U);
    EXPECT_TRUE(person.Send(To(10)));
    EXPECT_TRUE(person.Send(To(10)));
    EXPECT_EQ(joins, 1U);
}

TEST(BusParticipantWithoutBusTest, JoinsABusThatComesLater) {
    InProcessBus bus;
    bool isThere = false;
    BusParticipant sut([&](TelegramHandler handler) {
        if (!isThere) {
            throw BusError("no bus");
        }
        return bus.Connect(7, std::move(handler));
    });
    EXPECT_FALSE(sut.Send(To(10)));
    EXPECT_FALSE(sut.Read(10, std::chrono::minutes(10)));
    isThere = true;
    EXPECT_TRUE(sut.Send(To(10)));
}

/// A bus that is away.
class NoLink : public IBusLink {
public:
    bool Send(const Telegram&) override { return true; }  // later
    bool IsConnected() const override { return false; }
};

TEST(BusParticipantWithoutBusTest, AReadEndsAtOnceWhenTheBusIsAway) {
    BusParticipant sut([](const TelegramHandler&) { return std::make_unique<NoLink>(); });
    EXPECT_FALSE(sut.Read(10, std::chrono::minutes(10)));
    EXPECT_FALSE(sut.Send(To(10)));
}

}  // namespace
}  // namespace LocalDevice
