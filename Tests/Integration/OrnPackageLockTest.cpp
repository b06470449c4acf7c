#include <sys/inotify.h>

#include <boost/filesystem/operations.hpp>
#include <csignal>
#include <cstdint>
#include <memory>

#include "FileWatch.h"
#include "OrnPackageFixture.h"

namespace {

using namespace OrnPackage;

/// Long enough to be stopped in.
#if defined(ORN_EMULATED)
constexpr std::uintmax_t LargeFileSize = std::uintmax_t{8} << 20;
#else
constexpr std::uintmax_t LargeFileSize = std::uintmax_t{64} << 20;
#endif

/// A run that has stopped in its middle while others begin.
class OrnPackageLockTest : public OrnPackageTest {
protected:
    OrnPackageLockTest() {
        filesystem::create_directory(Path("root"));
        MakeKeys();
        WriteFile(Path("app/large"), "");
        filesystem::resize_file(Path("app/large"), LargeFileSize);
        Output(SignCommand());
    }

    /// One that has begun to read the app; the next one, where the end was quicker.
    std::unique_ptr<ChildProcess> StopInTheMiddle(const Words& arguments) const {
        for (;;) {
            const FileWatch watch(Path("app/MyApp.dll"));
            auto program = std::make_unique<ChildProcess>(ORN_PACKAGE_PROGRAM, arguments);
            EXPECT_TRUE(watch.WaitFor(IN_OPEN));
            if (program->Signal(SIGSTOP)) {
                return program;
            }
        }
    }
    static std::string Refusal(const std::string& folder) {
        return "ornpackage: another ornpackage is at work in " + folder;
    }
};

TEST_F(OrnPackageLockTest, SecondSigningOfAPackageIsRefused) {
    const auto first = StopInTheMiddle(SignCommand());

    EXPECT_EQ(Error(3, SignCommand()), Refusal(App()));

    first->Signal(SIGCONT);
    EXPECT_EQ(first->WaitForExit(RunLimit), ExitStatus::Exited(0));
    EXPECT_THAT(Output(VerifyCommand()), ElementsAre("Signature OK"));
}

TEST_F(OrnPackageLockTest, PackageThatIsBeingSignedIsNotInstalled) {
    const auto signing = StopInTheMiddle(SignCommand());
    EXPECT_EQ(Error(3, InstallCommand()), Refusal(App()));
}

TEST_F(OrnPackageLockTest, SecondInstallationOnADeviceIsRefused) {
    const auto first = StopInTheMiddle(InstallCommand());

    EXPECT_EQ(Error(3, InstallCommand()), Refusal(Path("root")));

    first->Signal(SIGCONT);
    EXPECT_EQ(first->WaitForExit(RunLimit), ExitStatus::Exited(0));
    Output(InstallCommand());
}

TEST_F(OrnPackageLockTest, PackageGoesToTwoDevicesAtOnce) {
    const auto first = StopInTheMiddle(InstallCommand());
    filesystem::create_directory(Path("other"));
    Words words = InstallCommand();
    words.back() = Path("other");
    EXPECT_THAT(Output(words), SizeIs(2));
}

TEST_F(OrnPackageLockTest, RunThatWasKilledKeepsNobodyAway) {
    const auto first = StopInTheMiddle(InstallCommand());
    first->Signal(SIGKILL);
    EXPECT_EQ(first->WaitForExit(RunLimit), ExitStatus::Killed(SIGKILL));

    Output(InstallCommand());
    EXPECT_THAT(Output(SignCommand()), SizeIs(1));
}

}  // namespace
