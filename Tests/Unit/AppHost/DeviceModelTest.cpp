#include "DeviceModel.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace LocalDevice;
using Zandrel::ZANVALUE;

std::string Answer(const std::string& dataPoints) {
    return R"({"request":1,"response":{"devices":[{"id":1000000,"name":"StairLight","channels":[)"
           R"({"id":1001000,"datapoints":[{"id":1001001,"value":"3.1:0"}]},{"id":1010010,"datapoints":[)" +
           dataPoints + R"(]},{"id":1010050,"name":"Co5","enabled":false,"datapoints":[]}],"metadata":[]}]}})";
}

const std::string& Parameter(const DeviceModel& model, Zandrel::ParameterType type, std::size_t slot) {
    return model.parameters.at(static_cast<std::size_t>(type)).at(slot - 1);
}

TEST(DeviceModel, readsParameters) {
    const auto sut = ReadDeviceModel(Answer(R"({"id":1020011,"value":"5.1:192.168.1.10"},)"
                                            R"({"id":1021501,"value":"5.1:4294967295"},)"
                                            R"({"id":1022011,"value":"5.1:a:b\n\"c\" \u00e4"},)"
                                            R"({"id":1022021,"value":"5.1:\u00e4","encoding":"latin-1"},)"
                                            R"({"id":1022031,"defaultValueInit":"None"})"),
                                     1);
    EXPECT_EQ(Parameter(sut, Zandrel::ParameterType::Ip, 1), "192.168.1.10");
    EXPECT_EQ(Parameter(sut, Zandrel::ParameterType::Number, 50), "4294967295");
    EXPECT_EQ(Parameter(sut, Zandrel::ParameterType::Text, 1), "a:b\n\"c\" \u00e4");
    EXPECT_EQ(Parameter(sut, Zandrel::ParameterType::Text, 2), "\xE4");
    EXPECT_EQ(Parameter(sut, Zandrel::ParameterType::Text, 3), "");
    EXPECT_EQ(Parameter(sut, Zandrel::ParameterType::Ip, 2), "");
}

TEST(DeviceModel, readsCos) {
    const auto sut =
        ReadDeviceModel(Answer(R"({"id":1010011,"value":"2.1:1","eventAlways":"1"},)"
                               R"({"id":1015201,"eventAlways":"0"},{"id":1010031,"defaultValue":"4.1:0"})"),
                        1);
    ASSERT_EQ(sut.cos.size(), 3U);
    EXPECT_EQ(sut.cos.at(1).value, ZANVALUE::FromBoolean(true));
    EXPECT_TRUE(sut.cos.at(1).eventAlways);
    EXPECT_EQ(sut.cos.at(520).value, std::nullopt);
    EXPECT_FALSE(sut.cos.at(520).eventAlways);
    EXPECT_EQ(sut.cos.at(3).value, std::nullopt);
    EXPECT_FALSE(sut.cos.at(3).eventAlways);
}

TEST(DeviceModel, leavesOutTheOtherLogicalDeviceAndForeignObjects) {
    // The last two end in 1010011 where 32 bits are kept of them.
    const auto sut = ReadDeviceModel(
        Answer(R"({"id":2010011,"value":"2.1:1"},{"id":2020011,"value":"5.1:x"},{"id":77,"value":"5.1:y"},)"
               R"({"id":4295977307,"value":"2.1:1"},{"id":-4293957285,"value":"2.1:1"})"),
        1);
    EXPECT_TRUE(sut.cos.empty());
    EXPECT_EQ(Parameter(sut, Zandrel::ParameterType::Ip, 1), "");
}

class NoDeviceModel : public testing::TestWithParam<std::string> {};

TEST_P(NoDeviceModel, isRefused) {
    try {
        ReadDeviceModel(GetParam(), 1);
        FAIL() << GetParam();
    } catch (const DeviceModelError& error) {
        EXPECT_EQ(std::string(error.what()).find("the device stack's object model is not understood: "), 0U);
    }
}

INSTANTIATE_TEST_SUITE_P(All, NoDeviceModel,
                         testing::Values("", "{", "[]", "{}", R"({"response":{}})", R"({"response":{"devices":[{}]}})",
                                         R"({"response":{"devices":[{"channels":[{}]}]}})", Answer("{}"), Answer("1"),
                                         Answer(R"({"id":"x"})"), Answer(R"({"id":1010011,"value":1})"),
                                         Answer(R"({"id":1010011,"value":"x"})"),
                                         Answer(R"({"id":1010011,"eventAlways":1})")));

}  // namespace
