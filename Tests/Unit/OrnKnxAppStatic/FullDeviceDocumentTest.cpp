#include <algorithm>
#include <fstream>
#include <iterator>

#include "DocumentReader.h"
#include "FullDownload.h"
#include "ObjectModelConfiguratorFixture.h"

namespace {

using namespace Zandrel;

/// The five documents of a device that uses everything, against the ones in the folder Golden.
class FullDeviceDocumentTest : public TestSupport::ObjectModelConfiguratorFixture {
protected:
    FullDeviceDocumentTest() {
        knx.download = TestSupport::MakeFullDownload(Device1());
        knx.download.textParameters.at(0).value =
            "all that is escaped: \" \\ / \b \f \n \r \t; and not: \x01 \x7F \xE4";
        knx.appId = "com.example/full";
        knx.friendlyName = "H\xFCtte \"1\"\n2nd line";
        knx.additionalAddresses = {KnxStyleString("1.1.11"), KnxStyleString("1.1.12")};
    }
};

struct Golden {
    const char* file;
    std::size_t document;
};

std::string ReadGolden(const std::string& file) {
    std::ifstream stream(GOLDEN_FOLDER + file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

/// Where two texts part, with what stands there.
::testing::AssertionResult SameText(const std::string& expected, const std::string& actual) {
    const auto [left, right] = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
    if (left == expected.end() && right == actual.end()) {
        return ::testing::AssertionSuccess();
    }
    const auto position = static_cast<std::size_t>(left - expected.begin());
    const std::size_t begin = position - std::min<std::size_t>(position, 60);
    return ::testing::AssertionFailure() << "they part at byte " << position << "\nexpected: ..."
                                         << expected.substr(begin, 120) << "\nactual:   ..."
                                         << actual.substr(begin, 120);
}

TEST_F(FullDeviceDocumentTest, EveryDocumentIsTheGoldenOne) {
    Connect();

    ASSERT_TRUE(Configure());

    const std::vector<std::string> documents = stack.GetDocuments();
    ASSERT_EQ(documents.size(), 5U);
    for (const auto& [file, document] : {Golden{"Devices.txt", 0}, Golden{"Cos.txt", 1}, Golden{"IpParameters.txt", 2},
                                         Golden{"NumberParameters.txt", 3}, Golden{"TextParameters.txt", 4}}) {
        EXPECT_TRUE(SameText(ReadGolden(file), documents.at(document))) << file;
    }
}

TEST_F(FullDeviceDocumentTest, EveryDocumentIsWellFormed) {
    Connect();

    ASSERT_TRUE(Configure());

    std::vector<std::size_t> channels;
    for (const std::string& document : stack.GetDocuments()) {
        channels.push_back(DocumentReader::Read(document)["devices"].items.back()["channels"].items.size());
    }
    EXPECT_EQ(channels, (std::vector<std::size_t>{2, 520, 50, 50, 50}));
}

TEST_F(FullDeviceDocumentTest, CountsAreThoseOfTheDownload) {
    Connect();

    ASSERT_TRUE(Configure());

    const Lines lines = TakeLines();
    for (const char* const what :
         {"Adding 520 COs to configuration", "Adding 50 IP Parameters to configuration",
          "Adding 50 Number Parameters to configuration", "Adding 50 Text Parameters to configuration"}) {
        EXPECT_EQ(std::count(lines.begin(), lines.end(), Took(what)), 1) << what;
    }
}

}  // namespace
