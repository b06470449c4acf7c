#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "LocalDevice.h"

namespace {

using EndToEnd::DeviceStack;
using EndToEnd::Host;
using EndToEnd::json;
using EndToEnd::TelegramMonitor;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::MatchesRegex;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr const char* VerdictSerialNumber = "000000010031";

/// The value of communication object `co` in the device stack of logical device 1.
unsigned long ValueId(unsigned co) {
    return 1010001UL + 10UL * co;
}

json MakeObject(int number, const char* dpt, const char* flags, const char* address) {
    return {{"number", number}, {"name", "CO"}, {"dpt", dpt}, {"flags", flags}, {"groupAddresses", {address}}};
}

/// What somebody who watches the telegrams sees. The app copies CO 1 to CO 2 and lets all others be.
class TelegramVerdictTest : public testing::Test {
protected:
    TelegramVerdictTest() {
        std::ofstream(folder_.At("device.json"))
            << json{{"name", "Copy"},
                    {"serialNumber", VerdictSerialNumber},
                    {"individualAddress", "1.1.20"},
                    {"appId", "Copy"},
                    {"communicationObjects",
                     {MakeObject(1, "1.001", "CWTU", "1/0/1"), MakeObject(2, "1.001", "CT", "1/0/2"),
                      MakeObject(3, "14.056", "CRWT", "1/0/3"), MakeObject(4, "9.001", "CWT", "1/0/4"),
                      MakeObject(5, "5.010", "WT", "1/0/5"), MakeObject(6, "16.001", "CT", "1/0/6")}}};
        Host::Options options;
        options.device = folder_.At("device.json");
        options.deviceStackAddress = deviceStack_.GetAddress();
        host_ = std::make_unique<Host>(options);
        EXPECT_TRUE(host_->WaitForRunState("running"));
        monitor_ = std::make_unique<TelegramMonitor>(*host_);
    }

    void WriteRaw(const std::string& address, const std::string& raw) {
        const json answer = host_->Ask({{"command", "write"}, {"address", address}, {"raw", raw}});
        EXPECT_TRUE(answer.at("ok").get<bool>()) << answer;
    }
    void SetValue(unsigned co, const json& value, const json& more = json::object()) {
        json command{{"command", "SetValue"}, {"id", ValueId(co)}, {"value", value}};
        command.update(more);
        deviceStack_.Ask(command);
    }

    const EndToEnd::TemporaryFolder folder_;
    const DeviceStack deviceStack_{{VerdictSerialNumber}};
    std::unique_ptr<Host> host_;
    std::unique_ptr<TelegramMonitor> monitor_;
};

TEST_F(TelegramVerdictTest, EachButtonTelegramHasAnEchoThatIsNotSentBack) {
    for (const std::string value : {"1", "1", "0"}) {
        host_->Write("1/0/1", value);
        EXPECT_THAT(monitor_->NextVerdicts(3),
                    UnorderedElementsAre("in write 1/0/1 CO 1 " + value + " taken: ",
                                         "out write 1/0/1 CO 1 " + value + " echo: not sent back",
                                         "out write 1/0/2 CO 2 " + value + " sent: "));
    }
    EXPECT_EQ(host_->GetStatus().at("telegrams").at("echo"), 3);
}

TEST_F(TelegramVerdictTest, InfinityIsIgnored) {
    WriteRaw("1/0/3", "7f800000");
    EXPECT_THAT(monitor_->NextVerdicts(1),
                ElementsAre("in write 1/0/3 CO 3 inf ignored: the application says: Ignoring Infinity (not supported) "
                            "from the KNX on CO 3: inf"));
}

TEST_F(TelegramVerdictTest, ValueThatDoesNotDecodeIsRefused) {
    WriteRaw("1/0/4", "7fff");
    EXPECT_THAT(monitor_->NextVerdicts(1), ElementsAre("in write 1/0/4 CO 4 -- refused: the application says: Could "
                                                       "not decode KNX group value 7fff"));
}

TEST_F(TelegramVerdictTest, ReadThatIsNotAnsweredSaysWhy) {
    host_->Ask({{"command", "read"}, {"address", "1/0/3"}, {"timeoutMs", 10}});
    EXPECT_THAT(monitor_->NextVerdicts(1),
                ElementsAre(StartsWith("in read 1/0/3 CO 3 -- silent: the application says: Error retrieving value "
                                       "from devicestack! ")));
}

TEST_F(TelegramVerdictTest, WriteOfTheAppThatDoesNotConvertIsRefused) {
    SetValue(4, "1e9");
    EXPECT_THAT(monitor_->NextVerdicts(1),
                ElementsAre(MatchesRegex("out write 1/0/4 CO 4 -- refused: the application says: This ZANVALUE does "
                                         "not convert to a valid GroupValue for the CO 4 \\(DPT 589825\\): "
                                         "'[0-9]+ -> .*'")));
}

TEST_F(TelegramVerdictTest, WriteOfTheAppToAnObjectThatIsCutOffIsRefused) {
    SetValue(5, "42");
    EXPECT_THAT(monitor_->NextVerdicts(1), ElementsAre("out write 1/0/5 CO 5 42 refused: no communication flag"));
}

TEST_F(TelegramVerdictTest, TextOfTheAppThatIsNotUtf8IsRefused) {
    SetValue(6, "\xC3\xBF", {{"encoding", "latin-1"}});
    EXPECT_THAT(monitor_->NextVerdicts(1), ElementsAre(AllOf(StartsWith("out write 1/0/6 CO 6 "),
                                                             EndsWith(" refused: the application says: Cannot convert "
                                                                      "a non-UTF8 string to Latin-1 for writing to "
                                                                      "the KNX"))));
}

}  // namespace
