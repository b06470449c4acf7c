#include "ObjectModel.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

#include "RequestError.h"

namespace {

using LocalDevice::Channel;
using LocalDevice::DataPoint;
using LocalDevice::Device;
using LocalDevice::HaveSameContent;
using LocalDevice::ModelChange;
using LocalDevice::ObjectId;
using LocalDevice::ObjectModel;
using LocalDevice::Properties;
using LocalDevice::RequestError;
using testing::ElementsAre;
using Zandrel::ZANVALUE;

constexpr std::size_t SmallWeight = 10000;

/// One device, one channel, one point whose name has `nameSize` characters.
ModelChange SmallModel(std::size_t nameSize = 0) {
    ModelChange change;
    Device device;
    device.id = 1;
    Channel channel;
    channel.id = 2;
    channel.device = 1;
    DataPoint point;
    point.id = 3;
    point.channel = 2;
    point.properties.name = std::string(nameSize, 'x');
    change.devices.push_back(device);
    change.channels.push_back(channel);
    change.dataPoints.push_back(point);
    return change;
}

ZANVALUE TextOfSize(std::size_t size) {
    return ZANVALUE::FromText(std::string(size, 'x'));
}

TEST(ObjectModelTest, FindsObjectsByTheirKind) {
    ObjectModel sut;
    EXPECT_THAT(sut.Apply(SmallModel()), ElementsAre(1));
    EXPECT_NE(sut.FindDevice(1), nullptr);
    EXPECT_NE(sut.FindChannel(2), nullptr);
    EXPECT_NE(sut.FindDataPoint(3), nullptr);
    for (const ObjectId id : {1, 2, 3}) {
        EXPECT_NE(sut.FindProperties(id), nullptr);
    }
    EXPECT_EQ(sut.FindDevice(2), nullptr);
    EXPECT_EQ(sut.FindChannel(3), nullptr);
    EXPECT_EQ(sut.FindDataPoint(1), nullptr);
    EXPECT_EQ(sut.FindProperties(4), nullptr);
}

TEST(ObjectModelTest, RefusesWhatWeighsTooMuchAndChangesNothing) {
    ObjectModel sut(SmallWeight);
    EXPECT_THROW(sut.Apply(SmallModel(SmallWeight)), RequestError);
    EXPECT_EQ(sut.FindDevice(1), nullptr);

    sut.Apply(SmallModel());
    EXPECT_THROW(sut.SetValue(3, TextOfSize(SmallWeight)), RequestError);
    EXPECT_EQ(sut.FindDataPoint(3)->value, std::nullopt);
    Properties properties;
    properties.name = std::string(SmallWeight, 'x');
    EXPECT_THROW(sut.SetProperties(2, properties), RequestError);
    EXPECT_EQ(sut.FindChannel(2)->properties.name, std::nullopt);
}

TEST(ObjectModelTest, WeighsWhatIsThereAndNotWhatWasReplaced) {
    ObjectModel sut(SmallWeight);
    const std::size_t half = SmallWeight / 2;
    for (int i = 0; i < 10; ++i) {
        sut.Apply(SmallModel(half));
        sut.Apply(SmallModel());
        sut.SetValue(3, TextOfSize(half));
        sut.SetValue(3, TextOfSize(half));
        sut.SetValue(3, ZANVALUE());
        Properties properties;
        properties.name = std::string(half, 'x');
        EXPECT_EQ(sut.SetProperties(1, properties), 1U);
        properties.name = "";
        EXPECT_EQ(sut.SetProperties(1, properties), 1U);
    }
    EXPECT_THROW(sut.Apply(SmallModel(SmallWeight)), RequestError);
}

TEST(ObjectModelTest, AFullModelStillTakesWhatMakesItLighter) {
    ObjectModel sut(SmallWeight);
    sut.Apply(SmallModel(SmallWeight / 2));
    sut.SetValue(3, TextOfSize(SmallWeight / 4));
    EXPECT_TRUE(sut.SetValue(3, TextOfSize(10)));
    EXPECT_THAT(sut.Apply(SmallModel()), ElementsAre(1));
}

TEST(ObjectModelTest, TextAndNumberHaveTheSameContentWhenTheyReadTheSame) {
    EXPECT_TRUE(HaveSameContent(ZANVALUE::FromText("0"), ZANVALUE::FromInteger(0)));
    EXPECT_TRUE(HaveSameContent(ZANVALUE::FromBoolean(true), ZANVALUE::FromText("1")));
    EXPECT_FALSE(HaveSameContent(ZANVALUE::FromText("00"), ZANVALUE::FromInteger(0)));
    EXPECT_FALSE(HaveSameContent(ZANVALUE::FromBoolean(false), ZANVALUE::FromInteger(0)));
    EXPECT_FALSE(HaveSameContent(ZANVALUE::FromText("a"), ZANVALUE::FromText("b")));
}

}  // namespace
