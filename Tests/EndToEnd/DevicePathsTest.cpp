#include <gmock/gmock.h>

#include "Children.h"
#include "LocalDevice.h"

namespace {

using EndToEnd::ChildProcess;
using EndToEnd::DeviceStack;
using EndToEnd::Host;
using EndToEnd::StairLightSerialNumber;
using testing::Contains;
using testing::HasSubstr;
using TestSupport::ExitStatus;

/// Runs what follows with the build's own /opt in the place of the machine's, seen by nobody else.
std::vector<std::string> WithOwnOpt(const std::vector<std::string>& command) {
    std::vector<std::string> all{
        UNSHARE_PROGRAM, "--map-root-user", "--mount", "/bin/sh", "-c", R"(mount --bind "$0" /opt && exec "$@")",
        ORN_LOCAL_OPT};
    all.insert(all.end(), command.begin(), command.end());
    return all;
}

bool HasMountNamespaces() {
    std::vector<std::string> command = WithOwnOpt({"/bin/test", "-x", "/opt/ostra/bin/ornapphost"});
    const std::string program = command.front();
    command.erase(command.begin());
    return ChildProcess(program, command).WaitForExit() == ExitStatus::Exited(0);
}

TEST(DevicePaths, APlugInBuiltForADeviceFindsEverythingAtTheExactPaths) {
    if (!HasMountNamespaces()) {
        GTEST_SKIP() << "this machine lets nobody mount a folder of his own over /opt";
    }
    const DeviceStack deviceStack({StairLightSerialNumber});
    Host::Options options{EndToEnd::SampleDevice("stairlight"), deviceStack.GetAddress()};
    options.library = ORN_PLUGIN_FOR_DEVICE;
    options.runner = WithOwnOpt({});
    options.environment = {{"LD_LIBRARY_PATH", ORN_PLATFORM_FOLDER}};  // the programs find it relative to themselves
    Host host(options);
    ASSERT_TRUE(host.WaitForRunState("running"));

    EXPECT_THAT(host.GetLog(), Contains(HasSubstr("Launching app host (Command Line = /opt/ostra/bin/ornapphost "
                                                  "/opt/userdata/orn/libornstairlight.so 1).")));
    EXPECT_EQ(host.GetAppHosts().size(), 1U);
    EXPECT_TRUE(host.Stop());
}

}  // namespace
