#include <boost/filesystem/directory.hpp>
#include <string>
#include <vector>

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
    Words InstallCommand() const { return {"install", App(), "--ca", Path("ca.crt"), "--root", Path("root")}; }
    /// What the device says of its app.
    Zandrel::VerificationResult CheckOnDevice() const {
        return Zandrel::VerifyAppPackage(installed_ / "appfiles.xml", trusted_);
    }
    std::vector<std::string> GetFoldersBesideTheApp() const {
        std::vector<std::string> names;
        for (const auto& entry : filesystem::directory_iterator(installed_.parent_path())) {
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
    EXPECT_THAT(GetFoldersBesideTheApp(), ElementsAre("1"));
}

TEST_F(InstallTest, PackageThatIsWrongChangesNothing) {
    Output(InstallCommand());
    WriteFile(folder_ / "app/MyApp.dll", "the bpp");

    EXPECT_THAT(Errors(1, InstallCommand()),
                ElementsAre("The SHA256 sum does not match: " + Path("app/MyApp.dll"), "The application is corrupt"));

    EXPECT_EQ(CheckOnDevice(), Zandrel::VerificationResult::SignatureOk);
    EXPECT_EQ(ReadFile(installed_ / "MyApp.dll"), "the app");
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

}  // namespace
