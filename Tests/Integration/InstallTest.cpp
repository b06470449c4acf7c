#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/fstream.hpp>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include "FileWatch.h"
#include "OrnPackageFixture.h"
#include "VerifyAppPackage.h"

namespace {

using namespace OrnPackage;
using testing::StartsWith;

/// The program at a device of its own.
class InstallTest : public OrnPackageTest {
protected:
    InstallTest() {
        filesystem::create_directory(Path("root"));
        MakeKeys();
        Output(SignCommand());
    }
    /// What the device says of its app.
    Zandrel::VerificationResult CheckOnDevice() const {
        return Zandrel::VerifyAppPackage(installed_ / "appfiles.xml", trusted_);
    }
    static std::vector<std::string> GetNamesIn(const filesystem::path& folder) {
        std::vector<std::string> names;
        for (const auto& entry : filesystem::directory_iterator(folder)) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

    const filesystem::path installed_ = folder_ / "root/opt/userdata/ornApp/1";
    const filesystem::path trusted_ = folder_ / "root/opt/ostra/etc/programmable/ca.crt";
};

TEST_F(InstallTest, PackageAndCertificateGoWhereTheDeviceLooks) {
    EXPECT_THAT(Output(InstallCommand()), ElementsAre("Signature OK", "installed in " + installed_.string()));

    EXPECT_EQ(CheckOnDevice(), Zandrel::VerificationResult::SignatureOk);
    EXPECT_EQ(ReadFile(installed_ / "data/texts & more.txt"), "texts");
}

TEST_F(InstallTest, TakesThePlaceOfTheAppThatIsThere) {
    filesystem::create_directories(installed_ / "data");
    WriteFile(installed_ / "Other.dll", "another app");
    filesystem::create_directories(trusted_.parent_path());
    WriteFile(trusted_, "another CA");
    filesystem::create_directories(installed_.string() + ".new");
    WriteFile(installed_.string() + ".new/rest", "of an installation that was cut short");

    Output(InstallCommand());

    EXPECT_EQ(CheckOnDevice(), Zandrel::VerificationResult::SignatureOk);
    EXPECT_THAT(GetNamesIn(installed_.parent_path()), ElementsAre("1"));
}

TEST_F(InstallTest, PackageThatIsWrongChangesNothing) {
    Output(InstallCommand());
    WriteFile(folder_ / "app/MyApp.dll", "the bpp");

    EXPECT_THAT(Errors(1, InstallCommand()),
                ElementsAre("The SHA256 sum does not match: " + Path("app/MyApp.dll"), "The application is corrupt"));

    EXPECT_EQ(CheckOnDevice(), Zandrel::VerificationResult::SignatureOk);
    EXPECT_EQ(ReadFile(installed_ / "MyApp.dll"), "the app");
}

TEST_F(InstallTest, PackageThatChangesBehindItsCheckLeavesTheAppThatIsThere) {
    Output(InstallCommand());
    WriteFile(Path("app/large"), "");
    filesystem::resize_file(Path("app/large"), std::uintmax_t{64} << 20);  // comes between check and copy
    Output(SignCommand());
    Outcome outcome;
    for (bool isInTime = false; !isInTime;) {
        WriteFile(Path("app/MyApp.dll"), "the app");
        const FileWatch watch(Path("app/MyApp.dll"));
        ChildProcess program(ORN_PACKAGE_PROGRAM, InstallCommand());
        ASSERT_TRUE(watch.WaitFor(IN_CLOSE_NOWRITE));
        WriteFile(Path("app/MyApp.dll"), "the bpp");
        outcome = WaitForOutcome(program);
        isInTime = watch.WaitFor(IN_CLOSE_WRITE) && watch.WaitFor(IN_OPEN, std::chrono::milliseconds(0));
    }

    EXPECT_EQ(outcome.status, ExitStatus::Exited(1));
    EXPECT_THAT(outcome.output, ElementsAre("Signature OK"));
    EXPECT_THAT(outcome.error, ElementsAre("The SHA256 sum does not match: " + installed_.string() + ".new/MyApp.dll",
                                           "ornpackage: the package was changed while it was installed"));
    EXPECT_EQ(CheckOnDevice(), Zandrel::VerificationResult::SignatureOk);
    EXPECT_EQ(ReadFile(installed_ / "MyApp.dll"), "the app");
    EXPECT_THAT(GetNamesIn(installed_.parent_path()), ElementsAre("1"));
}

TEST_F(InstallTest, DeviceThatIsNotThereIsNamed) {
    filesystem::remove(Path("root"));
    EXPECT_EQ(Error(3, InstallCommand()),
              "ornpackage: " + Path("root") + " is no directory: --root names the root folder of a local device");
}

TEST_F(InstallTest, DeviceThatCannotBeWrittenIsNamed) {
    WriteFile(Path("root/opt"), "no folder");
    const Outcome outcome = Run(InstallCommand());
    EXPECT_EQ(outcome.status, ExitStatus::Exited(3));
    ASSERT_THAT(outcome.error, SizeIs(1));
    EXPECT_THAT(outcome.error.front(), StartsWith("ornpackage: cannot write " + installed_.string() + ".new: "));
}

/// With a second device, in shared memory.
class TwoFileSystemsTest : public InstallTest {
protected:
    ~TwoFileSystemsTest() override {
        boost::system::error_code ignored;
        filesystem::remove_all(elsewhere_, ignored);
    }
    static dev_t GetDevice(const filesystem::path& path) {
        struct stat status {};
        return stat(path.c_str(), &status) == 0 ? status.st_dev : dev_t{};
    }

    const filesystem::path elsewhere_ = "/dev/shm" / folder_.filename();
};

TEST_F(TwoFileSystemsTest, PackageGoesFromOneToTheOtherAndBack) {
    if (GetDevice("/dev/shm") == dev_t{} || GetDevice("/dev/shm") == GetDevice(folder_)) {
        GTEST_SKIP() << "here temporary files and shared memory are on one file system, or there is no shared memory";
    }
    filesystem::create_directory(elsewhere_);
    const std::string there = (elsewhere_ / "opt/userdata/ornApp/1").string();

    EXPECT_THAT(Output({"install", App(), "--ca", Path("ca.crt"), "--root", elsewhere_.string()}),
                ElementsAre("Signature OK", "installed in " + there));
    EXPECT_THAT(Output({"install", there, "--ca", Path("ca.crt"), "--root", Path("root")}),
                ElementsAre("Signature OK", "installed in " + installed_.string()));

    EXPECT_EQ(CheckOnDevice(), Zandrel::VerificationResult::SignatureOk);
}

TEST_F(InstallTest, PackageThatDoesNotFitIsToldOf) {
    WriteFile(Path("app/large"), std::string(std::size_t{64} << 10, 'a'));
    Output(SignCommand());

    const Outcome outcome = RunAfter("ulimit -f 100", InstallCommand());

    EXPECT_EQ(outcome.status, ExitStatus::Exited(3));
    EXPECT_THAT(outcome.error,
                ElementsAre("ornpackage: cannot write " + installed_.string() + ".new/large: File too large"));
}

TEST_F(InstallTest, ServiceOfAnotherUserCanReadWhatWasInstalled) {
    const auto owner = filesystem::owner_read | filesystem::owner_write;
    filesystem::permissions(Path("app/MyApp.dll"), owner);
    WriteFile(Path("app/data/tool"), "#!/bin/sh");
    filesystem::permissions(Path("app/data/tool"), owner | filesystem::owner_exe);
    Output(SignCommand());

    EXPECT_EQ(RunAfter("umask 077", InstallCommand()).status, ExitStatus::Exited(0));

    ASSERT_TRUE(filesystem::exists(installed_ / "data/tool"));
    for (const auto& entry : filesystem::recursive_directory_iterator(Path("root"))) {
        const bool isForAllToRun = filesystem::is_directory(entry) || entry.path().filename() == "tool";
        EXPECT_EQ(entry.status().permissions(), isForAllToRun ? 0755 : 0644) << entry.path();
    }
}

TEST_F(InstallTest, NothingButTheCertificateOfTheCaGoesToTheDevice) {
    const std::string certificate = ReadFile(Path("ca.crt"));
    WriteFile(Path("ca.crt"), "My CA:\n" + ReadFile(Path("ca.key")) + certificate + ReadFile(Path("developer.key")));

    Output(InstallCommand());

    EXPECT_EQ(ReadFile(trusted_), certificate);
}

TEST_F(InstallTest, CertificateIsReplacedAsAWhole) {
    filesystem::create_directories(trusted_.parent_path());
    WriteFile(trusted_, "another CA");
    WriteFile(trusted_.string() + ".new", "of an installation that was cut short");
    filesystem::ifstream reader(trusted_);  // sees the one or the other, never a part

    Output(InstallCommand());

    EXPECT_EQ((std::string{std::istreambuf_iterator<char>(reader), {}}), "another CA");
    EXPECT_EQ(ReadFile(trusted_), ReadFile(Path("ca.crt")));
    EXPECT_THAT(GetNamesIn(trusted_.parent_path()), ElementsAre("ca.crt"));
}

TEST_F(InstallTest, CertificateTakesThePlaceOfALink) {
    filesystem::create_directories(trusted_.parent_path());
    WriteFile(Path("real.crt"), "another CA");
    filesystem::create_symlink(Path("real.crt"), trusted_);

    Output(InstallCommand());

    EXPECT_FALSE(filesystem::is_symlink(trusted_));
    EXPECT_EQ(CheckOnDevice(), Zandrel::VerificationResult::SignatureOk);
    EXPECT_EQ(ReadFile(Path("real.crt")), "another CA");
}

TEST_F(InstallTest, CertificateThatCannotBeReplacedLeavesTheAppThatIsThere) {
    filesystem::create_directories(trusted_);
    filesystem::create_directories(installed_);
    WriteFile(installed_ / "Other.dll", "another app");

    const Outcome outcome = Run(InstallCommand());

    EXPECT_EQ(outcome.status, ExitStatus::Exited(3));
    EXPECT_THAT(outcome.error, ElementsAre("ornpackage: cannot write " + trusted_.string() + ": Is a directory"));
    EXPECT_THAT(GetNamesIn(installed_), ElementsAre("Other.dll"));
    EXPECT_THAT(GetNamesIn(installed_.parent_path()), ElementsAre("1"));
    EXPECT_THAT(GetNamesIn(trusted_.parent_path()), ElementsAre("ca.crt"));
}

TEST_F(InstallTest, CertificateThatCannotBeWrittenLeavesNoAppWhereThereWasNone) {
    WriteFile(Path("root/blocked"), "");
    filesystem::create_directory(Path("root/opt"));
    filesystem::create_symlink(Path("root/blocked"), Path("root/opt/ostra"));

    const Outcome outcome = Run(InstallCommand());

    EXPECT_EQ(outcome.status, ExitStatus::Exited(3));
    ASSERT_THAT(outcome.error, SizeIs(1));
    EXPECT_THAT(outcome.error.front(), StartsWith("ornpackage: cannot write " + Path("root/opt/ostra/")));
    EXPECT_THAT(GetNamesIn(installed_.parent_path()), IsEmpty());
}

/// Tells which names in a folder were changed, by inotify(7).
class RenameWatch {
public:
    explicit RenameWatch(const filesystem::path& folder) {
        if (inotify_add_watch(descriptor_, folder.c_str(), IN_MOVED_FROM | IN_MOVED_TO) < 0) {
            throw std::system_error(errno, std::generic_category(), folder.string());
        }
    }
    ~RenameWatch() { close(descriptor_); }
    RenameWatch(const RenameWatch&) = delete;
    RenameWatch& operator=(const RenameWatch&) = delete;

    /// The names, each old one with the new one after it.
    Words Take() const {
        Words names;
        alignas(inotify_event) std::array<char, 4096> buffer{};
        const ssize_t size = read(descriptor_, buffer.data(), buffer.size());
        for (ssize_t begin = 0; begin < size;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(buffer.data() + begin);
            names.emplace_back(event->name);
            begin += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
        return names;
    }

private:
    const int descriptor_ = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
};

TEST_F(InstallTest, DeviceHasAnAppAtEveryMoment) {
    WriteFile(Path("a"), "");
    WriteFile(Path("b"), "");
    if (renameat2(AT_FDCWD, Path("a").c_str(), AT_FDCWD, Path("b").c_str(), RENAME_EXCHANGE) != 0) {
        GTEST_SKIP() << "the file system of temporary files cannot exchange names";
    }
    Output(InstallCommand());
    const RenameWatch watch(installed_.parent_path());

    Output(InstallCommand());

    EXPECT_THAT(watch.Take(), ElementsAre("1", "1.new", "1.new", "1"));
}

TEST_F(InstallTest, InstallationThatFailsLeavesNothingBehind) {
    filesystem::create_directories(installed_);
    WriteFile(Path("app/large"), std::string(std::size_t{64} << 10, 'a'));
    Output(SignCommand());

    EXPECT_EQ(RunAfter("ulimit -f 100", InstallCommand()).status, ExitStatus::Exited(3));

    EXPECT_THAT(GetNamesIn(installed_.parent_path()), ElementsAre("1"));
}

TEST_F(InstallTest, PackageThatLiesWhereTheInstallationWritesIsRefusedAndStays) {
    filesystem::create_directories(installed_);
    for (const char* const place : {"1.new", "1.old", "1.new/app", "1/app"}) {
        const filesystem::path package = installed_.parent_path() / place;
        filesystem::create_directories(package.parent_path());
        filesystem::rename(App(), package);

        const std::string refusal =
            "ornpackage: " + package.string() + "/. lies where the installation writes: move it";
        EXPECT_EQ(Error(3, {"install", package.string() + "/.", "--ca", Path("ca.crt"), "--root", Path("root")}),
                  refusal);

        EXPECT_EQ(ReadFile(package / "MyApp.dll"), "the app");
        filesystem::rename(package, App());
    }
}

TEST_F(InstallTest, DeviceThatLiesInThePackageIsRefused) {
    Words words = InstallCommand();
    words.back() = App();
    EXPECT_EQ(Error(3, words), "ornpackage: " + App() + " lies where the installation writes: move it");
    EXPECT_THAT(Output(VerifyCommand()), ElementsAre("Signature OK"));
}

TEST_F(InstallTest, AppOfTheDeviceCanBeInstalledAgain) {
    Output(InstallCommand());
    Words words = InstallCommand();
    words[1] = installed_.string();

    Output(words);

    EXPECT_EQ(CheckOnDevice(), Zandrel::VerificationResult::SignatureOk);
}

/// What a build does with its sample app.
class SampleTest : public InstallTest {
protected:
    Words Build() const {
        ChildProcess script(ORN_INSTALL_SAMPLE,
                            {ORN_PACKAGE_PROGRAM, App(), Path("ca.crt"), Path("root"), Path("record")});
        EXPECT_EQ(script.WaitForExit(), ExitStatus::Exited(0));
        EXPECT_THAT(script.GetErrorLines(), IsEmpty());
        return script.GetOutputLines();
    }
    /// The sample app is another one from now on.
    void ChangeSample() const {
        WriteFile(Path("app/MyApp.dll"), "the new app");
        Output(SignCommand());
    }
    void ExpectLeftAsItIs() const {
        EXPECT_THAT(Build(), ElementsAre("Left as they are: " + installed_.string() + " and " + trusted_.string() +
                                             " are not this build's any more.",
                                         "To have its sample app back: " ORN_PACKAGE_PROGRAM " install " + App() +
                                             " --ca " + Path("ca.crt")));
    }
    /// An app of a developer with a CA of his own, put there by hand.
    void InstallByHand() const {
        Output({"keygen", Path("own"), "--type", "ecdsa"});
        filesystem::create_directory(Path("mine"));
        WriteFile(Path("mine/Mine.dll"), "mine");
        Output({"sign", Path("mine"), "--key", Path("own/developer.key"), "--certificate", Path("own/developer.crt"),
                "--ca", Path("own/ca.crt")});
        filesystem::remove_all(installed_);
        filesystem::copy_directory(Path("mine"), installed_);
        for (const char* const name : {"Mine.dll", "appfiles.xml", "appfiles.xml.SHA256.sig", "sdk.crt"}) {
            filesystem::copy_file(Path("mine") / filesystem::path(name), installed_ / name);
        }
        WriteFile(trusted_, ReadFile(Path("own/ca.crt")));
    }
};

TEST_F(SampleTest, IsInstalledOnceAndBroughtUpToDate) {
    EXPECT_THAT(Build(), ElementsAre("Signature OK", "installed in " + installed_.string()));
    EXPECT_THAT(Build(), IsEmpty());

    ChangeSample();
    Build();

    EXPECT_EQ(ReadFile(installed_ / "MyApp.dll"), "the new app");
    EXPECT_EQ(CheckOnDevice(), Zandrel::VerificationResult::SignatureOk);
}

TEST_F(SampleTest, AppAndCaThatWereInstalledByHandStay) {
    Build();
    InstallByHand();
    ChangeSample();

    ExpectLeftAsItIs();

    EXPECT_EQ(ReadFile(installed_ / "Mine.dll"), "mine");
    EXPECT_EQ(ReadFile(trusted_), ReadFile(Path("own/ca.crt")));
    EXPECT_EQ(CheckOnDevice(), Zandrel::VerificationResult::SignatureOk);
}

TEST_F(SampleTest, FileThatWasChangedOrAddedByHandStays) {
    Build();
    WriteFile(installed_ / "Mine.dll", "mine");
    ExpectLeftAsItIs();
    EXPECT_EQ(ReadFile(installed_ / "Mine.dll"), "mine");
    filesystem::remove(installed_ / "Mine.dll");
    WriteFile(installed_ / "MyApp.dll", "the bpp");

    ExpectLeftAsItIs();

    EXPECT_EQ(ReadFile(installed_ / "MyApp.dll"), "the bpp");
}

TEST_F(SampleTest, CaThatWasInstalledByHandStays) {
    filesystem::create_directories(trusted_.parent_path());
    WriteFile(trusted_, "another CA");

    ExpectLeftAsItIs();

    EXPECT_EQ(ReadFile(trusted_), "another CA");
    EXPECT_FALSE(filesystem::exists(installed_));
}

TEST_F(SampleTest, TakesTheEmptyPlaceAgain) {
    Build();
    filesystem::remove_all(Path("root/opt"));

    Build();

    EXPECT_EQ(CheckOnDevice(), Zandrel::VerificationResult::SignatureOk);
}

}  // namespace
