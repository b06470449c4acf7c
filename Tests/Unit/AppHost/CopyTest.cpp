#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FakeHost.h"

namespace {

using namespace AppHostTests;
using Texts = std::vector<std::string>;

constexpr std::uint16_t Input = 1;

TEST(Copy, copiesEveryValueUnchangedAndInOrder) {
    FakeHost host;
    ASSERT_EQ(host.Start(), ORN_OK);
    for (const auto& value :
         {Integer(0), Integer(4294967295), Integer(4294967295), Integer(7), Boolean(true), Number(0.1), Text("abc")}) {
        host.Send(Input, value);
    }
    EXPECT_EQ(host.TakeWritten(), (Texts{"2 = integer 0", "2 = integer 4294967295", "2 = integer 4294967295",
                                         "2 = integer 7", "2 = boolean 1", "2 = number 0.1", "2 = text abc"}));
    host.Stop();
}

TEST(Copy, saysWhenAValueIsLost) {
    FakeHost host;
    ASSERT_EQ(host.Start(), ORN_OK);
    host.setResult = ORN_NOT_CONNECTED;
    host.Send(Input, Integer(1));
    EXPECT_EQ(host.lines, Texts{"3 A value was lost."});
    host.Stop();
}

TEST(Copy, doesNotStartWithoutItsInput) {
    FakeHost host;
    host.listenResult = ORN_NO_SUCH_CO;
    EXPECT_EQ(host.Start(), ORN_NO_SUCH_CO);
}

TEST(CopyLibrary, isBuiltForThisInterface) {
    EXPECT_EQ(orn_app_interface_version(), ORN_APP_INTERFACE_VERSION);
}

}  // namespace
