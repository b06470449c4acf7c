#include "Zandrel/KnxOdsMapping.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Zandrel/ZanValue.h"

namespace {

using namespace Zandrel;
using namespace Zandrel::KnxOdsMapping;
using Kind = ObjectName::Kind;

constexpr std::array ParameterTypes{ParameterType::Ip, ParameterType::Number, ParameterType::Text};

struct Object {
    unsigned long id;
    ObjectName name;
};

/// Every object of the scheme, as the functions that make ids give it.
std::vector<Object> AllObjects() {
    const auto noParameter = ParameterType::Ip;
    std::vector<Object> all{{GetKnxDeviceObjModelId(), {Kind::KnxDevice, 0, 0, noParameter}}};
    for (const int device : {1, 2}) {
        const auto add = [&](unsigned long id, Kind kind, std::uint16_t number = 0,
                             ParameterType type = ParameterType::Ip) {
            all.push_back({id, {kind, device, number, type}});
        };
        add(GetLogicalKnxDeviceObjModelId(device), Kind::LogicalKnxDevice);
        add(GetOdsKnxDeviceChannelObjModelId(device), Kind::OdsKnxDeviceChannel);
        add(GetAppHostAppControlChannelObjModelId(device), Kind::AppControlChannel);
        add(GetAppHostAppControlStateObjModelId(device), Kind::AppControlState);
        add(GetAppHostAppControlEventObjModelId(device), Kind::AppControlEvent);
        add(GetAppHostAppControlAliveObjModelId(device), Kind::AppControlAlive);
        add(GetAppHostAppControlAppDebugObjModelId(device), Kind::AppControlAppDebug);
        for (std::uint16_t co = 1; co <= 520; ++co) {
            const auto channel = GetCoChannelObjModelId(co, device).value();
            add(channel, Kind::CoChannel, co);
            add(GetCoValueObjModelId(channel).value(), Kind::CoValue, co);
        }
        for (const auto type : ParameterTypes) {
            for (std::uint16_t slot = 1; slot <= 50; ++slot) {
                const auto channel = GetParameterChannelObjModelId(slot, device, type).value();
                add(channel, Kind::ParameterChannel, slot, type);
                add(GetParameterValueObjModelId(channel).value(), Kind::ParameterValue, slot, type);
            }
        }
    }
    return all;
}

TEST(KnxOdsMapping, givesEveryObjectAnIdOfItsOwn) {
    std::set<unsigned long> ids;
    for (const auto& object : AllObjects()) {
        EXPECT_GT(object.id, 0U);
        EXPECT_LE(object.id, std::numeric_limits<std::uint32_t>::max());
        EXPECT_TRUE(ids.insert(object.id).second) << object.id;
    }
    EXPECT_EQ(ids.size(), 1U + 2U * (7U + 2U * 520U + 2U * 150U));
}

TEST(KnxOdsMapping, namesExactlyTheObjectsOfTheScheme) {
    std::map<unsigned long, ObjectName> names;
    for (const auto& object : AllObjects()) {
        names[object.id] = object.name;
    }
    for (unsigned long id = 0; id < 3'100'000; ++id) {
        const auto sut = GetObjectName(id);
        const auto expected = names.find(id);
        ASSERT_EQ(sut.has_value(), expected != names.end()) << id;
        if (sut) {
            ASSERT_EQ(sut->kind, expected->second.kind) << id;
            ASSERT_EQ(sut->logicalDevice, expected->second.logicalDevice) << id;
            ASSERT_EQ(sut->number, expected->second.number) << id;
            ASSERT_EQ(sut->parameterType, expected->second.parameterType) << id;
        }
    }
    EXPECT_FALSE(GetObjectName(std::numeric_limits<unsigned long>::max()));
}

TEST(KnxOdsMapping, findsTheCoOfAValueAndOfNothingElse) {
    for (const auto& object : AllObjects()) {
        for (const int device : {0, 1, 2, 3}) {
            const bool isValue = object.name.kind == Kind::CoValue && object.name.logicalDevice == device;
            const auto sut = GetCoNumberFromObjModelId(object.id, device);
            EXPECT_EQ(sut, isValue ? std::optional(object.name.number) : std::nullopt) << object.id;
        }
    }
    EXPECT_EQ(GetCoNumberFromObjModelId(0, 0), std::nullopt);
}

TEST(KnxOdsMapping, findsValuesOfChannelsOnly) {
    for (const auto& object : AllObjects()) {
        const auto value = std::optional(object.id + 1);
        EXPECT_EQ(GetCoValueObjModelId(object.id), object.name.kind == Kind::CoChannel ? value : std::nullopt);
        EXPECT_EQ(GetParameterValueObjModelId(object.id),
                  object.name.kind == Kind::ParameterChannel ? value : std::nullopt);
        if (object.name.kind == Kind::CoValue) {
            EXPECT_EQ(GetCoValueObjModelId(object.name.number, object.name.logicalDevice), object.id);
        }
    }
    EXPECT_EQ(GetCoValueObjModelId(0UL), std::nullopt);
    EXPECT_EQ(GetParameterValueObjModelId(0), std::nullopt);
}

TEST(KnxOdsMapping, recognisesTheAppControlPointsOfTheirOwnDeviceOnly) {
    auto objects = AllObjects();
    objects.push_back({0, {Kind::KnxDevice, 0, 0, ParameterType::Ip}});
    for (const auto& object : objects) {
        for (const int device : {0, 1, 2, 3}) {
            const bool own = object.name.logicalDevice == device;
            const Kind kind = object.name.kind;
            EXPECT_EQ(IsAppHostAppControlState(object.id, device), own && kind == Kind::AppControlState);
            EXPECT_EQ(IsAppHostAppControlAliveHeartbeat(object.id, device), own && kind == Kind::AppControlAlive);
            EXPECT_EQ(IsAppHostAppControlAppDebug(object.id, device), own && kind == Kind::AppControlAppDebug);
        }
    }
}

TEST(KnxOdsMapping, hasNoIdForWhatIsOutOfRange) {
    for (const int device : {1, 2}) {
        for (const std::uint16_t co : std::vector<std::uint16_t>{0, 521, 522, 1000, 65535}) {
            EXPECT_EQ(GetCoChannelObjModelId(co, device), std::nullopt) << co;
            EXPECT_EQ(GetCoValueObjModelId(co, device), std::nullopt) << co;
        }
        for (const std::uint16_t slot : std::vector<std::uint16_t>{0, 51, 100, 65535}) {
            for (const auto type : ParameterTypes) {
                EXPECT_EQ(GetParameterChannelObjModelId(slot, device, type), std::nullopt) << slot;
            }
        }
        for (const int type : {-1, 3}) {
            EXPECT_EQ(GetParameterChannelObjModelId(1, device, static_cast<ParameterType>(type)), std::nullopt) << type;
        }
    }
    for (const int device : {-1, 0, 3}) {
        EXPECT_EQ(GetLogicalKnxDeviceObjModelId(device), 0U);
        EXPECT_EQ(GetOdsKnxDeviceChannelObjModelId(device), 0U);
        EXPECT_EQ(GetAppHostAppControlChannelObjModelId(device), 0U);
        EXPECT_EQ(GetAppHostAppControlStateObjModelId(device), 0U);
        EXPECT_EQ(GetAppHostAppControlEventObjModelId(device), 0U);
        EXPECT_EQ(GetAppHostAppControlAliveObjModelId(device), 0U);
        EXPECT_EQ(GetAppHostAppControlAppDebugObjModelId(device), 0U);
        EXPECT_EQ(GetCoChannelObjModelId(1, device), std::nullopt);
        EXPECT_EQ(GetCoValueObjModelId(1, device), std::nullopt);
        EXPECT_EQ(GetParameterChannelObjModelId(1, device, ParameterType::Text), std::nullopt);
    }
}

TEST(KnxOdsMapping, givesIdsThatCanBeRead) {
    EXPECT_EQ(GetKnxDeviceObjModelId(), 1000U);
    EXPECT_EQ(GetLogicalKnxDeviceObjModelId(2), 2'000'000U);
    EXPECT_EQ(GetAppHostAppControlStateObjModelId(1), 1'001'001U);
    EXPECT_EQ(GetCoValueObjModelId(42, 1), 1'010'421U);
    EXPECT_EQ(GetCoValueObjModelId(520, 2), 2'015'201U);
    EXPECT_EQ(GetParameterChannelObjModelId(3, 2, ParameterType::Text), 2'022'030U);
}

struct MainType {
    unsigned long number;
    const char* valueType;
    const char* valueSubtype;
    const char* initial;
};

class DeclaredTypes : public testing::TestWithParam<MainType> {};

TEST_P(DeclaredTypes, agreeWithTheDefault) {
    const auto& [number, valueType, valueSubtype, initial] = GetParam();
    EXPECT_EQ(GetIvtFromMainType(number), valueType);
    EXPECT_EQ(GetIstFromMainType(number), valueSubtype);
    const std::string serialised = std::string(valueType) + "." + valueSubtype + ":" + initial;
    for (const unsigned long sub : {0UL, 1UL, 3UL, 4UL, 10UL, 65535UL}) {
        const unsigned long dpt = number << 16U | sub;
        EXPECT_EQ(GetDefaultValueFromDpt(dpt, true), serialised) << sub;
        EXPECT_EQ(GetDefaultValueFromDpt(dpt, false), initial) << sub;
    }
    EXPECT_EQ(ZANVALUE::Deserialize(serialised).Serialize(), serialised);
}

INSTANTIATE_TEST_SUITE_P(
    All, DeclaredTypes,
    testing::Values(MainType{1, "2", "1", "0"}, MainType{5, "4", "1", "0"}, MainType{7, "3", "1", "0"},
                    MainType{9, "4", "1", "0"}, MainType{12, "3", "1", "0"}, MainType{13, "3", "1", "0"},
                    MainType{14, "4", "2", "0"}, MainType{16, "5", "1", ""}, MainType{2, "5", "1", "0"},
                    MainType{3, "5", "1", "decrease 0"}, MainType{4, "5", "1", ""}, MainType{6, "3", "1", "0"},
                    MainType{8, "4", "1", "0"}, MainType{10, "5", "1", "00:00:00"},
                    MainType{11, "5", "1", "2000-01-01"}, MainType{15, "5", "1", "000000 index=0"},
                    MainType{17, "3", "1", "0"}, MainType{18, "5", "1", "0"},
                    MainType{19, "5", "1", "2000-01-01 00:00:00"}, MainType{20, "3", "1", "0"},
                    MainType{21, "3", "1", "0"}, MainType{22, "3", "1", "0"}, MainType{26, "5", "1", "0"},
                    MainType{27, "3", "1", "0"}, MainType{28, "5", "1", ""}, MainType{29, "3", "1", "0"},
                    MainType{232, "5", "1", "#000000"}, MainType{235, "5", "1", "energy=0 tariff=0"},
                    MainType{242, "5", "1", "x=0 y=0 Y=0"}, MainType{251, "5", "1", "#00000000"}));

TEST(KnxOdsMapping, givesASubTypeADefaultOfItsOwn) {
    EXPECT_EQ(GetDefaultValueFromDpt(6UL << 16U | 20U, true), "3.1:1");
    EXPECT_EQ(GetDefaultValueFromDpt(6UL << 16U | 20U, false), "1");
}

TEST(KnxOdsMapping, declaresAnUnknownMainTypeAsWithoutContent) {
    for (const unsigned long mainType : {0UL, 1000UL, 65535UL, 65537UL, std::numeric_limits<unsigned long>::max()}) {
        EXPECT_EQ(GetIvtFromMainType(mainType), "1") << mainType;
        EXPECT_EQ(GetIstFromMainType(mainType), "1") << mainType;
    }
    EXPECT_EQ(GetDefaultValueFromDpt(0, true), std::nullopt);
    EXPECT_EQ(GetDefaultValueFromDpt(1, true), std::nullopt);
    EXPECT_EQ(GetDefaultValueFromDpt(1000UL << 16U, false), std::nullopt);
    EXPECT_EQ(GetDefaultValueFromDpt(std::numeric_limits<unsigned long>::max(), true), std::nullopt);
}

}  // namespace
