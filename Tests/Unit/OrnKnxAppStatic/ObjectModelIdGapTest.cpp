#include "ObjectModelBuilder.h"
#include "ObjectModelFixture.h"
#include "Zandrel/KnxOdsMapping.h"

// The linker takes this one instead of the platform's: a table that knows the channels of COs but not their values.
std::optional<unsigned long> Zandrel::KnxOdsMapping::GetCoValueObjModelId(unsigned long /*channelId*/) {
    return std::nullopt;
}

namespace {

using namespace Zandrel;

class ObjectModelIdGapTest : public TestSupport::ObjectModelFixture {};

TEST_F(ObjectModelIdGapTest, CoWithoutAnIdForItsValueIsRefused) {
    Device device;
    CoChannelAttr co;
    co.valid = true;
    co.number = 42;

    EXPECT_FALSE(ConfigureObjModelCo(device, co, LogicalDeviceId::From(1), logger));

    const std::string channel = std::to_string(KnxOdsMapping::GetCoChannelObjModelId(42, 1).value());
    EXPECT_EQ(log.GetLines(), (Lines{{"ERROR",
                                      "[app] ConfigureObjModelCo - Failed to get datapoint id of value dp. "
                                      "Channel: " +
                                          channel}}));
}

}  // namespace
