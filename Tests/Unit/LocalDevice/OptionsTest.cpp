#include "Options.h"

#include <gmock/gmock.h>

namespace {

using LocalDevice::Options;
using LocalDevice::OptionsError;
using LocalDevice::ParseOptions;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(Options, NothingGivenStartsTheStairLightOnItsOwnBus) {
    const Options sut = ParseOptions({}).value();
    EXPECT_THAT(sut.devices, ElementsAre("stairlight"));
    EXPECT_EQ(sut.bus, "in-process");
    EXPECT_EQ(sut.port, 0);
    EXPECT_EQ(sut.directory, "");
    EXPECT_FALSE(sut.once || sut.quiet || sut.withoutDeviceStack);
    EXPECT_EQ(sut.deviceStackDelay.count(), 0);
}

TEST(Options, EverythingGivenIsTaken) {
    const Options sut = ParseOptions({"--device", "copy", "--device=my.json", "--bus", "knxd:local:/run/knx", "--port",
                                      "65535", "--directory", "d", "--once", "--quiet", "--device-stack-delay", "3"})
                            .value();
    EXPECT_THAT(sut.devices, ElementsAre("copy", "my.json"));
    EXPECT_EQ(sut.bus, "knxd:local:/run/knx");
    EXPECT_EQ(sut.port, 65535);
    EXPECT_EQ(sut.directory, "d");
    EXPECT_TRUE(sut.once && sut.quiet);
    EXPECT_EQ(sut.deviceStackDelay.count(), 3);
    EXPECT_TRUE(ParseOptions({"--no-device-stack"})->withoutDeviceStack);
}

TEST(Options, HelpIsAskedFor) {
    EXPECT_FALSE(ParseOptions({"--once", "--help"}));
    EXPECT_THAT(LocalDevice::GetOptionsHelp(), HasSubstr("--device NAME|FILE"));
    EXPECT_THAT(LocalDevice::GetOptionsHelp(), HasSubstr("each device has a bus of its own"));
}

struct BadCommandLine {
    std::vector<std::string> arguments;
    std::string message;
};

class OptionsRefuse : public testing::TestWithParam<BadCommandLine> {};

TEST_P(OptionsRefuse, SaysWhatIsWrong) {
    EXPECT_THAT([] { ParseOptions(GetParam().arguments); }, testing::ThrowsMessage<OptionsError>(GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    CommandLines, OptionsRefuse,
    testing::Values(
        BadCommandLine{{"--foo"}, "unrecognised option '--foo'; --help lists the options"},
        BadCommandLine{{"--onc"}, "unrecognised option '--onc'; --help lists the options"},
        BadCommandLine{{"foo"}, "unexpected argument \"foo\"; --help lists the options"},
        BadCommandLine{{"--port"}, "the required argument for option '--port' is missing; --help lists the options"},
        BadCommandLine{{"--port", "65536"}, "--port 65536: expected a number from 0 to 65535"},
        BadCommandLine{{"--port", "-1"}, "--port -1: expected a number from 0 to 65535"},
        BadCommandLine{{"--port", "http"}, "--port http: expected a number from 0 to 65535"},
        BadCommandLine{{"--port", "1", "--port", "2"},
                       "option '--port' cannot be specified more than once; --help lists the options"},
        BadCommandLine{{"--device-stack-delay", "3601"}, "--device-stack-delay 3601: expected a number from 0 to 3600"},
        BadCommandLine{{"--device", "a", "--device", "b", "--device", "c"},
                       "--device: expected at most two devices, got 3"},
        BadCommandLine{{"--device", "a", "--device", "a"}, "--device a: expected two different devices"},
        BadCommandLine{{"--bus", "usb"}, "--bus usb: expected in-process, knxd:local:PATH or knxd:ip:HOST[:PORT]"},
        BadCommandLine{{"--bus", "knxd:ip:host:0"},
                       "--bus knxd:ip:host:0: expected in-process, knxd:local:PATH or knxd:ip:HOST[:PORT]"},
        BadCommandLine{{"--bus", ""}, "--bus : expected in-process, knxd:local:PATH or knxd:ip:HOST[:PORT]"},
        BadCommandLine{{"--no-device-stack", "--device-stack-delay", "1"},
                       "--no-device-stack and --device-stack-delay exclude each other"}));

}  // namespace
