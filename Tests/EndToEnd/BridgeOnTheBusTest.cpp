#include <gtest/gtest.h>

#include <fstream>

#include "Knxd.h"

namespace {

using EndToEnd::BusListener;
using EndToEnd::DeviceStack;
using EndToEnd::Host;
using EndToEnd::json;
using EndToEnd::Knxd;
using Telegrams = std::vector<std::string>;

constexpr std::size_t Repetitions = 100;
constexpr const char* FirstSerialNumber = "000000010011";
constexpr const char* SecondSerialNumber = "000000010012";

json MakeObject(int number, const char* flags, const std::vector<std::string>& addresses) {
    return {{"number", number}, {"name", "CO"}, {"dpt", "1.001"}, {"flags", flags}, {"groupAddresses", addresses}};
}

/// A device that copies each value of CO 1 to CO 2.
json MakeCopy(const char* serialNumber, const std::vector<json>& objects) {
    return {{"name", "Copy"},
            {"serialNumber", serialNumber},
            {"individualAddress", "1.1.20"},
            {"appId", "Copy"},
            {"communicationObjects", objects}};
}

/// `Repetitions` times on, then off: what comes twice, late or never shows.
Telegrams MakeSequence() {
    Telegrams telegrams(Repetitions, "Write 01");
    telegrams.push_back("Write 00");
    return telegrams;
}

Telegrams Repeat(const Telegrams& telegrams, std::size_t times) {
    Telegrams all;
    for (std::size_t i = 0; i < times; ++i) {
        all.insert(all.end(), telegrams.begin(), telegrams.end());
    }
    return all;
}

/// Devices whose communication objects hear and send, on a bus behind a real knxd.
class BridgeOnTheBusTest : public testing::Test {
protected:
    std::unique_ptr<Host> StartDevice(const json& description) {
        const std::string file = folder_.At(description.at("serialNumber").get<std::string>());
        std::ofstream(file) << description;
        Host::Options options;
        options.device = file;
        options.deviceStackAddress = deviceStack_.GetAddress();
        options.bus = knxd_.GetBus();
        auto host = std::make_unique<Host>(options);
        EXPECT_TRUE(host->WaitForRunState("running"));
        return host;
    }

    void PressButton(const std::string& address) {
        for (std::size_t i = 0; i < Repetitions; ++i) {
            knxd_.Write(address, "1");
        }
        knxd_.Write(address, "0");
    }

    const EndToEnd::TemporaryFolder folder_;
    const Knxd knxd_;
    const BusListener listener_{knxd_};
    const DeviceStack deviceStack_{{FirstSerialNumber, SecondSerialNumber}};
};

TEST_F(BridgeOnTheBusTest, EqualTelegramsAndEqualWritesArriveOnceEach) {
    const auto device =
        StartDevice(MakeCopy(FirstSerialNumber, {MakeObject(1, "CWTU", {"1/0/1"}), MakeObject(2, "CWTU", {"1/0/2"})}));
    for (std::size_t round = 1; round <= 2; ++round) {
        PressButton("1/0/1");

        EXPECT_TRUE(listener_.WaitFor("1/0/2", round * MakeSequence().size())) << round;
        EXPECT_EQ(listener_.GetTelegrams("1/0/2"), Repeat(MakeSequence(), round)) << "what the app wrote";
        EXPECT_EQ(listener_.GetTelegrams("1/0/1"), Repeat(MakeSequence(), round)) << "nothing but the button";
        ASSERT_TRUE(device->RestartAndWait());
    }
}

TEST_F(BridgeOnTheBusTest, ReadBeforeAnyValueStaysSilentBeforeAndAfterARestart) {
    const auto device =
        StartDevice(MakeCopy(FirstSerialNumber, {MakeObject(1, "CW", {"1/0/1"}), MakeObject(2, "CRT", {"1/0/2"}),
                                                 MakeObject(3, "CRW", {"1/0/3"})}));
    for (std::size_t round = 1; round <= 2; ++round) {
        // Reads are answered in their order: once the second has its answer, the first gets none any more.
        knxd_.Write("1/0/3", "1");
        knxd_.Read("1/0/2");
        knxd_.Read("1/0/3");

        EXPECT_TRUE(listener_.WaitFor("1/0/3", 3 * round));
        EXPECT_EQ(listener_.GetTelegrams("1/0/3"), Repeat({"Write 01", "Read", "Response 01"}, round));
        EXPECT_EQ(listener_.GetTelegrams("1/0/2"), Telegrams(round, "Read"));
        ASSERT_TRUE(device->RestartAndWait());
    }
}

TEST_F(BridgeOnTheBusTest, ValueOfBeforeARestartIsNoValueAfterIt) {
    const auto device =
        StartDevice(MakeCopy(FirstSerialNumber, {MakeObject(1, "CRW", {"1/0/1"}), MakeObject(2, "CRW", {"1/0/2"})}));
    knxd_.Write("1/0/1", "1");
    ASSERT_TRUE(device->RestartAndWait());
    knxd_.Write("1/0/2", "1");

    knxd_.Read("1/0/1");
    knxd_.Read("1/0/2");

    EXPECT_TRUE(listener_.WaitFor("1/0/2", 3));
    EXPECT_EQ(listener_.GetTelegrams("1/0/1"), (Telegrams{"Write 01", "Read"}));
}

TEST_F(BridgeOnTheBusTest, ObjectThatReadsOnInitAsksOnceAfterLoadingAndItsAppGetsTheAnswer) {
    const auto answering =
        StartDevice(MakeCopy(FirstSerialNumber, {MakeObject(1, "CRW", {"1/0/1"}), MakeObject(2, "CRW", {"1/0/3"})}));
    knxd_.Write("1/0/1", "1");
    const auto asking =
        StartDevice(MakeCopy(SecondSerialNumber, {MakeObject(1, "CWUI", {"1/0/1"}), MakeObject(2, "CT", {"1/0/2"})}));
    EXPECT_TRUE(listener_.WaitFor("1/0/2", 1)) << "the app copies the answer";
    ASSERT_TRUE(asking->RestartAndWait());
    knxd_.Write("1/0/1", "0");
    EXPECT_TRUE(listener_.WaitFor("1/0/2", 2));

    EXPECT_EQ(listener_.GetTelegrams("1/0/1"), (Telegrams{"Write 01", "Read", "Response 01", "Write 00"}));
    EXPECT_EQ(listener_.GetTelegrams("1/0/2"), (Telegrams{"Write 01", "Write 00"}));
}

TEST_F(BridgeOnTheBusTest, TwoDevicesThatHearEachOtherStartNoLoop) {
    // What one sends, the other hears on an object that sends what the first one hears.
    const auto first = StartDevice(
        MakeCopy(FirstSerialNumber, {MakeObject(1, "CWTU", {"1/0/1"}), MakeObject(2, "CWTU", {"2/0/1", "2/0/2"})}));
    const auto second = StartDevice(
        MakeCopy(SecondSerialNumber, {MakeObject(1, "CWTU", {"1/0/2"}), MakeObject(2, "CWTU", {"2/0/2", "2/0/1"})}));

    const Telegrams once = MakeSequence();
    const Telegrams twice = Repeat(once, 2);
    // One after the other: where a value from the bus meets an equal one of the app, either may pass for the echo.
    PressButton("1/0/1");
    EXPECT_TRUE(listener_.WaitFor("2/0/1", once.size()));
    PressButton("1/0/2");
    EXPECT_TRUE(listener_.WaitFor("2/0/2", once.size()));
    PressButton("1/0/1");
    EXPECT_TRUE(listener_.WaitFor("2/0/1", twice.size()));

    EXPECT_EQ(listener_.GetTelegrams("1/0/1"), twice);
    EXPECT_EQ(listener_.GetTelegrams("1/0/2"), once);
    EXPECT_EQ(listener_.GetTelegrams("2/0/1"), twice);
    EXPECT_EQ(listener_.GetTelegrams("2/0/2"), once);
}

}  // namespace
