#include <cstdint>
#include <string>

#include "OrnPackageFixture.h"

namespace {

using namespace OrnPackage;

TEST_F(OrnPackageTest, MoreDirectoriesThanTheDeviceReadsAreRefused) {
    MakeKeys();
    constexpr int Depth = 1900;
    for (const char* top : {"1", "2", "3", "4", "5"}) {
        std::string folder = std::string("app/") + top;
        filesystem::create_directory(Path(folder));
        for (int level = 1; level < Depth; ++level) {
            filesystem::create_directory(Path(folder += "/d"));
        }
        WriteFile(Path(folder + "/f"), "");
    }
    EXPECT_EQ(Errors(1, SignCommand()).back(),
              "ornpackage: too many directories: their names are more than the device reads");
    EXPECT_FALSE(filesystem::exists(Path("app/appfiles.xml")));
}

TEST_F(OrnPackageTest, MoreFilesThanTheDeviceReadsAreRefusedAndOneLessAreSigned) {
    constexpr int Most = 23'999;
    MakeKeys();
    filesystem::remove_all(App());
    filesystem::create_directory(App());
    for (int i = 0; i < Most; ++i) {
        WriteFile(Path("app/" + std::to_string(i)), "");
    }
    EXPECT_EQ(Output(SignCommand()), Words{"signed 23999 files, 0 bytes"});

    WriteFile(Path("app/one more"), "");
    EXPECT_EQ(Error(1, SignCommand()), "ornpackage: the device would not read the file list: too many elements");
}

TEST_F(OrnPackageTest, ListThatIsLargerThanTheDeviceReadsIsRefused) {
    constexpr int Files = 6'500;  // whose names take five times the room in the list
    MakeKeys();
    for (int i = 0; i < Files; ++i) {
        WriteFile(Path("app/" + std::to_string(i) + std::string(250, '&')), "");
    }
    EXPECT_EQ(Error(1, SignCommand()), "ornpackage: too many files: their list is larger than the device reads");
    EXPECT_FALSE(filesystem::exists(Path("app/appfiles.xml")));
}

/// A path of that length can only be made and removed step by step.
TEST_F(OrnPackageTest, FileWhosePathIsTooLongIsNamed) {
    MakeKeys();
    constexpr int Depth = 20;
    const std::string directory(200, 'd');
    const auto shell = [](const std::string& script, const std::string& argument) {
        ChildProcess sut("/bin/sh", {"-c", script, argument});
        EXPECT_EQ(WaitForOutcome(sut).status, ExitStatus::Exited(0));
    };
    const std::string step = " && mkdir " + directory + " && cd " + directory;
    const std::string folder = directory + "/";
    std::string steps = "cd \"$0\"";
    std::string name;
    for (int level = 0; level < Depth; ++level) {
        steps += step;
        name += folder;
    }
    name += directory;
    shell(steps + " && : >" + directory, App());

    EXPECT_EQ(Error(3, SignCommand()), "ornpackage: cannot read " + Path("app/" + name) + ": File name too long");
    shell("rm -r \"$0\"", App());
}

TEST_F(OrnPackageTest, DeveloperWithoutACertificateSignsNothing) {
    MakeKeys();
    filesystem::remove(Path("developer.crt"));
    EXPECT_THAT(Errors(3, SignCommand()), ElementsAre("Could not open certificate file " + Path("developer.crt"),
                                                      "ornpackage: nothing was signed"));
}

TEST_F(OrnPackageTest, FileThatCannotBePutBackIsNotReplaced) {
    MakeKeys();
    constexpr std::uintmax_t MoreThanAFileList = (std::uintmax_t{8} << 20U) + 1;
    WriteFile(Path("app/appfiles.xml"), "");
    filesystem::resize_file(Path("app/appfiles.xml"), MoreThanAFileList);
    EXPECT_EQ(Error(3, SignCommand()),
              "ornpackage: cannot read " + Path("app/appfiles.xml") + ", in whose place a file is to be written");
    EXPECT_EQ(filesystem::file_size(Path("app/appfiles.xml")), MoreThanAFileList);
    EXPECT_FALSE(filesystem::exists(Path("app/sdk.crt")));
}

TEST_F(OrnPackageTest, ShowNamesAFileListThatIsNone) {
    MakeKeys();
    Output(SignCommand());
    WriteFile(Path("app/appfiles.xml"), "<a/><b/>");
    EXPECT_EQ(Error(3, {"show", App()}),
              "ornpackage: cannot read " + Path("app/appfiles.xml") + ": more than one top element");
    filesystem::remove(Path("app/appfiles.xml"));
    EXPECT_EQ(Error(3, {"show", App()}), "ornpackage: cannot read " + Path("app/appfiles.xml"));
}

TEST_F(OrnPackageTest, ShowNamesWhatAnEntryLacks) {
    MakeKeys();
    Output(SignCommand());
    WriteFile(Path("app/appfiles.xml"), "<l><File/></l>");
    EXPECT_EQ(Output({"show", App()}).back(), "  (no sum)  (no name)");
}

TEST_F(OrnPackageTest, LackOfThreadsSaysNothingAboutThePackage) {
    MakeKeys();
    Output(SignCommand());
    ChildProcess sut(ORN_PACKAGE_WITHOUT_THREADS, VerifyCommand());
    const Outcome outcome = WaitForOutcome(sut);
    EXPECT_EQ(outcome.status, ExitStatus::Exited(3));
    EXPECT_THAT(outcome.error,
                ElementsAre("ornpackage-without-threads: no thread can be started: Resource temporarily unavailable"));
}

TEST_F(OrnPackageTest, OutputThatCannotBeWrittenIsAnError) {
    ChildProcess sut("/bin/sh", {"-c", std::string(ORN_PACKAGE_PROGRAM) + " --help >/dev/full"});
    const Outcome outcome = WaitForOutcome(sut);
    EXPECT_EQ(outcome.status, ExitStatus::Exited(3));
    EXPECT_THAT(outcome.error, ElementsAre("ornpackage: cannot write to standard output"));
}

}  // namespace
