#include <functional>
#include <utility>

#include "ParameterReaderFixture.h"
#include "Zandrel/KnxOdsMapping.h"

namespace {

using TestSupport::Dpt;
using Zandrel::KnxStyleString;
using Zandrel::LogicalDeviceId;
namespace KnxOdsMapping = Zandrel::KnxOdsMapping;

class ParameterReaderTest : public TestSupport::ParameterReaderFixture {};

// The whole

TEST_F(ParameterReaderTest, WholeDownloadIsRead) {
    stack_.DownloadApplication("StairLight", 1);
    stack_.DownloadCo(1, Dpt(1, 1));
    stack_.Memory().SetText(0, "Hello");
    Own(68).SetUInt32Elements({0xC0A8010A});
    Own(69).SetUInt32Elements({42});

    EXPECT_TRUE(sut_.InitObjectModel(*LogicalDeviceId::From(2), configuration_));

    EXPECT_EQ(identity_->GetLogicalDeviceId(), LogicalDeviceId::From(2));
    EXPECT_EQ(identity_->GetAppId(), "StairLight");
    EXPECT_TRUE(identity_->IsManagedApp());
    EXPECT_EQ(sut_.GetFriendlyName(), "Test device");
    EXPECT_TRUE(configuration_.cos.at(1).valid);
    EXPECT_TRUE(configuration_.cos.at(1).communicationFlag);
    EXPECT_EQ(configuration_.cos.at(1).channelId, KnxOdsMapping::GetCoChannelObjModelId(1, 2));
    EXPECT_EQ(configuration_.textParameters.at(0).value, "Hello");
    EXPECT_EQ(configuration_.ipParameters.at(0).value, "192.168.1.10");
    EXPECT_EQ(configuration_.numberParameters.at(0).value, "42");
    EXPECT_EQ(Errors(), Lines{});
}

TEST_F(ParameterReaderTest, StepsFollowTheirOrder) {
    struct Step {
        std::function<void()> breakIt;
        std::function<void()> repair;
        std::string error;
    };
    const auto ownProperty = [this](std::uint16_t id, const std::string& operation) {
        return Step{[this, id] { stack_.Application().Remove(id); },
                    [this, id] { Own(id).SetUInt32Elements(std::vector<std::uint32_t>(520)); },
                    operation + " - Pointer to PropertyID " + std::to_string(id) + " is nullptr!"};
    };
    const std::vector<Step> steps{
        {[this] { access_.Change()->groupValueService = nullptr; },
         [this] { access_.Change()->groupValueService = &stack_.GroupValues(); },
         "[app] InitObjectModel - Pointer to GroupValueService is nullptr!"},
        {[this] { stack_.Properties().Remove(11); }, [this] { Ip(76).SetText("Hall"), Ip(52).SetUInt16Elements({1}); },
         "[app] InitializeFriendlyNameAndIndividualAddresses - Pointer to IpParameterProperties is nullptr!"},
        {[this] { stack_.Application().Remove(72); }, [this] { Own(72).SetText("StairLight"); },
         "[app] InitializeAppId - Pointer to PropertyID 72 is nullptr!"},
        {[this] { access_.Change()->appPrg1Memory = nullptr; },
         [this] { access_.Change()->appPrg1Memory = &stack_.Memory(); },
         "[StairLight] InitObjectModel - Pointer to AppPrg1Memory is nullptr!"},
        {[this] { stack_.Memory().SetContent({}); },
         [this] { stack_.Memory().SetContent(std::vector<std::uint8_t>(50 * TextBlock)); },
         "[StairLight] InitializeTextParameterMap - AppPrg1 memory of 0 bytes ends before text parameter 2"},
        ownProperty(68, "[StairLight] InitializeIpParameterMap"),
        ownProperty(69, "[StairLight] InitializeNumberParameterMap"),
        ownProperty(66, "[StairLight] InitializeCommunicationFlagsOfCosInMap"),
        ownProperty(71, "[StairLight] InitializeDisplaySettingsAndAppType"),
    };
    constexpr std::size_t FirstAfterTheCos = 4;  // which cannot be made to fail here
    for (const Step& step : steps) {
        step.breakIt();
    }

    for (std::size_t i = 0; i < steps.size(); ++i) {
        EXPECT_FALSE(Init());
        EXPECT_EQ(Errors(), (Lines{{"ERROR", steps[i].error}}));
        EXPECT_EQ(configuration_.cos.empty(), i < FirstAfterTheCos) << steps[i].error;
        log_.TakeLines();
        steps[i].repair();
    }
    EXPECT_TRUE(Init());
}

TEST_F(ParameterReaderTest, MapsAreFilledAnewEachTime) {
    stack_.DownloadCo(1, Dpt(1, 1));
    stack_.Memory().SetText(0, "Hello");
    ASSERT_TRUE(Init());
    stack_.DownloadCo(1, 0);
    stack_.Memory().SetText(0, "");

    ASSERT_TRUE(Init());

    EXPECT_EQ(configuration_.cos.size(), 521U);
    EXPECT_FALSE(configuration_.cos.at(1).valid);
    EXPECT_FALSE(configuration_.cos.at(1).communicationFlag);
    EXPECT_EQ(configuration_.textParameters.at(0).value, "");
}

TEST_F(ParameterReaderTest, WithoutGroupValueServiceOnlyTheLogicalDeviceIsStored) {
    access_.Change()->groupValueService = nullptr;

    EXPECT_FALSE(sut_.InitObjectModel(*LogicalDeviceId::From(2), configuration_));

    EXPECT_EQ(log_.GetLines(), Error("InitObjectModel", "Pointer to GroupValueService is nullptr!"));
    EXPECT_EQ(identity_->GetLogicalDeviceId(), LogicalDeviceId::From(2));
}

TEST_F(ParameterReaderTest, WithoutMemoryTheMapsStayEmpty) {
    access_.Change()->appPrg1Memory = nullptr;

    EXPECT_FALSE(Init());

    EXPECT_EQ(Errors(), Error("InitObjectModel", "Pointer to AppPrg1Memory is nullptr!"));
    EXPECT_EQ(sut_.GetFriendlyName(), "Test device");
    EXPECT_TRUE(configuration_.cos.empty());
}

TEST_F(ParameterReaderTest, FirstFailureEndsTheSequence) {
    stack_.Application().Remove(69);

    EXPECT_FALSE(Init());

    EXPECT_EQ(Errors(), Error("InitializeNumberParameterMap", "Pointer to PropertyID 69 is nullptr!"));
    EXPECT_EQ(configuration_.cos.size(), 521U);
    EXPECT_EQ(configuration_.textParameters.size(), 50U);
    EXPECT_EQ(configuration_.ipParameters.size(), 50U);
    EXPECT_TRUE(configuration_.numberParameters.empty());
    EXPECT_TRUE(Own(71).GetReads().empty());
}

TEST_F(ParameterReaderTest, FailedIdentityEndsTheSequence) {
    Ip(76).FailElementCount();

    EXPECT_FALSE(Init());

    EXPECT_TRUE(Own(72).GetReads().empty());
}

TEST_F(ParameterReaderTest, AfterDetachingNothingIsTouched) {
    access_.Detach();
    const int touches = stack_.CountTouches();

    EXPECT_FALSE(Init());
    EXPECT_FALSE(sut_.InitializeFriendlyNameAndIndividualAddresses());
    EXPECT_FALSE(sut_.InitializeAppId());
    EXPECT_TRUE(sut_.InitializeCoMap(Device, configuration_));
    EXPECT_FALSE(sut_.InitializeTextParameterMap(Device, configuration_));
    EXPECT_FALSE(sut_.InitializeIpParameterMap(Device, configuration_));
    EXPECT_FALSE(sut_.InitializeNumberParameterMap(Device, configuration_));
    EXPECT_FALSE(sut_.InitializeCommunicationFlagsOfCosInMap(configuration_));
    EXPECT_FALSE(sut_.InitializeDisplaySettingsAndAppType());

    EXPECT_EQ(stack_.CountTouches(), touches);
    EXPECT_EQ(
        log_.GetLines(),
        (Lines{{"ERROR", "[app] InitObjectModel - Pointer to GroupValueService is nullptr!"},
               {"ERROR",
                "[app] InitializeFriendlyNameAndIndividualAddresses - Pointer to IpParameterProperties is "
                "nullptr!"},
               {"ERROR", "[app] InitializeAppId - Pointer to ParameterProperties is nullptr!"},
               {"ERROR", "[app] InitializeTextParameterMap - AppPrg1 memory of 0 bytes ends before text parameter 2"},
               {"ERROR", "[app] InitializeIpParameterMap - Pointer to ParameterProperties is nullptr!"},
               {"ERROR", "[app] InitializeNumberParameterMap - Pointer to ParameterProperties is nullptr!"},
               {"ERROR", "[app] InitializeCommunicationFlagsOfCosInMap - Pointer to PropertyID 66 is nullptr!"},
               {"ERROR", "[app] InitializeDisplaySettingsAndAppType - Pointer to PropertyID 71 is nullptr!"}}));
}

// Friendly name and individual addresses

constexpr const char* Addresses = "InitializeFriendlyNameAndIndividualAddresses";

TEST_F(ParameterReaderTest, IdentityOfTheDeviceIsReadAndLogged) {
    Ip(76).SetText("Hall");
    Ip(52).SetUInt16Elements({0x110A});
    Ip(53).SetUInt32Elements({0x110B, 0xFFFF});

    EXPECT_TRUE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(sut_.GetFriendlyName(), "Hall");
    EXPECT_EQ(sut_.GetIndividualAddress(), "1.1.10");
    EXPECT_EQ(sut_.GetAdditionalIndividualAddresses(),
              (std::vector<KnxStyleString>{KnxStyleString("1.1.11"), KnxStyleString("15.15.255")}));
    const std::string start = std::string("[app] ") + Addresses + " - ";
    EXPECT_EQ(log_.GetLines(), (Lines{{"DEBUG", start + "Friendly name: Hall"},
                                      {"DEBUG", start + "Individual address: 1.1.10"},
                                      {"DEBUG", start + "Additional individual address: 1.1.11"},
                                      {"DEBUG", start + "Additional individual address: 15.15.255"}}));
}

TEST_F(ParameterReaderTest, IdentityIsThatOfTheOneIpParameterObject) {
    EXPECT_TRUE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(stack_.Properties().GetRequests(), (std::vector<std::pair<std::uint16_t, int>>{{11, -1}}));
}

TEST_F(ParameterReaderTest, FriendlyNameWithoutElementsIsEmpty) {
    Ip(76).SetText("");

    EXPECT_TRUE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(sut_.GetFriendlyName(), "");
    EXPECT_EQ(log_.GetLines().at(0).text, "[app] InitializeFriendlyNameAndIndividualAddresses - Friendly name: ");
}

TEST_F(ParameterReaderTest, FriendlyNameOfFullLengthNeedsNoTerminator) {
    const std::string name(30, 'N');
    Ip(76).SetText(name);

    EXPECT_TRUE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(sut_.GetFriendlyName(), name);
}

TEST_F(ParameterReaderTest, FriendlyNameEndsAtItsTerminatorAndKeepsItsBytes) {
    Ip(76).SetText(std::string("Fl\xFCr\0garbage", 12));

    EXPECT_TRUE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(sut_.GetFriendlyName(), "Fl\xFCr");
}

TEST_F(ParameterReaderTest, MissingIpParameterObjectIsAnError) {
    stack_.Properties().Remove(11);

    EXPECT_FALSE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(log_.GetLines(), Error(Addresses, "Pointer to IpParameterProperties is nullptr!"));
}

TEST_F(ParameterReaderTest, MissingFriendlyNameIsAnError) {
    stack_.Properties().Object(11).Remove(76);

    EXPECT_FALSE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(log_.GetLines(), Error(Addresses, "Pointer to FriendlyNameProperty is nullptr!"));
}

TEST_F(ParameterReaderTest, FriendlyNameWithoutCountIsAnError) {
    Ip(76).FailElementCount();

    EXPECT_FALSE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(log_.GetLines(), Error(Addresses, "Failed to get FriendlyNameProperty!"));
}

TEST_F(ParameterReaderTest, FriendlyNameThatCannotBeReadIsAnError) {
    Ip(76).FailReadOf(3);

    EXPECT_FALSE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(log_.GetLines(), Error(Addresses, "Failed to get friendly name!"));
}

TEST_F(ParameterReaderTest, MissingIndividualAddressIsAnError) {
    stack_.Properties().Object(11).Remove(52);

    EXPECT_FALSE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(Errors(), Error(Addresses, "Pointer to KnxIndividualAddressProperty is nullptr!"));
}

TEST_F(ParameterReaderTest, IndividualAddressWithoutCountIsAnError) {
    Ip(52).FailElementCount();

    EXPECT_FALSE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(Errors(), Error(Addresses, "Failed to get KnxIndividualAddressProperty!"));
}

TEST_F(ParameterReaderTest, IndividualAddressThatCannotBeReadIsAnError) {
    Ip(52).FailReadOf(0);

    EXPECT_FALSE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(Errors(), Error(Addresses, "Failed to get knx individual address!"));
}

TEST_F(ParameterReaderTest, IndividualAddressOfTooFewBytesIsAnError) {
    Ip(52).DeliverNothing();

    EXPECT_FALSE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(Errors(), Error(Addresses, "Failed to get knx individual address!"));
}

TEST_F(ParameterReaderTest, MissingAdditionalAddressesAreNoFailure) {
    EXPECT_TRUE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(log_.GetLines().back(),
              (TestSupport::LogLine{"DEBUG",
                                    "[app] InitializeFriendlyNameAndIndividualAddresses - Pointer to "
                                    "AdditionalIndividualAddressesProperty is nullptr. No additional individual "
                                    "addresses available."}));
    EXPECT_TRUE(sut_.GetAdditionalIndividualAddresses().empty());
}

TEST_F(ParameterReaderTest, NoAdditionalAddressesAreNoFailure) {
    Ip(53).SetUInt32Elements({});

    EXPECT_TRUE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_TRUE(sut_.GetAdditionalIndividualAddresses().empty());
}

TEST_F(ParameterReaderTest, AdditionalAddressesMayHaveTwoBytes) {
    Ip(53).SetUInt16Elements({0x110B, 0xFFFF});

    EXPECT_TRUE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(sut_.GetAdditionalIndividualAddresses(),
              (std::vector<KnxStyleString>{KnxStyleString("1.1.11"), KnxStyleString("15.15.255")}));
}

TEST_F(ParameterReaderTest, AdditionalAddressOfTooFewBytesIsAnError) {
    Ip(53).SetUInt8Elements({0x11});

    EXPECT_FALSE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(Errors(), Error(Addresses, "Failed to get additional individual addresses!"));
}

TEST_F(ParameterReaderTest, EveryAdditionalAddressIsRead) {
    for (const std::size_t count : {1U, 50U, 51U, 200U}) {
        Ip(53).SetUInt32Elements(std::vector<std::uint32_t>(count, 0x110B));

        EXPECT_TRUE(sut_.InitializeFriendlyNameAndIndividualAddresses()) << count;

        EXPECT_EQ(sut_.GetAdditionalIndividualAddresses(),
                  std::vector<KnxStyleString>(count, KnxStyleString("1.1.11")));
    }
}

TEST_F(ParameterReaderTest, AdditionalAddressesWithoutCountAreAnError) {
    Ip(53).FailElementCount();

    EXPECT_FALSE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(Errors(), Error(Addresses, "Failed to get AdditionalIndividualAddressesProperty!"));
}

TEST_F(ParameterReaderTest, AdditionalAddressThatCannotBeReadIsAnErrorAfterThoseThatCan) {
    Ip(53).SetUInt32Elements({0x110B, 0x110C, 0x110D});
    Ip(53).FailReadOf(1);

    EXPECT_FALSE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(Errors(), Error(Addresses, "Failed to get additional individual addresses!"));
    EXPECT_EQ(sut_.GetAdditionalIndividualAddresses(), (std::vector<KnxStyleString>{KnxStyleString("1.1.11")}));
    EXPECT_EQ(Ip(53).GetReads(), (std::vector<std::uint32_t>{0, 1}));
}

TEST_F(ParameterReaderTest, AdditionalAddressesOfAnEarlierDownloadAreForgotten) {
    Ip(53).SetUInt32Elements({0x110B});
    ASSERT_TRUE(sut_.InitializeFriendlyNameAndIndividualAddresses());
    Ip(53).SetUInt32Elements({0x110C});

    ASSERT_TRUE(sut_.InitializeFriendlyNameAndIndividualAddresses());

    EXPECT_EQ(sut_.GetAdditionalIndividualAddresses(), (std::vector<KnxStyleString>{KnxStyleString("1.1.12")}));
}

// App id

TEST_F(ParameterReaderTest, AppIdBecomesTheLogPrefix) {
    Own(72).SetText("StairLight");

    EXPECT_TRUE(sut_.InitializeAppId());

    EXPECT_EQ(prefixedLog_.GetPrefix(), "StairLight");
    EXPECT_EQ(log_.GetLines(), Lines{});
}

TEST_F(ParameterReaderTest, EmptyAppIdIsNotRefused) {
    Own(72).SetText("");

    EXPECT_TRUE(sut_.InitializeAppId());

    EXPECT_EQ(identity_->GetAppId(), "");
}

TEST_F(ParameterReaderTest, AppIdOfFullLengthNeedsNoTerminator) {
    Own(72).SetText(std::string(64, 'A'));

    EXPECT_TRUE(sut_.InitializeAppId());

    EXPECT_EQ(identity_->GetAppId(), std::string(64, 'A'));
}

TEST_F(ParameterReaderTest, AppIdOfMoreThanItsFullLengthIsReadWhole) {
    Own(72).SetText(std::string(65, 'A') + "B");

    EXPECT_TRUE(sut_.InitializeAppId());

    EXPECT_EQ(identity_->GetAppId(), std::string(65, 'A') + "B");
}

TEST_F(ParameterReaderTest, AppIdThatIsNotAsciiKeepsItsBytes) {
    Own(72).SetText("K\xFC\xC3\xBC");

    EXPECT_TRUE(sut_.InitializeAppId());

    EXPECT_EQ(identity_->GetAppId(), "K\xFC\xC3\xBC");
}

TEST_F(ParameterReaderTest, AppIdWithoutParameterPropertiesIsAnError) {
    access_.Change()->parameterProperties = nullptr;

    EXPECT_FALSE(sut_.InitializeAppId());

    EXPECT_EQ(log_.GetLines(), Error("InitializeAppId", "Pointer to ParameterProperties is nullptr!"));
}

TEST_F(ParameterReaderTest, MissingAppIdIsAnError) {
    stack_.Application().Remove(72);

    EXPECT_FALSE(sut_.InitializeAppId());

    EXPECT_EQ(log_.GetLines(), Error("InitializeAppId", "Pointer to PropertyID 72 is nullptr!"));
    EXPECT_EQ(identity_->GetAppId(), "app");
}

TEST_F(ParameterReaderTest, AppIdWithoutCountIsAnError) {
    Own(72).FailElementCount();

    EXPECT_FALSE(sut_.InitializeAppId());

    EXPECT_EQ(log_.GetLines(), Error("InitializeAppId", "No app ID set!"));
}

TEST_F(ParameterReaderTest, AppIdThatCannotBeReadIsAnError) {
    Own(72).FailReadOf(0);

    EXPECT_FALSE(sut_.InitializeAppId());

    EXPECT_EQ(log_.GetLines(), Error("InitializeAppId", "Failed to get app ID!"));
}

}  // namespace
