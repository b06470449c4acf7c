#include <gtest/gtest.h>

#include <fstream>
#include <ostream>
#include <string>

#include "LocalDevice.h"

namespace {

using EndToEnd::ChildProcess;
using EndToEnd::DemoLimit;
using EndToEnd::json;
using TestSupport::ExitStatus;

struct Example {
    const char* dpt;
    const char* value;
};

void PrintTo(const Example& example, std::ostream* stream) {
    *stream << example.dpt << " " << example.value;
}

class DataPointTypes : public testing::TestWithParam<Example> {};

json Describe(const std::string& dpt) {
    const auto object = [&dpt](int number, const char* flags, const char* address) {
        return json{{"number", number}, {"name", "CO"}, {"dpt", dpt}, {"flags", flags}, {"groupAddresses", {address}}};
    };
    return {{"name", "Copy"},
            {"serialNumber", "000000010002"},
            {"individualAddress", "1.1.20"},
            {"appId", "Copy"},
            {"communicationObjects", {object(1, "CW", "1/0/1"), object(2, "CRT", "1/0/2")}}};
}

json MakeDemo(const std::string& value) {
    const json write{{"title", "A value comes"}, {"write", {{"address", "1/0/1"}, {"value", value}}}};
    const json expect{{"title", "Its copy goes"},
                      {"expect", {{"address", "1/0/2"}, {"value", value}, {"withinMs", 10000}}}};
    return {{"title", "Copy"}, {"steps", {write, expect}}};
}

TEST_P(DataPointTypes, TravelFromTheBusThroughTheAppToTheBus) {
    const auto& [dpt, value] = GetParam();
    const EndToEnd::TemporaryFolder folder;
    std::ofstream(folder.At("device.json")) << Describe(dpt);
    std::ofstream(folder.At("device.demo.json")) << MakeDemo(value);

    ChildProcess sut(ORN_LOCALDEVICE_PROGRAM, {"--once", "--device", folder.At("device.json")});

    EXPECT_EQ(sut.WaitForExit(DemoLimit), ExitStatus::Exited(0)) << dpt;
    EXPECT_EQ(sut.GetErrorLines(), std::vector<std::string>{}) << dpt;
}

INSTANTIATE_TEST_SUITE_P(
    All, DataPointTypes,
    testing::Values(Example{"1.001", "1"}, Example{"2.001", "control 1"}, Example{"3.007", "increase 3"},
                    Example{"4.002", "\u00E4"}, Example{"5.001", "20"}, Example{"6.020", "66"},
                    Example{"7.003", "1000"}, Example{"8.010", "12.34"}, Example{"9.001", "21"},
                    Example{"10.001", "Mon 12:34:56"}, Example{"11.001", "2026-11-21"}, Example{"12.001", "4294967295"},
                    Example{"13.001", "-1"}, Example{"14.056", "119.5"}, Example{"15.000", "123456 accepted index=3"},
                    Example{"16.001", "K\u00FCche"}, Example{"17.001", "5"}, Example{"18.001", "learn 5"},
                    Example{"19.001", "2026-11-21 12:34:56 Sat workday"}, Example{"20.102", "4"},
                    Example{"21.001", "31"}, Example{"22.101", "16385"}, Example{"26.001", "inactive 5"},
                    Example{"27.001", "196609"}, Example{"28.001", "5 \u20AC"},
                    Example{"29.010", "-9223372036854775808"}, Example{"232.600", "#FF800A"},
                    Example{"235.001", "energy=1000 tariff=2"}, Example{"242.600", "x=0.3127 y=0.32902 Y=50"},
                    Example{"251.600", "#FF800A--"}),
    [](const auto& example) {
        std::string name = example.param.dpt;
        return name.replace(name.find('.'), 1, "_");
    });

}  // namespace
