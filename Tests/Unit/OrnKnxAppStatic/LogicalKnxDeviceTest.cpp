#include "LogicalKnxDevice.h"

#include "ObjectModelFixture.h"

namespace {

using namespace Zandrel;

class LogicalKnxDeviceTest : public TestSupport::ObjectModelFixture {
protected:
    static constexpr const char* SerialNumber = "000a14ff0102";

    /// Whole lines of the function are expected: its only one.
    void Expect(const std::string& level, const std::string& message) {
        EXPECT_EQ(log.TakeLines(), (Lines{{level, "[app] GetLogicalKnxDeviceId - " + message}}));
    }

    /// The device stack's reply is the object `ipc`.
    void AcceptWithIpc(const std::string& ipc) {
        stack.Accept("GetDeviceConfig", R"({"deviceConfig":{"ipc":)" + ipc + "}}");
    }

    std::optional<LogicalDeviceId> Determine() { return GetLogicalKnxDeviceId(connection, SerialNumber, logger); }
};

TEST_F(LogicalKnxDeviceTest, FirstDeviceIsFound) {
    Connect();
    AcceptWithIpc(R"({"KnxSerialNumber1":"000a14ff0102","KnxSerialNumber2":"000a14ff0103"})");

    EXPECT_EQ(Determine(), LogicalDeviceId::From(1));

    Expect("INFO", "This is logical KNX device 1");
    EXPECT_EQ(stack.GetRequests(), (std::vector<std::string>{R"({"command":"GetDeviceConfig"})"}));
}

TEST_F(LogicalKnxDeviceTest, SecondDeviceIsFound) {
    Connect();
    AcceptWithIpc(R"({"KnxSerialNumber1":"000a14ff0101","KnxSerialNumber2":"000a14ff0102"})");

    EXPECT_EQ(Determine(), LogicalDeviceId::From(2));

    Expect("INFO", "This is logical KNX device 2");
}

TEST_F(LogicalKnxDeviceTest, LetterCaseDoesNotCount) {
    Connect();
    AcceptWithIpc(R"({"KnxSerialNumber1":"000A14Ff0102"})");

    EXPECT_EQ(Determine(), LogicalDeviceId::From(1));
}

TEST_F(LogicalKnxDeviceTest, WhereBothMatchTheFirstWins) {
    Connect();
    AcceptWithIpc(R"({"KnxSerialNumber2":"000a14ff0102","KnxSerialNumber1":"000a14ff0102"})");

    EXPECT_EQ(Determine(), LogicalDeviceId::From(1));
}

TEST_F(LogicalKnxDeviceTest, NumberInsteadOfAStringNeverMatches) {
    Connect();
    AcceptWithIpc(R"({"KnxSerialNumber1":123456789012,"KnxSerialNumber2":123456789012})");

    EXPECT_EQ(GetLogicalKnxDeviceId(connection, "123456789012", logger), std::nullopt);

    Expect("ERROR", "Could not determine logical KNX device.");
}

TEST_F(LogicalKnxDeviceTest, SerialNumberOfOtherLengthDoesNotMatch) {
    Connect();
    AcceptWithIpc(R"({"KnxSerialNumber1":"000a14ff01","KnxSerialNumber2":"000a14ff010200"})");

    EXPECT_EQ(Determine(), std::nullopt);

    Expect("ERROR", "Could not determine logical KNX device.");
}

TEST_F(LogicalKnxDeviceTest, MissingAndNullMembersAndOtherKindsMatchNothing) {
    Connect();
    for (const char* const response :
         {"null", "7", R"("text")", "[]", "{}", R"({"deviceConfig":null})", R"({"deviceConfig":[1,2]})",
          R"({"deviceConfig":{}})", R"({"deviceConfig":{"ipc":null}})", R"({"deviceConfig":{"ipc":"000a14ff0102"}})",
          R"({"deviceConfig":{"ipc":{}}})", R"({"deviceConfig":{"ipc":{"KnxSerialNumber1":null}}})",
          R"({"deviceConfig":{"ipc":{"KnxSerialNumber1":{"000a14ff0102":"000a14ff0102"}}}})",
          R"({"deviceConfig":{"ipc":{"KnxSerialNumber3":"000a14ff0102"}}})"}) {
        stack.Accept("GetDeviceConfig", response);

        EXPECT_EQ(Determine(), std::nullopt) << response;

        Expect("ERROR", "Could not determine logical KNX device.");
    }
}

TEST_F(LogicalKnxDeviceTest, FirstDeviceWithoutSerialNumberDoesNotHideTheSecond) {
    Connect();
    AcceptWithIpc(R"({"KnxSerialNumber1":null,"KnxSerialNumber2":"000a14ff0102"})");

    EXPECT_EQ(Determine(), LogicalDeviceId::From(2));
}

TEST_F(LogicalKnxDeviceTest, ReplyWithoutResponseMatchesNothing) {
    Connect();
    stack.Answer("GetDeviceConfig", "{}");

    EXPECT_EQ(Determine(), std::nullopt);

    Expect("ERROR", "Could not determine logical KNX device.");
}

TEST_F(LogicalKnxDeviceTest, ReplyThatIsNoJsonObjectIsReportedOnce) {
    Connect();
    const std::string match =
        R"({"response":{"deviceConfig":{"ipc":{"KnxSerialNumber1":"000a14ff0102","KnxSerialNumber2":""}}}})";
    for (const std::string& reply :
         {std::string(), std::string("{"), std::string("no JSON"), std::string("[1]"), std::string("null"),
          std::string("1"), match + "x", match + '\0', match + '\0' + "x", std::string("\0", 1) + match,
          std::string("{\"response\":\"\xff\"}"), std::string(100'000, '['), std::string(100'000, '[') + "]"}) {
        stack.Answer("GetDeviceConfig", reply);

        EXPECT_EQ(Determine(), std::nullopt);

        Expect("ERROR", "The configuration from devicestack is not a JSON object!");
    }
}

TEST_F(LogicalKnxDeviceTest, DeeplyNestedReplyIsRead) {
    Connect();
    constexpr std::size_t Depth = 200'000;
    std::string nested(Depth, '[');
    nested.append(Depth, ']');
    AcceptWithIpc(R"({"KnxSerialNumber1":)" + nested + R"(,"KnxSerialNumber2":"000a14ff0102"})");

    EXPECT_EQ(Determine(), LogicalDeviceId::From(2));
}

TEST_F(LogicalKnxDeviceTest, MissingConnectionIsReported) {
    EXPECT_EQ(Determine(), std::nullopt);

    Expect("ERROR", "Connection to device stack unavailable!");
    EXPECT_TRUE(stack.GetRequests().empty());
}

TEST_F(LogicalKnxDeviceTest, TimeOutIsReported) {
    ConnectToDeafDeviceStack();

    EXPECT_EQ(GetLogicalKnxDeviceId(impatientConnection, SerialNumber, logger), std::nullopt);

    Expect("ERROR", "Retrieving value from devicestack timed out!");
}

TEST_F(LogicalKnxDeviceTest, RefusalIsReportedWithItsReason) {
    Connect();
    stack.Refuse("GetDeviceConfig", "not now");

    EXPECT_EQ(Determine(), std::nullopt);

    Expect("ERROR", "Error retrieving configuration from devicestack! not now");
}

TEST_F(LogicalKnxDeviceTest, LostConnectionIsReportedWithItsReason) {
    Connect();
    stack.LoseConnectionAt("GetDeviceConfig");

    EXPECT_EQ(Determine(), std::nullopt);

    Expect("ERROR", "Error retrieving configuration from devicestack! Connection to device stack lost.");
}

}  // namespace
