#include <gtest/gtest.h>

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>
#include <csignal>
#include <fstream>
#include <map>

#include "Bus/KnxdBusLink.h"
#include "Knxd.h"
#include "RepeatCount.h"

namespace {

using EndToEnd::DeviceStack;
using EndToEnd::Host;
using EndToEnd::json;
using EndToEnd::Knxd;
using LocalDevice::GroupService;
using LocalDevice::KnxdBusLink;
using LocalDevice::Telegram;

using SteadyClock = boost::chrono::steady_clock;
using Values = std::vector<std::uint32_t>;

constexpr std::uint16_t CoCount = 520;
constexpr std::uint16_t FirstAddress = 0x0800;  // 1/0/0
constexpr boost::chrono::milliseconds Interval{1};
/// As often is each value sent in a row, so that an equal one that is dropped would show.
constexpr std::uint32_t EqualValues = 4;

std::string ToText(std::uint16_t address) {
    return std::to_string(address >> 11) + "/" + std::to_string(address >> 8 & 7) + "/" +
           std::to_string(address & 0xFF);
}

std::uint16_t AddressOf(std::uint16_t co) {
    return static_cast<std::uint16_t>(FirstAddress + co);
}

std::uint16_t Opposite(std::uint16_t co) {
    return static_cast<std::uint16_t>(CoCount + 1 - co);
}

json DescribeFullDevice() {
    std::vector<json> objects;
    for (std::uint16_t co = 1; co <= CoCount; ++co) {
        objects.push_back({{"number", co},
                           {"name", "CO"},
                           {"dpt", "12.001"},
                           {"flags", "CWTU"},
                           {"groupAddresses", {ToText(AddressOf(co))}}});
    }
    return {{"name", "Mirror"},
            {"serialNumber", "000000010003"},
            {"individualAddress", "1.1.20"},
            {"appId", "Mirror"},
            {"communicationObjects", objects}};
}

Telegram MakeWrite(std::uint16_t co, std::uint32_t value) {
    Telegram telegram;
    telegram.service = GroupService::Write;
    telegram.groupAddress = AddressOf(co);
    for (int shift = 24; shift >= 0; shift -= 8) {
        telegram.data.push_back(static_cast<std::uint8_t>(value >> shift));
    }
    return telegram;
}

/// Keeps what the device sends, by communication object. Thread-safe.
class Receiver {
public:
    void Take(const Telegram& telegram) {
        std::uint32_t value = 0;
        for (const std::uint8_t byte : telegram.data) {
            value = value << 8 | byte;
        }
        const boost::lock_guard<boost::mutex> lock(mutex_);
        values_[static_cast<std::uint16_t>(telegram.groupAddress - FirstAddress)].push_back(value);
        ++count_;
    }
    std::size_t GetCount() const {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return count_;
    }
    std::map<std::uint16_t, Values> GetValues() const {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return values_;
    }

private:
    mutable boost::mutex mutex_;  ///< guards what follows
    std::map<std::uint16_t, Values> values_;
    std::size_t count_ = 0;
};

/// A device that uses every communication object in both directions, on a bus behind a real knxd.
class LoadTest : public testing::Test {
protected:
    LoadTest() {
        std::signal(SIGPIPE, SIG_IGN);  // as the bus link wants it
        std::ofstream(folder_.At("device.json")) << DescribeFullDevice();
        Host::Options options;
        options.device = folder_.At("device.json");
        options.deviceStackAddress = deviceStack_.GetAddress();
        options.bus = knxd_.GetBus();
        host_ = std::make_unique<Host>(options);
        link_ = std::make_unique<KnxdBusLink>(
            knxd_.GetUrl(), [this](const Telegram& telegram) { receiver_.Take(telegram); },
            [](bool, const std::string& line) { ADD_FAILURE() << line; });
    }

    const EndToEnd::TemporaryFolder folder_;
    const Knxd knxd_;
    const DeviceStack deviceStack_{{"000000010003"}};
    Receiver receiver_;
    std::unique_ptr<Host> host_;
    std::unique_ptr<KnxdBusLink> link_;
};

TEST_F(LoadTest, ThousandTelegramsASecondEachWayCrossOnceAndInOrder) {
    ASSERT_TRUE(host_->WaitForRunState("running"));
    const auto seconds = TestSupport::GetRepeatCount("ORN_LOAD_SECONDS", 10);
    const std::size_t count = seconds * 1000;

    std::map<std::uint16_t, Values> expected;
    auto due = SteadyClock::now();
    for (std::size_t i = 0; i < count; ++i) {
        const auto co = static_cast<std::uint16_t>(1 + i % CoCount);
        const auto value = static_cast<std::uint32_t>(i / CoCount / EqualValues);
        expected[Opposite(co)].push_back(value);
        ASSERT_TRUE(link_->Send(MakeWrite(co, value))) << i;
        boost::this_thread::sleep_until(due += Interval);
    }

    EXPECT_TRUE(EndToEnd::WaitUntil([this, count] { return receiver_.GetCount() >= count; }));
    EXPECT_EQ(receiver_.GetValues(), expected);
    const json telegrams = host_->GetStatus().at("telegrams");
    EXPECT_EQ(telegrams.at("taken"), count);
    EXPECT_EQ(telegrams.at("sent"), count) << "nothing is sent twice";
}

}  // namespace
