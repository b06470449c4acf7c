#include <gmock/gmock.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <functional>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "AppPackage.h"
#include "Install.h"
#include "PackageError.h"
#include "TemporaryFolder.h"

namespace {

/// What syncfs(2) does; returns what it fails with, 0 where it works.
std::function<int(int)> onFlush;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

}  // namespace

// Comes before the C library's.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's name is another one
extern "C" int syncfs(int descriptor) noexcept {
    errno = onFlush(descriptor);
    return errno == 0 ? 0 : -1;
}

namespace {

namespace filesystem = boost::filesystem;
using testing::ElementsAre;
using TestSupport::ReadFile;

/// An installation on a device that has an app and a CA already.
class InstallationOrderTest : public testing::Test {
protected:
    /// What the names stood for while a file system was flushed.
    struct Flush {
        filesystem::path folder;
        std::string app;
        std::string appBeside;
        std::string trusted;
        std::string trustedBeside;

        friend bool operator==(const Flush& a, const Flush& b) {
            return std::tie(a.folder, a.app, a.appBeside, a.trusted, a.trustedBeside) ==
                   std::tie(b.folder, b.app, b.appBeside, b.trusted, b.trustedBeside);
        }
        friend std::ostream& operator<<(std::ostream& stream, const Flush& flush) {
            return stream << flush.folder << " with app \"" << flush.app << "\" beside \"" << flush.appBeside
                          << "\", certificate \"" << flush.trusted << "\" beside \"" << flush.trustedBeside << '"';
        }
    };

    InstallationOrderTest() {
        package_.Write("main.dll", "the new app");
        package_.SealWith(TestSupport::FileElement("main.dll", TestSupport::Sha256Of("the new app")));
        filesystem::create_directories(app_);
        filesystem::create_directories(trusted_.parent_path());
        TestSupport::WriteFile(app_ / "main.dll", "the old app");
        TestSupport::WriteFile(trusted_, "the old CA");
        onFlush = [this](int descriptor) {
            flushes_.push_back({filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)),
                                ContentOf(app_ / "main.dll"), ContentOf(app_.string() + ".new/main.dll"),
                                ContentOf(trusted_), ContentOf(trusted_.string() + ".new")});
            return error_;
        };
    }
    ~InstallationOrderTest() override { onFlush = nullptr; }

    Zandrel::VerificationResult Install() const {
        LocalDevice::PackageOptions options;
        options.directory = package_.Directory();
        options.ca = package_.CaFile();
        options.root = root_.GetPath();
        return LocalDevice::RunInstall(options);
    }
    static std::string ContentOf(const filesystem::path& file) {
        return filesystem::exists(file) ? ReadFile(file) : "";
    }

    const TestSupport::TemporaryFolder root_;
    const TestSupport::AppPackage package_;
    const filesystem::path app_ = root_.GetPath() / "opt/userdata/ornApp/1";
    const filesystem::path trusted_ = root_.GetPath() / "opt/ostra/etc/programmable/ca.crt";
    std::vector<Flush> flushes_;
    int error_ = 0;
};

TEST_F(InstallationOrderTest, MediumHasBothBeforeTheyAreReplacedAndBeforeTheOldAppIsGone) {
    const std::string ca = ReadFile(package_.CaFile());

    EXPECT_EQ(Install(), Zandrel::VerificationResult::SignatureOk);

    EXPECT_THAT(flushes_, ElementsAre(Flush{app_.parent_path(), "the old app", "the new app", "the old CA", ca},
                                      Flush{trusted_.parent_path(), "the old app", "the new app", "the old CA", ca},
                                      Flush{app_.parent_path(), "the new app", "the old app", ca, ""},
                                      Flush{trusted_.parent_path(), "the new app", "the old app", ca, ""}));
    EXPECT_FALSE(filesystem::exists(app_.string() + ".new"));
}

TEST_F(InstallationOrderTest, MediumThatFailsKeepsTheOldOnes) {
    error_ = EIO;
    try {
        Install();
        FAIL() << "no error";
    } catch (const LocalDevice::PackageError& error) {
        EXPECT_EQ(error.what(), "cannot write " + app_.parent_path().string() + ": Input/output error");
    }
    EXPECT_EQ(ContentOf(app_ / "main.dll"), "the old app");
    EXPECT_EQ(ContentOf(trusted_), "the old CA");
}

}  // namespace
