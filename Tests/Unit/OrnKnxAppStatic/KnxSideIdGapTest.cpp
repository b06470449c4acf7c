#include "DptTable.h"
#include "GroupObjectWriter.h"
#include "KnxSideFixture.h"
#include "ParameterReader.h"
#include "StackAccess.h"
#include "TickerThreadManager.h"
#include "Zandrel/KnxOdsMapping.h"

// The linker takes these instead of the platform's: a table of ids that ends before the last CO and the last slot.
std::optional<unsigned long> Zandrel::KnxOdsMapping::GetCoChannelObjModelId(std::uint16_t co, int /*logicalDevice*/) {
    return co < 42 ? std::optional<unsigned long>(co) : std::nullopt;
}
std::optional<unsigned long> Zandrel::KnxOdsMapping::GetParameterChannelObjModelId(std::uint16_t slot,
                                                                                   int /*logicalDevice*/,
                                                                                   ParameterType /*type*/) {
    return slot < 8 ? std::optional<unsigned long>(slot) : std::nullopt;
}

namespace {

using Zandrel::KnxConfiguration;

class KnxSideIdGapTest : public TestSupport::KnxSideFixture {
protected:
    KnxSideIdGapTest() {
        access_.Attach({&stack_.GroupValues(), &stack_.Properties(), &stack_.Application(), &stack_.Memory()});
    }

    Zandrel::StackAccess access_;
    Zandrel::DptTable dpts_;
    Zandrel::GroupObjectWriter writer_{access_, dpts_};
    Zandrel::TickerThreadManager tickers_{log_.GetLogger(), nullptr, clock_};
    KnxConfiguration configuration_;
    Zandrel::ParameterReader sut_{prefixedLog_, identity_, access_, dpts_, tickers_};
};

TEST_F(KnxSideIdGapTest, CoWithoutChannelIdFailsTheInitialisation) {
    EXPECT_FALSE(sut_.InitializeCoMap(*Zandrel::LogicalDeviceId::From(2), configuration_));

    EXPECT_EQ(log_.GetLines(),
              (Lines{{"ERROR", "[app] InitializeCoMap - Could not determine channel id for CO 42, logical device 2"}}));
    EXPECT_EQ(configuration_.cos.at(41).name, "Co41");
}

TEST_F(KnxSideIdGapTest, IpParameterWithoutIdFailsTheInitialisation) {
    EXPECT_FALSE(sut_.InitializeIpParameterMap(Device, configuration_));

    EXPECT_EQ(log_.GetLines(), (Lines{{"ERROR",
                                       "[app] InitializeIpParameterMap - Could not get IP parameter id: slot 7, "
                                       "logical device 1"}}));
}

TEST_F(KnxSideIdGapTest, NumberParameterWithoutIdFailsTheInitialisation) {
    EXPECT_FALSE(sut_.InitializeNumberParameterMap(*Zandrel::LogicalDeviceId::From(2), configuration_));

    EXPECT_EQ(log_.GetLines(), (Lines{{"ERROR",
                                       "[app] InitializeNumberParameterMap - Could not get number parameter id: "
                                       "slot 7, logical device 2"}}));
}

TEST_F(KnxSideIdGapTest, TextParameterWithoutIdFailsTheInitialisationSilently) {
    EXPECT_FALSE(sut_.InitializeTextParameterMap(Device, configuration_));

    EXPECT_EQ(log_.GetLines(), Lines{});
    EXPECT_TRUE(configuration_.textParameters.at(6).active);
    EXPECT_FALSE(configuration_.textParameters.at(7).active);
}

}  // namespace
