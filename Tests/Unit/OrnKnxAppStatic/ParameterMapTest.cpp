#include <algorithm>
#include <numeric>

#include "ParameterReaderFixture.h"
#include "Zandrel/KnxOdsMapping.h"

namespace {

using TestSupport::Dpt;
using TestSupport::FakeProperty;
using Zandrel::KnxConfiguration;
using Zandrel::KnxStyleString;
using Zandrel::LogicalDeviceId;
using Zandrel::ParameterType;
namespace KnxOdsMapping = Zandrel::KnxOdsMapping;

class ParameterMapTest : public TestSupport::ParameterReaderFixture {};

// COs

TEST_F(ParameterMapTest, EveryCoIsDescribed) {
    stack_.DownloadCo(1, Dpt(1, 1));
    stack_.DownloadCo(520, Dpt(16, 1));
    stack_.GroupValues().Object(1).SetMayBeWritten(false);

    EXPECT_TRUE(sut_.InitializeCoMap(Device, configuration_));

    ASSERT_EQ(configuration_.cos.size(), 521U);
    const auto& first = configuration_.cos[1];
    EXPECT_TRUE(first.valid);
    EXPECT_FALSE(first.mayBeWritten);
    EXPECT_EQ(first.number, 1);
    EXPECT_EQ(first.channelId, KnxOdsMapping::GetCoChannelObjModelId(1, 1));
    EXPECT_EQ(first.name, "Co1");
    EXPECT_EQ(first.dpt, Dpt(1, 1));
    EXPECT_FALSE(first.communicationFlag);
    const auto& last = configuration_.cos[520];
    EXPECT_TRUE(last.valid);
    EXPECT_TRUE(last.mayBeWritten);
    EXPECT_EQ(last.name, "Co520");
    EXPECT_EQ(configuration_.cos[0].number, 0);
    EXPECT_FALSE(configuration_.cos[0].valid);
}

TEST_F(ParameterMapTest, CoIsValidFromTheFirstMainNumberOn) {
    stack_.DownloadCo(1, 65535);
    stack_.DownloadCo(2, 65536);

    EXPECT_TRUE(sut_.InitializeCoMap(Device, configuration_));

    EXPECT_FALSE(configuration_.cos.at(1).valid);
    EXPECT_TRUE(configuration_.cos.at(2).valid);
}

TEST_F(ParameterMapTest, CoWithoutGroupObjectMayNotBeWritten) {
    stack_.GroupValues().Remove(1);

    EXPECT_TRUE(sut_.InitializeCoMap(Device, configuration_));

    EXPECT_FALSE(configuration_.cos.at(1).mayBeWritten);
    EXPECT_TRUE(configuration_.cos.at(2).mayBeWritten);
}

TEST_F(ParameterMapTest, DptThatIsMissingOrCannotBeReadIsZero) {
    Own(64).SetUInt32Elements({Dpt(1, 1), Dpt(1, 1), Dpt(1, 1)});
    Own(64).FailReadOf(1);

    EXPECT_TRUE(sut_.InitializeCoMap(Device, configuration_));

    EXPECT_EQ(configuration_.cos.at(1).dpt, Dpt(1, 1));
    EXPECT_EQ(configuration_.cos.at(2).dpt, 0U);
    EXPECT_EQ(configuration_.cos.at(4).dpt, 0U);
    EXPECT_EQ(log_.GetLines(), Lines{});
}

TEST_F(ParameterMapTest, DptsAreReadUpToTheirCount) {
    for (const std::size_t count : {0U, 3U, 50U, 51U, 200U}) {
        Own(64).SetUInt32Elements(std::vector<std::uint32_t>(count, Dpt(1, 1)));

        EXPECT_TRUE(sut_.InitializeCoMap(Device, configuration_)) << count;

        for (std::uint16_t co = 1; co <= 520; ++co) {
            EXPECT_EQ(configuration_.cos.at(co).dpt, co <= count ? Dpt(1, 1) : 0U) << co << " of " << count;
            EXPECT_EQ(configuration_.cos.at(co).valid, co <= count) << co << " of " << count;
            EXPECT_EQ(dpts_.Get(co), configuration_.cos.at(co).dpt) << co << " of " << count;
        }
    }
    EXPECT_EQ(log_.GetLines(), Lines{});
}

TEST_F(ParameterMapTest, TickerEndsWhereItsCoTakesNoTextsAnyMore) {
    for (std::uint16_t co = 1; co <= 3; ++co) {
        stack_.DownloadCo(co, Dpt(16, 1));
    }
    ASSERT_TRUE(sut_.InitializeCoMap(Device, configuration_));
    for (std::uint16_t co = 1; co <= 3; ++co) {
        ASSERT_TRUE(tickers_.SetText(co, KnxStyleString("ABCDEFGHIJKLMNOP")));
    }
    stack_.DownloadCo(1, Dpt(9, 1));
    stack_.DownloadCo(2, Dpt(16, 0));
    stack_.DownloadCo(3, 0);

    ASSERT_TRUE(sut_.InitializeCoMap(Device, configuration_));
    clock_->Advance(boost::chrono::seconds(8));

    ASSERT_TRUE(stack_.GroupValues().WaitForWrites(5));
    EXPECT_EQ(stack_.GroupValues().GetWrittenTexts(),
              (std::vector<std::string>{"ABCDEFGHIJKLMN", "ABCDEFGHIJKLMN", "ABCDEFGHIJKLMN", "OP", "ABCDEFGHIJKLMN"}))
        << "the last two are those of CO 2";
    tickers_.Terminate();
    EXPECT_EQ(stack_.GroupValues().GetWrites().size(), 5U);
    EXPECT_EQ(globalLog_.GetLines(), Lines{});
}

TEST_F(ParameterMapTest, WithoutDptsNoCoIsValid) {
    stack_.Application().Remove(64);

    EXPECT_TRUE(sut_.InitializeCoMap(Device, configuration_));

    EXPECT_TRUE(
        std::none_of(configuration_.cos.begin(), configuration_.cos.end(), [](const auto& co) { return co.valid; }));
}

TEST_F(ParameterMapTest, DptsStayKnownUntilTheyAreReadAnew) {
    stack_.DownloadCo(5, Dpt(14, 56));
    ASSERT_TRUE(sut_.InitializeCoMap(Device, configuration_));
    stack_.DownloadCo(5, Dpt(1, 1));
    EXPECT_EQ(dpts_.Get(5), Dpt(14, 56));

    ASSERT_TRUE(sut_.InitializeCoMap(Device, configuration_));

    EXPECT_EQ(dpts_.Get(5), Dpt(1, 1));
    EXPECT_EQ(dpts_.Get(521), 0U);
}

// Communication flags

TEST_F(ParameterMapTest, CommunicationFlagIsSetByAOneOnly) {
    for (std::uint16_t co = 1; co <= 3; ++co) {
        stack_.DownloadCo(co, Dpt(1, 1));
    }
    Own(66).SetUInt32Elements({1, 0, 2});
    ASSERT_TRUE(sut_.InitializeCoMap(Device, configuration_));

    EXPECT_TRUE(sut_.InitializeCommunicationFlagsOfCosInMap(configuration_));

    EXPECT_TRUE(configuration_.cos.at(1).communicationFlag);
    EXPECT_FALSE(configuration_.cos.at(2).communicationFlag);
    EXPECT_FALSE(configuration_.cos.at(3).communicationFlag);
}

TEST_F(ParameterMapTest, CommunicationFlagOfACoThatIsNotValidIsNeverRead) {
    stack_.DownloadCo(1, 65535);
    stack_.DownloadCo(2, 65536);
    ASSERT_TRUE(sut_.InitializeCoMap(Device, configuration_));

    EXPECT_TRUE(sut_.InitializeCommunicationFlagsOfCosInMap(configuration_));

    EXPECT_EQ(Own(66).GetReads(), (std::vector<std::uint32_t>{1}));
    EXPECT_FALSE(configuration_.cos.at(1).communicationFlag);
    EXPECT_TRUE(configuration_.cos.at(2).communicationFlag);
}

TEST_F(ParameterMapTest, CommunicationFlagsBeyondTheLastCoAreIgnored) {
    stack_.DownloadCo(520, Dpt(1, 1));
    Own(66).SetUInt32Elements(std::vector<std::uint32_t>(600, 1));
    ASSERT_TRUE(sut_.InitializeCoMap(Device, configuration_));

    EXPECT_TRUE(sut_.InitializeCommunicationFlagsOfCosInMap(configuration_));

    EXPECT_TRUE(configuration_.cos.at(520).communicationFlag);
    EXPECT_EQ(Own(66).GetReads(), (std::vector<std::uint32_t>{519}));
}

TEST_F(ParameterMapTest, CommunicationFlagsAreReadUpToTheirCount) {
    for (std::uint16_t co = 1; co <= 520; ++co) {
        stack_.DownloadCo(co, Dpt(1, 1));
    }
    for (const std::size_t count : {0U, 3U, 50U, 51U, 200U}) {
        Own(66).SetUInt32Elements(std::vector<std::uint32_t>(count, 1));
        ASSERT_TRUE(sut_.InitializeCoMap(Device, configuration_));

        EXPECT_TRUE(sut_.InitializeCommunicationFlagsOfCosInMap(configuration_)) << count;

        for (std::size_t co = 1; co <= 520; ++co) {
            EXPECT_EQ(configuration_.cos.at(co).communicationFlag, co <= count) << co << " of " << count;
        }
    }
}

TEST_F(ParameterMapTest, MissingCommunicationFlagsAreAnError) {
    stack_.Application().Remove(66);

    EXPECT_FALSE(sut_.InitializeCommunicationFlagsOfCosInMap(configuration_));

    EXPECT_EQ(log_.GetLines(), Error("InitializeCommunicationFlagsOfCosInMap", "Pointer to PropertyID 66 is nullptr!"));
}

TEST_F(ParameterMapTest, CommunicationFlagsThatCannotBeReadFailSilently) {
    stack_.DownloadCo(1, Dpt(1, 1));
    ASSERT_TRUE(sut_.InitializeCoMap(Device, configuration_));
    Own(66).FailReadOf(0);
    EXPECT_FALSE(sut_.InitializeCommunicationFlagsOfCosInMap(configuration_));
    Own(66).FailElementCount();
    EXPECT_FALSE(sut_.InitializeCommunicationFlagsOfCosInMap(configuration_));

    EXPECT_EQ(log_.GetLines(), Lines{});
}

// Text parameters

TEST_F(ParameterMapTest, TextParametersStandInBlocksOf128Bytes) {
    stack_.Memory().SetText(0, "First");
    stack_.Memory().SetText(128, "Gr\xC3\xBC\xC3\x9F Gott");
    stack_.Memory().SetText(49 * TextBlock, std::string(127, 'x'));

    EXPECT_TRUE(sut_.InitializeTextParameterMap(Device, configuration_));

    ASSERT_EQ(configuration_.textParameters.size(), 50U);
    EXPECT_EQ(configuration_.textParameters[0].value, "First");
    EXPECT_EQ(configuration_.textParameters[1].value, "Gr\xC3\xBC\xC3\x9F Gott");
    EXPECT_EQ(configuration_.textParameters[2].value, "");
    EXPECT_EQ(configuration_.textParameters[49].value, std::string(127, 'x'));
    for (std::uint16_t i = 0; i < 50; ++i) {
        const auto& parameter = configuration_.textParameters[i];
        EXPECT_TRUE(parameter.active);
        EXPECT_EQ(parameter.channelId, KnxOdsMapping::GetParameterChannelObjModelId(static_cast<std::uint16_t>(i + 1),
                                                                                    1, ParameterType::Text));
        EXPECT_EQ(parameter.unit, "");
        EXPECT_EQ(parameter.type, ParameterType::Text);
    }
}

TEST_F(ParameterMapTest, TextThatFillsItsBlockRunsOnIntoTheNext) {
    stack_.Memory().SetText(0, std::string(128, 'x') + "y");

    EXPECT_TRUE(sut_.InitializeTextParameterMap(Device, configuration_));

    EXPECT_EQ(configuration_.textParameters.at(0).value, std::string(128, 'x') + "y");
    EXPECT_EQ(configuration_.textParameters.at(1).value, "y");
}

TEST_F(ParameterMapTest, LastTextNeedsNoTerminator) {
    stack_.Memory().SetContent(std::vector<std::uint8_t>(50 * TextBlock, 'x'));

    EXPECT_TRUE(sut_.InitializeTextParameterMap(Device, configuration_));

    EXPECT_EQ(configuration_.textParameters.at(49).value, std::string(128, 'x'));
}

TEST_F(ParameterMapTest, MemoryThatEndsEarlyIsAnError) {
    stack_.Memory().SetContent(std::vector<std::uint8_t>(200));

    EXPECT_FALSE(sut_.InitializeTextParameterMap(Device, configuration_));

    EXPECT_EQ(log_.GetLines(),
              Error("InitializeTextParameterMap", "AppPrg1 memory of 200 bytes ends before text parameter 3"));
}

TEST_F(ParameterMapTest, MemoryMayEndWithinTheLastText) {
    for (const std::size_t size : {49 * TextBlock, 49 * TextBlock + 1, 50 * TextBlock - 1}) {
        stack_.Memory().SetContent(std::vector<std::uint8_t>(size, 'x'));

        EXPECT_TRUE(sut_.InitializeTextParameterMap(Device, configuration_)) << size;

        EXPECT_EQ(configuration_.textParameters.at(49).value, std::string(size - 49 * TextBlock, 'x'));
    }
}

TEST_F(ParameterMapTest, EveryMemoryThatEndsBeforeTheLastTextIsAnError) {
    for (const std::size_t size : {0U, 1U, 127U, 128U, 6271U}) {
        stack_.Memory().SetContent(std::vector<std::uint8_t>(size, 'x'));

        EXPECT_FALSE(sut_.InitializeTextParameterMap(Device, configuration_)) << size;

        EXPECT_EQ(log_.TakeLines(), Error("InitializeTextParameterMap", "AppPrg1 memory of " + std::to_string(size) +
                                                                            " bytes ends before text parameter " +
                                                                            std::to_string(size / 128 + 2)));
    }
}

// IP and number parameters

TEST_F(ParameterMapTest, IpParametersBeyondTheCountAreZero) {
    Own(68).SetUInt32Elements({0xC0A8010A, 0x00000001, 0xFFFFFFFF});

    EXPECT_TRUE(sut_.InitializeIpParameterMap(Device, configuration_));

    const auto& parameters = configuration_.ipParameters;
    ASSERT_EQ(parameters.size(), 50U);
    EXPECT_EQ(parameters[0].value, "192.168.1.10");
    EXPECT_EQ(parameters[1].value, "0.0.0.1");
    EXPECT_EQ(parameters[2].value, "255.255.255.255");
    for (std::size_t i = 3; i < 50; ++i) {
        EXPECT_EQ(parameters[i].value, "0.0.0.0");
        EXPECT_TRUE(parameters[i].active);
    }
    EXPECT_EQ(parameters[49].channelId, KnxOdsMapping::GetParameterChannelObjModelId(50, 1, ParameterType::Ip));
    EXPECT_EQ(parameters[49].unit, "");
    EXPECT_EQ(parameters[49].type, ParameterType::Ip);
    EXPECT_EQ(Own(68).GetReads(), (std::vector<std::uint32_t>{0, 1, 2}));
}

TEST_F(ParameterMapTest, MoreThanFiftyIpParametersAreReadUpToFifty) {
    Own(68).SetUInt32Elements(std::vector<std::uint32_t>(64, 0x01020304));

    EXPECT_TRUE(sut_.InitializeIpParameterMap(Device, configuration_));

    EXPECT_EQ(configuration_.ipParameters.size(), 50U);
    EXPECT_EQ(configuration_.ipParameters.back().value, "1.2.3.4");
    std::vector<std::uint32_t> all(50);
    std::iota(all.begin(), all.end(), 0U);
    EXPECT_EQ(Own(68).GetReads(), all);
}

TEST_F(ParameterMapTest, NumberParametersAreUnsignedDecimals) {
    Own(69).SetUInt32Elements({0, 42, 0xFFFFFFFF});

    EXPECT_TRUE(sut_.InitializeNumberParameterMap(Device, configuration_));

    const auto& parameters = configuration_.numberParameters;
    ASSERT_EQ(parameters.size(), 50U);
    EXPECT_EQ(parameters[0].value, "0");
    EXPECT_EQ(parameters[1].value, "42");
    EXPECT_EQ(parameters[2].value, "4294967295");
    EXPECT_EQ(parameters[3].value, "0");
    EXPECT_EQ(parameters[3].channelId, KnxOdsMapping::GetParameterChannelObjModelId(4, 1, ParameterType::Number));
    EXPECT_EQ(parameters[3].type, ParameterType::Number);
}

/// What IP and number parameters have in common.
struct NumericKind {
    const char* operation;
    const char* name;
    std::uint16_t propertyId;
    bool (Zandrel::ParameterReader::*read)(LogicalDeviceId, KnxConfiguration&);
    std::vector<Zandrel::ParamAttr> KnxConfiguration::*parameters;
    const char* zero;
    const char* one;
};

class NumericParameterTest : public ParameterMapTest, public testing::WithParamInterface<NumericKind> {
protected:
    bool Read() { return (sut_.*GetParam().read)(Device, configuration_); }
    FakeProperty& Property() { return Own(GetParam().propertyId); }
    static Lines Failure(const std::string& message) { return Error(GetParam().operation, message); }
};

TEST_P(NumericParameterTest, WithoutParameterPropertiesIsAnError) {
    access_.Change()->parameterProperties = nullptr;

    EXPECT_FALSE(Read());

    EXPECT_EQ(log_.GetLines(), Failure("Pointer to ParameterProperties is nullptr!"));
}

TEST_P(NumericParameterTest, MissingPropertyIsAnError) {
    stack_.Application().Remove(GetParam().propertyId);

    EXPECT_FALSE(Read());

    EXPECT_EQ(log_.GetLines(),
              Failure("Pointer to PropertyID " + std::to_string(GetParam().propertyId) + " is nullptr!"));
}

TEST_P(NumericParameterTest, CountThatCannotBeToldIsAnError) {
    Property().FailElementCount();

    EXPECT_FALSE(Read());

    EXPECT_EQ(log_.GetLines(), Failure(std::string("Failed to get count of ") + GetParam().name));
}

TEST_P(NumericParameterTest, IsReadUpToItsCountAndFifty) {
    for (const std::size_t count : {0U, 3U, 50U, 51U, 200U}) {
        Property().SetUInt32Elements(std::vector<std::uint32_t>(count, 1));
        const std::size_t before = Property().GetReads().size();

        EXPECT_TRUE(Read()) << count;

        const std::size_t used = std::min<std::size_t>(count, 50);
        EXPECT_EQ(Property().GetReads().size() - before, used) << count;
        const auto& parameters = configuration_.*GetParam().parameters;
        ASSERT_EQ(parameters.size(), 50U);
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            EXPECT_EQ(parameters[i].value, i < used ? GetParam().one : GetParam().zero) << i << " of " << count;
        }
    }
}

TEST_P(NumericParameterTest, ValueThatCannotBeReadIsAnError) {
    Property().SetUInt32Elements({1, 2, 3});
    Property().FailReadOf(2);

    EXPECT_FALSE(Read());

    EXPECT_EQ(log_.GetLines(), Failure(std::string("Failed to get value of ") + GetParam().name + " slot 2"));
}

TEST_P(NumericParameterTest, ValueOfTooFewBytesIsAnError) {
    Property().SetUInt16Elements({1});

    EXPECT_FALSE(Read());

    EXPECT_EQ(log_.GetLines(), Failure(std::string("Failed to get value of ") + GetParam().name + " slot 0"));
}

INSTANTIATE_TEST_SUITE_P(, NumericParameterTest,
                         testing::Values(NumericKind{"InitializeIpParameterMap", "IP parameter", 68,
                                                     &Zandrel::ParameterReader::InitializeIpParameterMap,
                                                     &KnxConfiguration::ipParameters, "0.0.0.0", "0.0.0.1"},
                                         NumericKind{"InitializeNumberParameterMap", "number parameter", 69,
                                                     &Zandrel::ParameterReader::InitializeNumberParameterMap,
                                                     &KnxConfiguration::numberParameters, "0", "1"}),
                         [](const auto& kind) { return std::string(kind.param.operation); });

// Display settings and app type

class DisplaySettingsTest : public ParameterMapTest {
protected:
    bool Read() { return sut_.InitializeDisplaySettingsAndAppType(); }

    static Lines Failure(const std::string& message) { return Error("InitializeDisplaySettingsAndAppType", message); }

    /// What a long text shows at once and after `time`.
    std::vector<std::string> ShowLongText(Zandrel::Clock::Duration time) {
        dpts_.Set(1, Dpt(16, 1));
        tickers_.SetText(1, KnxStyleString("ABCDEFGHIJKLMNOP"));
        clock_->Advance(time);
        EXPECT_TRUE(stack_.GroupValues().WaitForWrites(2));
        return stack_.GroupValues().GetWrittenTexts();
    }
};

TEST_F(DisplaySettingsTest, SettingsGoToTheTickers) {
    Own(71).SetUInt8Elements({2, 0, 0});

    EXPECT_TRUE(Read());

    EXPECT_EQ(ShowLongText(boost::chrono::milliseconds(100)),
              (std::vector<std::string>{"ABCDEFGHIJKLMN", "BCDEFGHIJKLMNO"}));
}

TEST_F(DisplaySettingsTest, AppTypeIsPublished) {
    Own(71).SetUInt8Elements({0, 1, 1});

    EXPECT_TRUE(Read());

    EXPECT_EQ(identity_->GetAppType(), 1);
    EXPECT_EQ(Own(71).GetReads(), (std::vector<std::uint32_t>{1, 0, 2}));
}

TEST_F(DisplaySettingsTest, MissingPropertyIsAnError) {
    stack_.Application().Remove(71);

    EXPECT_FALSE(Read());

    EXPECT_EQ(log_.GetLines(), Failure("Pointer to PropertyID 71 is nullptr!"));
}

TEST_F(DisplaySettingsTest, WrappingThatCannotBeReadIsAnError) {
    Own(71).FailReadOf(1);

    EXPECT_FALSE(Read());

    EXPECT_EQ(log_.GetLines(), Failure("Failed to get display text wrapping parameter!"));
}

TEST_F(DisplaySettingsTest, SpeedThatCannotBeReadIsAnErrorAfterTheWrapping) {
    Own(71).SetUInt8Elements({0, 0, 0});
    Own(71).FailReadOf(0);

    EXPECT_FALSE(Read());

    EXPECT_EQ(log_.GetLines(), Failure("Failed to get display text speed parameter!"));
    EXPECT_EQ(ShowLongText(boost::chrono::seconds(1)), (std::vector<std::string>{"ABCDEFGHIJKLMN", "BCDEFGHIJKLMNO"}));
}

TEST_F(DisplaySettingsTest, AppTypeThatCannotBeReadIsAnError) {
    Own(71).FailReadOf(2);

    EXPECT_FALSE(Read());

    EXPECT_EQ(log_.GetLines(), Failure("Failed to get app type parameter!"));
    EXPECT_EQ(identity_->GetAppType(), std::nullopt);
}

}  // namespace
