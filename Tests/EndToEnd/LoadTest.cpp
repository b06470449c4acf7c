#include <gtest/gtest.h>

#include <algorithm>
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
/// Longer in a slow build: an echo that comes 20 s late is none any more.
constexpr boost::chrono::milliseconds Interval{ORN_LOAD_MILLISECONDS};
/// As often is each value sent in a row, so that an equal one that is dropped would show.
constexpr std::size_t EqualValues = 4;

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

/// The value that a communication object gets in a round over all of them: the same a few times in a row. What it gets
/// and what its opposite's value makes the app write to it never is the same: one is even, the other odd.
std::uint32_t ValueOf(std::uint16_t co, std::size_t round) {
    return static_cast<std::uint32_t>(round / EqualValues * 2 + (co <= CoCount / 2 ? 0 : 1));
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

/// Where what came first differs from what was to come; empty where it does not.
std::string FindDifference(const std::map<std::uint16_t, Values>& actual,
                           const std::map<std::uint16_t, Values>& expected) {
    for (const auto& [co, values] : expected) {
        const auto found = actual.find(co);
        const Values came = found == actual.end() ? Values{} : found->second;
        const auto [left, right] = std::mismatch(came.begin(), came.end(), values.begin(), values.end());
        if (left != came.end() || right != values.end()) {
            return "CO " + std::to_string(co) + ": " + std::to_string(came.size()) + " values of " +
                   std::to_string(values.size()) + ", the first that differs is number " +
                   std::to_string(left - came.begin());
        }
    }
    return actual.size() == expected.size() ? "" : "telegrams of COs that were not asked";
}

/// A device that uses every communication object in both directions, on a bus behind a real knxd.
class LoadTest : public testing::Test {
protected:
    LoadTest() {
        std::signal(SIGPIPE, SIG_IGN);  // NOLINT(cert-err33-c): it cannot fail; the bus link wants it so
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
    const auto seconds = TestSupport::GetRepeatCount("ORN_LOAD_SECONDS", ORN_LOAD_SECONDS);
    const std::size_t count = seconds * static_cast<std::size_t>(boost::chrono::seconds(1) / Interval);

    std::map<std::uint16_t, Values> expected;
    auto due = SteadyClock::now();
    for (std::size_t i = 0; i < count; ++i) {
        const auto co = static_cast<std::uint16_t>(1 + i % CoCount);
        const std::uint32_t value = ValueOf(co, i / CoCount);
        expected[Opposite(co)].push_back(value);
        ASSERT_TRUE(link_->Send(MakeWrite(co, value))) << i;
        boost::this_thread::sleep_until(due += Interval);
    }

    EXPECT_TRUE(EndToEnd::WaitUntil([this, count] { return receiver_.GetCount() >= count; }));
    EXPECT_EQ(FindDifference(receiver_.GetValues(), expected), "");
    const json telegrams = host_->GetStatus().at("telegrams");
    EXPECT_EQ(telegrams.at("taken"), count);
    EXPECT_EQ(telegrams.at("sent"), count) << "nothing is sent twice";
    EXPECT_EQ(telegrams.at("echo"), count) << "nothing but each echo is dropped";
}

}  // namespace
