#include "DeviceDescription.h"

#include <gmock/gmock.h>

#include "KnxAddress.h"
#include "TemporaryFolder.h"

namespace {

using LocalDevice::DescriptionError;
using LocalDevice::DeviceDescription;
using LocalDevice::LoadDeviceDescription;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

constexpr auto Text = R"({
  "name": "Test",
  "serialNumber": "000a14ff0102",
  "hardwareType": "0000000000ff",
  "friendlyName": "K\u00fcche",
  "individualAddress": "1.1.10",
  "additionalIndividualAddresses": ["1.1.11", "1.1.12"],
  "appId": "App",
  "appType": "managed",
  "displayTextSpeed": "fast",
  "displayTextWrapping": "none",
  "parameters": {
    "ip": {"1": "192.168.1.10"},
    "number": {"50": 4294967295},
    "text": {"2": "Hello"}
  },
  "communicationObjects": [
    {"number": 1, "name": "Button", "dpt": "1.001", "flags": "CW", "groupAddresses": ["1/0/1", "1/0/7"]},
    {"number": 520, "name": "Text", "dpt": "16.001", "flags": "C-RTUI", "groupAddresses": []}
  ]
})";

constexpr auto SmallestText =
    R"({"name": "", "serialNumber": "000000000000", "individualAddress": "0.0.1", "appId": "a",
"communicationObjects": []})";

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    const auto position = text.find(from);
    EXPECT_NE(position, std::string::npos) << from;
    return text.replace(position, from.size(), to);
}

DeviceDescription Load(const std::string& text) {
    const TestSupport::TemporaryFolder directory;
    return LoadDeviceDescription(directory.Write("device.json", text));
}

TEST(DeviceDescription, EveryKeyIsRead) {
    const TestSupport::TemporaryFolder directory;
    const std::string path = directory.Write("device.json", Text);
    const DeviceDescription sut = LoadDeviceDescription(path);

    EXPECT_EQ(sut.name, "Test");
    EXPECT_EQ(sut.source, path);
    EXPECT_THAT(sut.serialNumber, ElementsAre(0x00, 0x0a, 0x14, 0xff, 0x01, 0x02));
    EXPECT_THAT(sut.hardwareType, ElementsAre(0, 0, 0, 0, 0, 0xff));
    EXPECT_EQ(sut.friendlyName,
              "K\xFC"
              "che");
    EXPECT_EQ(sut.individualAddress, 0x110A);
    EXPECT_THAT(sut.additionalIndividualAddresses, ElementsAre(0x110B, 0x110C));
    EXPECT_EQ(sut.appId, "App");
    EXPECT_EQ(sut.appType, 1);
    EXPECT_EQ(sut.displayTextSpeed, 2);
    EXPECT_EQ(sut.displayTextWrapping, 2);
    EXPECT_THAT(sut.ipParameters, ElementsAre(Pair(1, 0xC0A8010AU)));
    EXPECT_THAT(sut.numberParameters, ElementsAre(Pair(50, 4294967295U)));
    EXPECT_THAT(sut.textParameters, ElementsAre(Pair(2, "Hello")));
    ASSERT_THAT(sut.communicationObjects, SizeIs(2));
}

TEST(DeviceDescription, EveryDataPointTypeMayBeUsed) {
    for (const auto& [text, mainNumber, subNumber] : std::vector<std::tuple<const char*, unsigned, unsigned>>{
             {"2.001", 2, 1},       {"3.007", 3, 7},       {"4.002", 4, 2},       {"6.020", 6, 20},
             {"8.010", 8, 10},      {"10.001", 10, 1},     {"11.001", 11, 1},     {"15.000", 15, 0},
             {"17.001", 17, 1},     {"18.001", 18, 1},     {"19.001", 19, 1},     {"20.102", 20, 102},
             {"21.1010", 21, 1010}, {"22.1000", 22, 1000}, {"26.001", 26, 1},     {"27.001", 27, 1},
             {"28.001", 28, 1},     {"29.010", 29, 10},    {"232.600", 232, 600}, {"235.001", 235, 1},
             {"242.600", 242, 600}, {"251.600", 251, 600}}) {
        const DeviceDescription sut = Load(Replaced(Text, "\"16.001\"", "\"" + std::string(text) + "\""));
        EXPECT_EQ(sut.communicationObjects.at(520).dpt, mainNumber << 16U | subNumber) << text;
    }
}

TEST(DeviceDescription, CommunicationObjectsAreRead) {
    const DeviceDescription sut = Load(Text);

    const auto& button = sut.communicationObjects.at(1);
    EXPECT_EQ(button.number, 1);
    EXPECT_EQ(button.name, "Button");
    EXPECT_EQ(button.dpt, 0x10001U);
    EXPECT_TRUE(button.flags.communication && button.flags.write);
    EXPECT_FALSE(button.flags.read || button.flags.transmit || button.flags.update || button.flags.readOnInit);
    EXPECT_THAT(button.groupAddresses, ElementsAre(0x0801, 0x0807));

    const auto& text = sut.communicationObjects.at(520);
    EXPECT_TRUE(text.flags.communication && text.flags.read && text.flags.transmit && text.flags.update &&
                text.flags.readOnInit);
    EXPECT_FALSE(text.flags.write);
    EXPECT_THAT(text.groupAddresses, IsEmpty());
}

TEST(DeviceDescription, LeftOutKeysTakeTheirDefaults) {
    const DeviceDescription sut = Load(SmallestText);
    EXPECT_THAT(sut.hardwareType, ElementsAre(0, 0, 0, 0, 0, 0));
    EXPECT_EQ(sut.friendlyName, "");
    EXPECT_THAT(sut.additionalIndividualAddresses, IsEmpty());
    EXPECT_EQ(sut.appType, 0);
    EXPECT_EQ(sut.displayTextSpeed, 0);
    EXPECT_EQ(sut.displayTextWrapping, 1);
    EXPECT_THAT(sut.ipParameters, IsEmpty());
    EXPECT_THAT(sut.numberParameters, IsEmpty());
    EXPECT_THAT(sut.textParameters, IsEmpty());
    EXPECT_THAT(sut.communicationObjects, IsEmpty());
}

TEST(DeviceDescription, TextParameterIsCutAtAWholeCharacter) {
    const auto textOf = [](const std::string& text) {
        return Load(Replaced(Text, "Hello", text)).textParameters.at(2);
    };
    const std::string fits(127, 'a');
    EXPECT_EQ(textOf(fits), fits);
    EXPECT_EQ(textOf(fits + "b"), fits);
    const std::string euro = "\xE2\x82\xAC";
    EXPECT_EQ(textOf(std::string(124, 'a') + euro), std::string(124, 'a') + euro);
    EXPECT_EQ(textOf(std::string(125, 'a') + euro), std::string(125, 'a'));
    EXPECT_EQ(textOf(std::string(126, 'a') + euro), std::string(126, 'a'));
    EXPECT_EQ(textOf(std::string(127, 'a') + euro), std::string(127, 'a'));
}

TEST(DeviceDescription, LongestTextsAreKept) {
    const DeviceDescription sut = Load(
        Replaced(Replaced(Text, "K\\u00fcche", std::string(30, 'n')), "\"App\"", "\"" + std::string(64, 'i') + "\""));
    EXPECT_EQ(sut.friendlyName, std::string(30, 'n'));
    EXPECT_EQ(sut.appId, std::string(64, 'i'));
}

TEST(DeviceDescription, FriendlyNameCountsCharactersAsStored) {
    std::string umlauts;
    for (int i = 0; i < 30; ++i) {
        umlauts += "\xC3\xBC";
    }
    EXPECT_EQ(Load(Replaced(Text, "K\\u00fcche", umlauts)).friendlyName, std::string(30, '\xFC'));
}

/// The text of a list of `count` different individual addresses.
std::string ManyAddresses(std::size_t count) {
    std::string list;
    for (std::size_t i = 0; i < count; ++i) {
        list += (i == 0 ? "[\"2." : ", \"2.") + std::to_string(i / 256) + "." + std::to_string(i % 256) + "\"";
    }
    return list + "]";
}

TEST(DeviceDescription, AsManyAdditionalAddressesAsTheirPropertyHoldsAreRead) {
    const DeviceDescription sut = Load(Replaced(Text, R"(["1.1.11", "1.1.12"])", ManyAddresses(255)));
    EXPECT_THAT(sut.additionalIndividualAddresses, SizeIs(255));
}

TEST(DeviceDescription, NamesUpToTheLimitAreRead) {
    const std::string longest(100, 'n');
    const DeviceDescription sut = Load(Replaced(Replaced(Text, "Test", longest), "Button", longest));
    EXPECT_EQ(sut.name, longest);
    EXPECT_EQ(sut.communicationObjects.at(1).name, longest);
}

TEST(DeviceDescription, ObjectWithEveryGroupAddressIsRead) {
    std::string all;
    for (unsigned address = 1; address <= 0xFFFF; ++address) {
        all +=
            (address == 1 ? "\"" : ",\"") + LocalDevice::FormatGroupAddress(static_cast<std::uint16_t>(address)) + "\"";
    }
    const DeviceDescription sut = Load(Replaced(Text, R"("1/0/1", "1/0/7")", all));
    EXPECT_THAT(sut.communicationObjects.at(1).groupAddresses, SizeIs(0xFFFF));
}

TEST(DeviceDescription, AppIdOfEveryAllowedKindOfCharacterIsRead) {
    EXPECT_EQ(Load(Replaced(Text, "\"App\"", "\"_My-App.2\"")).appId, "_My-App.2");
}

/// One change to the good text and what comes of it.
struct BadChange {
    std::string from;
    std::string to;
    std::string message;  ///< behind the file's path
};

class DeviceDescriptionRefuses : public testing::TestWithParam<BadChange> {};

TEST_P(DeviceDescriptionRefuses, NamesFilePlaceAndExpectation) {
    const TestSupport::TemporaryFolder directory;
    const std::string path = directory.Write("device.json", Replaced(Text, GetParam().from, GetParam().to));
    std::string message = "no error";
    try {
        LoadDeviceDescription(path);
    } catch (const DescriptionError& error) {
        message = error.what();
    }
    EXPECT_EQ(message, path + GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, DeviceDescriptionRefuses,
    testing::Values(
        BadChange{"\"name\": \"Test\",", "", ":1: expected a member \"name\", got none"},
        BadChange{"\"serialNumber\": \"000a14ff0102\",", "", ":1: expected a member \"serialNumber\", got none"},
        BadChange{"\"individualAddress\": \"1.1.10\",", "", ":1: expected a member \"individualAddress\", got none"},
        BadChange{"\"appId\": \"App\",", "", ":1: expected a member \"appId\", got none"},
        BadChange{"\"communicationObjects\"", "\"objects\"",
                  ":17: /objects: unknown key, expected one of name, serialNumber, hardwareType, friendlyName, "
                  "individualAddress, additionalIndividualAddresses, appId, appType, displayTextSpeed, "
                  "displayTextWrapping, parameters, communicationObjects"},
        BadChange{"\"name\": \"Button\", ", "", ":18: /communicationObjects/0: expected a member \"name\", got none"},
        BadChange{"\"number\": 1,", "", ":18: /communicationObjects/0: expected a member \"number\", got none"},
        BadChange{"\"dpt\": \"1.001\",", "", ":18: /communicationObjects/0: expected a member \"dpt\", got none"},
        BadChange{"\"flags\": \"CW\",", "", ":18: /communicationObjects/0: expected a member \"flags\", got none"},
        BadChange{"\"dpt\": \"1.001\"", "\"type\": 1",
                  ":18: /communicationObjects/0/type: unknown key, expected one of number, name, dpt, flags, "
                  "groupAddresses"},
        BadChange{"\"ip\":", "\"IP\":", ":13: /parameters/IP: unknown key, expected one of ip, number, text"},
        BadChange{"\"appType\": \"managed\"", "\"appId\": \"x\"",
                  ":9: /appId: stands twice in one object, first on line 8"},
        BadChange{"\"1\": \"192.168.1.10\"", "\"1\": \"1.1.1.1\", \"1\": \"1.1.1.2\"",
                  ":13: /parameters/ip/1: stands twice in one object, first on line 13"}));

INSTANTIATE_TEST_SUITE_P(
    Values, DeviceDescriptionRefuses,
    testing::Values(
        BadChange{"\"Test\"", "5", ":2: /name: expected a text, got 5"},
        BadChange{"\"Test\"", "\"a\\u0000b\"", ":2: /name: expected a text without NUL, got \"a\\u0000b\""},
        BadChange{"Test", "\\u001b[2J", ":2: /name: expected a text without control characters, got \"\\u001b[2J\""},
        BadChange{"Test", "a\\nb", ":2: /name: expected a text without control characters, got \"a\\nb\""},
        BadChange{"Test", "\\u007f", ":2: /name: expected a text without control characters, got \"\\u007f\""},
        BadChange{"Test", "\\u009b", ":2: /name: expected a text without control characters, got \"\\u009b\""},
        BadChange{"Test", std::string(101, 'n'), ":2: /name: expected a text of at most 100 bytes, got 101 bytes"},
        BadChange{"K\\u00fcche", "K\\rche",
                  ":5: /friendlyName: expected a text without control characters, got \"K\\rche\""},
        BadChange{"000a14ff0102", "000A14FF0102",
                  ":3: /serialNumber: expected 12 hexadecimal digits in lower case, such as \"000a14ff0102\", got "
                  "\"000A14FF0102\""},
        BadChange{"000a14ff0102", "000a14ff01",
                  ":3: /serialNumber: expected 12 hexadecimal digits in lower case, such as \"000a14ff0102\", got "
                  "\"000a14ff01\""},
        BadChange{"0000000000ff", "0000000000fg",
                  ":4: /hardwareType: expected 12 hexadecimal digits in lower case, such as \"000a14ff0102\", got "
                  "\"0000000000fg\""},
        BadChange{"K\\u00fcche", "\\u20ac",
                  ":5: /friendlyName: expected a text of ISO 8859-1 characters, got \"\\u20ac\""},
        BadChange{"K\\u00fcche", std::string(31, 'n'),
                  ":5: /friendlyName: expected a text of at most 30 characters, got 31 characters"},
        BadChange{"1.1.10", "1.16.10",
                  ":6: /individualAddress: expected an individual address, such as \"1.1.10\", got \"1.16.10\""},
        BadChange{"1.1.10", "0.0.0",
                  ":6: /individualAddress: expected another individual address than 0.0.0, which belongs to no device, "
                  "got \"0.0.0\""},
        BadChange{"1.1.12", "0.0.0",
                  ":7: /additionalIndividualAddresses/1: expected another individual address than 0.0.0, which belongs "
                  "to no device, got \"0.0.0\""},
        BadChange{"1.1.12", "1.1",
                  ":7: /additionalIndividualAddresses/1: expected an individual address, such as \"1.1.10\", got "
                  "\"1.1\""},
        BadChange{"[\"1.1.11\", \"1.1.12\"]", "{}",
                  ":7: /additionalIndividualAddresses: expected a list, got an object"},
        BadChange{"[\"1.1.11\", \"1.1.12\"]", ManyAddresses(256),
                  ":7: /additionalIndividualAddresses: expected at most 255 individual addresses, got 256"},
        BadChange{"\"1.1.12\"", "\n\"1.1.11\"",
                  ":8: /additionalIndividualAddresses/1: expected each individual address once, got \"1.1.11\""},
        BadChange{"1.1.11", "1.1.10",
                  ":7: /additionalIndividualAddresses/0: expected another address than the device's own, got "
                  "\"1.1.10\""},
        BadChange{"managed", "other", ":9: /appType: expected \"native\" or \"managed\", got \"other\""},
        BadChange{"fast", "Fast", ":10: /displayTextSpeed: expected \"slow\" or \"medium\" or \"fast\", got \"Fast\""},
        BadChange{"\"none\"", "2", ":11: /displayTextWrapping: expected \"scroll\" or \"pages\" or \"none\", got 2"}));

INSTANTIATE_TEST_SUITE_P(
    Parameters, DeviceDescriptionRefuses,
    testing::Values(
        BadChange{"192.168.1.10", "192.168.1.256",
                  ":13: /parameters/ip/1: expected an IPv4 address, such as \"192.168.1.10\", got \"192.168.1.256\""},
        BadChange{"\"50\"", "\"0\"", ":14: /parameters/number/0: expected a slot from 1 to 50 as key"},
        BadChange{"\"50\"", "\"51\"", ":14: /parameters/number/51: expected a slot from 1 to 50 as key"},
        BadChange{"\"50\"", "\"05\"", ":14: /parameters/number/05: expected a slot from 1 to 50 as key"},
        BadChange{"4294967295", "4294967296",
                  ":14: /parameters/number/50: expected a whole number from 0 to 4294967295, got 4294967296"},
        BadChange{"4294967295", "-1",
                  ":14: /parameters/number/50: expected a whole number from 0 to 4294967295, got -1"},
        BadChange{"4294967295", "1.0",
                  ":14: /parameters/number/50: expected a whole number from 0 to 4294967295, got 1.0"},
        BadChange{"\"Hello\"", "true", ":15: /parameters/text/2: expected a text, got true"},
        BadChange{"{\"2\": \"Hello\"}", "[]", ":15: /parameters/text: expected an object, got a list"}));

INSTANTIATE_TEST_SUITE_P(
    CommunicationObjects, DeviceDescriptionRefuses,
    testing::Values(
        BadChange{"\"number\": 1", "\"number\": 0",
                  ":18: /communicationObjects/0/number: expected a whole number from 1 to 520, got 0"},
        BadChange{"\"number\": 520", "\"number\": 521",
                  ":19: /communicationObjects/1/number: expected a whole number from 1 to 520, got 521"},
        BadChange{"\"number\": 520", "\"number\": 1",
                  ":19: /communicationObjects/1/number: communication object 1 stands twice, first on line 18"},
        BadChange{"{\"number\": 1, \"name\": \"Button\"", "{\"name\": \"Button\",\n\"number\": 520",
                  ":20: /communicationObjects/1/number: communication object 520 stands twice, first on line 19"},
        BadChange{"Button", "\\t",
                  ":18: /communicationObjects/0/name: expected a text without control characters, got \"\\t\""},
        BadChange{"Button", std::string(101, 'n'),
                  ":18: /communicationObjects/0/name: expected a text of at most 100 bytes, got 101 bytes"},
        BadChange{"\"number\": 1", "\"number\": \"1\"",
                  ":18: /communicationObjects/0/number: expected a whole number from 1 to 520, got \"1\""},
        BadChange{"1.001", "1.1",
                  ":18: /communicationObjects/0/dpt: expected a data-point type, such as \"1.001\", got \"1.1\""},
        BadChange{"\"CW\"", "\"CWC\"",
                  ":18: /communicationObjects/0/flags: expected flags out of C, R, W, T, U and I, each once at most, "
                  "such as \"CWTU\" or \"C-WTU-\", got \"CWC\""},
        BadChange{"\"CW\"", "\"CX\"",
                  ":18: /communicationObjects/0/flags: expected flags out of C, R, W, T, U and I, each once at most, "
                  "such as \"CWTU\" or \"C-WTU-\", got \"CX\""},
        BadChange{"1/0/7", "1/8/7",
                  ":18: /communicationObjects/0/groupAddresses/1: expected a group address, such as \"1/0/1\", got "
                  "\"1/8/7\""},
        BadChange{"1/0/7", "1/0/1",
                  ":18: /communicationObjects/0/groupAddresses/1: group address 1/0/1 stands twice in one list"},
        BadChange{"[]", "null", ":19: /communicationObjects/1/groupAddresses: expected a list, got null"}));

class AppIdRefuses : public testing::TestWithParam<std::string> {};

TEST_P(AppIdRefuses, WhatIsNoPartOfAFileName) {
    const TestSupport::TemporaryFolder directory;
    const std::string path = directory.Write("device.json", Replaced(Text, "\"App\"", "\"" + GetParam() + "\""));
    EXPECT_THAT([&path] { LoadDeviceDescription(path); },
                testing::ThrowsMessage<DescriptionError>(
                    path +
                    ":8: /appId: expected 1 to 64 letters (a to z, A to Z), digits, \"_\", \"-\" and \".\", no "
                    "\".\" in front, got \"" +
                    GetParam() + "\""));
}

INSTANTIATE_TEST_SUITE_P(AppIds, AppIdRefuses,
                         testing::Values("", ".", "..", ".app", "a/b", "../a", "a b", "a\\n", "\\u00e4",
                                         std::string(65, 'i')));

TEST(DeviceDescription, DocumentThatIsNoObjectIsRefused) {
    const TestSupport::TemporaryFolder directory;
    const std::string path = directory.Write("device.json", "[]");
    EXPECT_THAT([&path] { LoadDeviceDescription(path); },
                testing::ThrowsMessage<DescriptionError>(path + ":1: expected an object, got a list"));
}

TEST(DeviceDescription, EveryDeliveredDescriptionIsGood) {
    EXPECT_EQ(LoadDeviceDescription(ORN_DEVICES_DIRECTORY "/stairlight.json").appId, "StairLight");
    EXPECT_EQ(LoadDeviceDescription(ORN_DEVICES_DIRECTORY "/copy.json").appId, "Copy");
}

}  // namespace
