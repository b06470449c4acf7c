#include "GroupObjects/GroupObject.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>

#include "GroupObjects/GroupObjectTable.h"
#include "GroupObjects/ValueText.h"
#include "TestDevice.h"
#include "Zandrel/KnxOdsMapping.h"

namespace LocalDevice {
namespace {

using KnxStack::GroupValue;
using TestDevice::Dpt;
using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

Telegram Compact(GroupService service, std::uint8_t value) {
    Telegram telegram;
    telegram.service = service;
    telegram.isCompact = true;
    telegram.data = {value};
    return telegram;
}

Telegram Long(GroupService service, Bytes data) {
    Telegram telegram;
    telegram.service = service;
    telegram.data = std::move(data);
    return telegram;
}

TEST(ValueFormatTest, EachMainTypeHasItsLength) {
    const std::vector<std::pair<unsigned, const char*>> lengths{
        {1, "1 bit"},    {2, "2 bits"},    {3, "4 bits"},    {4, "1 byte"},    {5, "1 byte"},    {6, "1 byte"},
        {7, "2 bytes"},  {8, "2 bytes"},   {9, "2 bytes"},   {10, "3 bytes"},  {11, "3 bytes"},  {12, "4 bytes"},
        {13, "4 bytes"}, {14, "4 bytes"},  {15, "4 bytes"},  {16, "14 bytes"}, {17, "1 byte"},   {18, "1 byte"},
        {19, "8 bytes"}, {20, "1 byte"},   {21, "1 byte"},   {22, "2 bytes"},  {26, "1 byte"},   {27, "4 bytes"},
        {29, "8 bytes"}, {232, "3 bytes"}, {235, "6 bytes"}, {242, "6 bytes"}, {251, "6 bytes"}, {28, "1 to 252 bytes"},
    };
    for (const auto& [mainNumber, length] : lengths) {
        const auto format = ValueFormat::Of(Dpt(mainNumber, 1));
        ASSERT_TRUE(format) << mainNumber;
        EXPECT_EQ(format->GetLengthText(), length) << mainNumber;
        EXPECT_EQ(format->IsCompact(), mainNumber <= 3) << mainNumber;
    }
}

TEST(ValueFormatTest, AnUnknownMainTypeHasNone) {
    EXPECT_FALSE(ValueFormat::Of(Dpt(0, 1)));
    EXPECT_FALSE(ValueFormat::Of(Dpt(999, 1)));
}

TEST(ValueFormatTest, UnusedUpperBitsAreCleared) {
    EXPECT_THAT(ValueFormat::Of(Dpt(1, 1))->Decode(Compact(GroupService::Write, 0x3F))->GetBytes(), ElementsAre(1));
    EXPECT_THAT(ValueFormat::Of(Dpt(2, 1))->Decode(Compact(GroupService::Write, 0x3E))->GetBytes(), ElementsAre(2));
    EXPECT_THAT(ValueFormat::Of(Dpt(3, 7))->Normalise(GroupValue({0xFF}))->GetBytes(), ElementsAre(0x0F));
}

TEST(ValueFormatTest, AByteInsteadOfBitsIsTheWrongLength) {
    EXPECT_FALSE(ValueFormat::Of(Dpt(1, 1))->Decode(Long(GroupService::Write, {1})));
    EXPECT_FALSE(ValueFormat::Of(Dpt(5, 1))->Decode(Compact(GroupService::Write, 1)));
}

TEST(ValueFormatTest, EachMainTypeTakesNoLengthButItsOwn) {
    for (const auto& [mainNumber, size] : std::map<unsigned, std::size_t>{
             {1, 1},  {2, 1},  {3, 1},  {4, 1},  {5, 1},  {6, 1},   {7, 2},   {8, 2},   {9, 2},  {10, 3},
             {11, 3}, {12, 4}, {13, 4}, {14, 4}, {15, 4}, {16, 14}, {17, 1},  {18, 1},  {19, 8}, {20, 1},
             {21, 1}, {22, 2}, {26, 1}, {27, 4}, {29, 8}, {232, 3}, {235, 6}, {242, 6}, {251, 6}}) {
        const auto format = ValueFormat::Of(Dpt(mainNumber, 1));
        ASSERT_TRUE(format) << mainNumber;
        for (std::size_t length = 0; length <= 15; ++length) {
            const Bytes bytes(length);
            EXPECT_EQ(format->Normalise(GroupValue(bytes)).has_value(), length == size) << mainNumber << ": " << length;
            EXPECT_EQ(format->Decode(Long(GroupService::Write, bytes)).has_value(), mainNumber > 3 && length == size)
                << mainNumber << ": " << length;
        }
        EXPECT_EQ(format->Decode(Compact(GroupService::Write, 0)).has_value(), mainNumber <= 3) << mainNumber;
    }
}

TEST(ValueFormatTest, AVariableLengthTakesWholeBytes) {
    const auto format = ValueFormat::Of(Dpt(28, 1));
    EXPECT_TRUE(format->Decode(Long(GroupService::Write, Bytes(1, 'a'))));
    EXPECT_TRUE(format->Decode(Long(GroupService::Write, Bytes(MaxValueBytes, 'a'))));
    EXPECT_FALSE(format->Normalise(GroupValue(Bytes(MaxValueBytes + 1, 'a'))));
    EXPECT_FALSE(format->Normalise(GroupValue()));
    EXPECT_FALSE(format->Decode(Compact(GroupService::Write, 0)));
}

TEST(ValueFormatTest, ADataPointTypeIsPrintedWithThreeDigits) {
    EXPECT_EQ(FormatDpt(Dpt(1, 1)), "1.001");
    EXPECT_EQ(FormatDpt(Dpt(232, 600)), "232.600");
}

TEST(ValueTextTest, TextsNumbersAndBooleansBecomeGroupValues) {
    EXPECT_EQ(MakeGroupValue("1", Dpt(1, 1)), GroupValue({1}));
    EXPECT_EQ(MakeGroupValue(true, Dpt(1, 1)), GroupValue({1}));
    EXPECT_EQ(MakeGroupValue(42, Dpt(5, 10)), GroupValue({42}));
    EXPECT_EQ(MakeGroupValue("20.48", Dpt(9, 1)), GroupValue({0x0C, 0x00}));
    EXPECT_EQ(MakeGroupValue(20.48, Dpt(9, 1)), GroupValue({0x0C, 0x00}));
}

TEST(ValueTextTest, EachMainTypeThatConvertsTravelsInItsFormat) {
    for (unsigned mainNumber = 1; mainNumber < 1000; ++mainNumber) {
        const std::uint32_t dpt = Dpt(mainNumber, 1);
        const auto text = Zandrel::KnxOdsMapping::GetDefaultValueFromDpt(dpt, false);
        const auto format = ValueFormat::Of(dpt);
        ASSERT_EQ(format.has_value(), text.has_value()) << mainNumber;
        if (!format) {
            continue;
        }
        const auto value = MakeGroupValue(*text, dpt);
        ASSERT_TRUE(value) << mainNumber;
        const Telegram telegram{GroupService::Write, 0, 0, format->IsCompact(), value->GetBytes()};
        EXPECT_EQ(format->Normalise(*value), value) << mainNumber;
        EXPECT_EQ(format->Decode(telegram), value) << mainNumber;
        EXPECT_EQ(GetValueText(*value, dpt), text) << mainNumber;
    }
}

TEST(ValueTextTest, WhatIsNoValueBecomesNone) {
    EXPECT_FALSE(MakeGroupValue("warm", Dpt(9, 1)));
    EXPECT_FALSE(MakeGroupValue(256, Dpt(5, 10)));
    EXPECT_FALSE(MakeGroupValue(nlohmann::json::array(), Dpt(5, 10)));
    EXPECT_FALSE(MakeGroupValue(18446744073709551615U, Dpt(29, 10)));
    EXPECT_FALSE(MakeGroupValue("1", Dpt(999, 1)));
    EXPECT_FALSE(GetValueText(GroupValue({1, 2}), Dpt(5, 10)));
}

class GroupObjectTest : public testing::Test {
protected:
    void Define(const std::string& flags, std::uint32_t dpt = Dpt(5, 10)) {
        sut.Define(TestDevice::Object(7, dpt, flags, {}));
    }
    std::string RefusalOf(const Telegram& telegram) {
        std::string refusal;
        EXPECT_FALSE(sut.Receive(telegram, refusal));
        return refusal;
    }

    GroupObject sut;
    const Telegram write = Long(GroupService::Write, {42});
    const Telegram response = Long(GroupService::Response, {42});
};

TEST_F(GroupObjectTest, MayBeWrittenIsTheCommunicationFlag) {
    EXPECT_FALSE(sut.MayBeWritten());
    Define("C");
    EXPECT_TRUE(sut.MayBeWritten());
    Define("RWTU");
    EXPECT_FALSE(sut.MayBeWritten());
    Define("C");
    sut.Undefine();
    EXPECT_FALSE(sut.MayBeWritten());
    EXPECT_FALSE(sut.IsDefined());
}

TEST_F(GroupObjectTest, EveryCombinationOfFlagsLetsThroughWhatItSays) {
    for (int bits = 0; bits < 64; ++bits) {
        std::string flags;
        for (int letter = 0; letter < 6; ++letter) {
            if ((bits >> letter & 1) != 0) {
                flags += "CRWTUI"[letter];
            }
        }
        const auto has = [&flags](char letter) { return flags.find(letter) != std::string::npos; };
        Define(flags);
        std::string refusal;
        EXPECT_EQ(sut.Receive(write, refusal).has_value(), has('C') && has('W')) << flags;
        EXPECT_EQ(sut.Receive(response, refusal).has_value(), has('C') && has('U')) << flags;
        EXPECT_EQ(sut.PassesRead(refusal), has('C') && has('R')) << flags;
        EXPECT_EQ(sut.Transmits(refusal), has('C') && has('T')) << flags;
        EXPECT_EQ(sut.IsReadOnInit(), has('C') && has('I')) << flags;
        EXPECT_TRUE(sut.Store(GroupValue({1}), refusal)) << flags;
    }
}

TEST_F(GroupObjectTest, ARefusalSaysWhy) {
    Define("WU");
    EXPECT_EQ(RefusalOf(write), "no communication flag");
    Define("CU");
    EXPECT_EQ(RefusalOf(write), "no write flag");
    Define("CW");
    EXPECT_EQ(RefusalOf(response), "no update flag");
    std::string refusal;
    EXPECT_FALSE(sut.PassesRead(refusal));
    EXPECT_EQ(refusal, "no read flag");
    EXPECT_FALSE(sut.Transmits(refusal));
    EXPECT_EQ(refusal, "no transmit flag");
    Define("R");
    EXPECT_FALSE(sut.PassesRead(refusal));
    EXPECT_EQ(refusal, "no communication flag");
    Define("T");
    EXPECT_FALSE(sut.Transmits(refusal));
    EXPECT_EQ(refusal, "no communication flag");
}

TEST_F(GroupObjectTest, TheWrongLengthIsRefusedAndTheOldValueStays) {
    Define("CW");
    std::string refusal;
    ASSERT_TRUE(sut.Receive(write, refusal));
    EXPECT_EQ(RefusalOf(Long(GroupService::Write, {1, 2})), "wrong length: 2 bytes instead of 1 byte");
    EXPECT_EQ(RefusalOf(Compact(GroupService::Write, 1)), "wrong length: 6 bits at most instead of 1 byte");
    EXPECT_EQ(sut.GetValue(), GroupValue({42}));
    EXPECT_FALSE(sut.Store(GroupValue({1, 2, 3}), refusal));
    EXPECT_EQ(refusal, "wrong length: 3 bytes instead of 1 byte");
    EXPECT_EQ(sut.GetValue(), GroupValue({42}));
}

TEST_F(GroupObjectTest, AnUnknownTypeTakesNothing) {
    Define("CRWTU", Dpt(999, 1));
    EXPECT_EQ(RefusalOf(write), "unknown data-point type");
    std::string refusal;
    EXPECT_FALSE(sut.Store(GroupValue({1}), refusal));
    EXPECT_EQ(refusal, "unknown data-point type");
}

TEST_F(GroupObjectTest, LoadingItAgainForgetsItsValue) {
    Define("CW");
    std::string refusal;
    sut.Receive(write, refusal);
    Define("CW");
    EXPECT_FALSE(sut.GetValue());
}

TEST_F(GroupObjectTest, ItsTelegramsAreAsLongAsItsType) {
    Define("CT", Dpt(1, 1));
    EXPECT_TRUE(sut.MakeTelegram(GroupService::Write, 1, GroupValue({1})).isCompact);
    EXPECT_FALSE(sut.MakeTelegram(GroupService::Read, 1, std::nullopt).isCompact);
    Define("CT", Dpt(5, 10));
    EXPECT_FALSE(sut.MakeTelegram(GroupService::Response, 1, GroupValue({1})).isCompact);
}

class GroupObjectTableTest : public testing::Test {
protected:
    GroupObjectTable sut;
    const DeviceDescription device = TestDevice::Make({
        TestDevice::Object(1, Dpt(1, 1), "CW", {100, 101}),
        TestDevice::Object(2, Dpt(1, 1), "CW", {101}),
        TestDevice::Object(520, Dpt(1, 1), "CT", {}),
    });
};

TEST_F(GroupObjectTableTest, IsEmptyAtFirst) {
    EXPECT_EQ(sut.Find(1), nullptr);
    EXPECT_THAT(sut.GetNumbers(), IsEmpty());
    EXPECT_THAT(sut.GetListeners(100), IsEmpty());
}

TEST_F(GroupObjectTableTest, FindsObjectsByNumber) {
    sut.LoadObjects(device);
    EXPECT_NE(sut.Find(1), nullptr);
    EXPECT_NE(sut.Find(520), nullptr);
    EXPECT_EQ(sut.Find(0), nullptr);
    EXPECT_EQ(sut.Find(3), nullptr);
    EXPECT_EQ(sut.Find(521), nullptr);
    EXPECT_EQ(sut.Find(65535), nullptr);
    EXPECT_THAT(sut.GetNumbers(), ElementsAre(1, 2, 520));
}

TEST_F(GroupObjectTableTest, SeveralObjectsListenToOneAddress) {
    sut.LoadAssociations(device);
    EXPECT_THAT(sut.GetListeners(100), ElementsAre(1));
    EXPECT_THAT(sut.GetListeners(101), ElementsAre(1, 2));
}

TEST_F(GroupObjectTableTest, TheFirstAddressIsTheSendingOne) {
    sut.LoadAssociations(device);
    EXPECT_EQ(sut.GetSendingAddress(1), 100);
    EXPECT_EQ(sut.GetSendingAddress(520), std::nullopt);
}

TEST_F(GroupObjectTableTest, APointerStaysValidWhenTheObjectGoes) {
    sut.LoadObjects(device);
    const GroupObject* const object = sut.Find(1);
    sut.ClearObjects();
    EXPECT_EQ(sut.Find(1), nullptr);
    EXPECT_FALSE(object->MayBeWritten());
    sut.LoadObjects(device);
    EXPECT_EQ(sut.Find(1), object);
}

}  // namespace
}  // namespace LocalDevice
