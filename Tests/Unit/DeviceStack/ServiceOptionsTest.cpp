#include "ServiceOptions.h"

#include <gmock/gmock.h>

namespace {

using LocalDevice::OptionError;
using LocalDevice::ParseOptions;
using LocalDevice::ServiceOptions;
using testing::HasSubstr;

std::string ErrorOf(const std::vector<std::string>& arguments) {
    try {
        ParseOptions(arguments);
    } catch (const OptionError& error) {
        return error.what();
    }
    return {};
}

TEST(ServiceOptionsTest, NoOptionsMeanLoopbackAndTheUsualPort) {
    const ServiceOptions options = ParseOptions({});
    EXPECT_EQ(options.address, "127.0.0.1");
    EXPECT_EQ(options.port, 7580);
    EXPECT_EQ(options.serialNumbers.first, "");
    EXPECT_EQ(options.serialNumbers.second, "");
    EXPECT_EQ(options.logFile, "");
    EXPECT_FALSE(options.isHelpWanted);
}

TEST(ServiceOptionsTest, EveryOptionIsTaken) {
    const ServiceOptions options = ParseOptions({"--port", "0", "--address=::1", "--serial1", "00ab12CD34ef",
                                                 "--serial2=010203040506", "--log", "some file", "--help"});
    EXPECT_EQ(options.port, 0);
    EXPECT_EQ(options.address, "::1");
    EXPECT_EQ(options.serialNumbers.first, "00ab12CD34ef");
    EXPECT_EQ(options.serialNumbers.second, "010203040506");
    EXPECT_EQ(options.logFile, "some file");
    EXPECT_TRUE(options.isHelpWanted);
}

TEST(ServiceOptionsTest, ErrorsNameTheOptionAndWhatItExpects) {
    EXPECT_EQ(ErrorOf({"--port", "65536"}), "--port 65536: expected a number from 0 to 65535");
    EXPECT_EQ(ErrorOf({"--port=-1"}), "--port -1: expected a number from 0 to 65535");
    EXPECT_EQ(ErrorOf({"--port", "80a"}), "--port 80a: expected a number from 0 to 65535");
    EXPECT_EQ(ErrorOf({"--address", "nowhere"}), "--address nowhere: expected an IP address");
    EXPECT_EQ(ErrorOf({"--serial1", "0011223344"}), "--serial1 0011223344: expected 12 hexadecimal digits");
    EXPECT_EQ(ErrorOf({"--serial2", "00112233445g"}), "--serial2 00112233445g: expected 12 hexadecimal digits");
    EXPECT_EQ(ErrorOf({"--serial1", "00112233445f", "--serial2", "00112233445F"}),
              "--serial2 00112233445F: expected another serial number than that of --serial1");
    EXPECT_THAT(ErrorOf({"--port"}), HasSubstr("--port"));
    EXPECT_THAT(ErrorOf({"--por", "1"}), HasSubstr("--por"));
    EXPECT_THAT(ErrorOf({"--port", "1", "--port", "2"}), HasSubstr("--port"));
    EXPECT_THAT(ErrorOf({"stray"}), HasSubstr("see --help"));
}

TEST(ServiceOptionsTest, HelpNamesEveryOption) {
    const std::string help = LocalDevice::GetHelp();
    for (const char* option : {"--help", "--port", "--address", "--serial1", "--serial2", "--log"}) {
        EXPECT_THAT(help, HasSubstr(option));
    }
}

}  // namespace
