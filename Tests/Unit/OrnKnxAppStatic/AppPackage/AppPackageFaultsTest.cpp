#include <fcntl.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <boost/filesystem/operations.hpp>
#include <climits>
#include <cstdlib>

#include "AdditionalFiles.h"
#include "AllocationFault.h"
#include "AppPackageFixture.h"
#include "FileHasher.h"
#include "HashCodes.h"
#include "ListedPaths.h"
#include "OpenSslFaults.h"
#include "RegularFile.h"

namespace {

namespace filesystem = boost::filesystem;
using Zandrel::FileHasher;
using Zandrel::ListedPaths;
using Zandrel::RegularFile;

/// A terminal, the only device that shows whether it has been opened and closed again.
class Terminal {
public:
    Terminal() {
        EXPECT_EQ(grantpt(master_), 0);
        EXPECT_EQ(unlockpt(master_), 0);
        EXPECT_EQ(ptsname_r(master_, name_.data(), name_.size()), 0);
    }
    ~Terminal() { close(master_); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    filesystem::path GetPath() const { return name_.data(); }
    bool WasOpened() const {
        pollfd state{master_, POLLIN, 0};
        return poll(&state, 1, 0) == 1 && (state.revents & POLLHUP) != 0;
    }

private:
    const int master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    std::array<char, 64> name_{};
};

/// Failures that only a device in trouble knows.
class AppPackageFaultsTest : public AppPackageFixture {};

TEST_F(AppPackageFaultsTest, FailuresOfTheChainCheckAreReported) {
    struct Case {
        std::atomic<bool>& fault;
        const char* message;
    };
    for (const Case& test : {Case{OpenSslFaults::newStore, "Could not allocate an X509 store"},
                             Case{OpenSslFaults::newContext, "Could not allocate an X509 context"},
                             Case{OpenSslFaults::addCertificate, "Could not add the CA to the store"},
                             Case{OpenSslFaults::initContext, "Could not initialize the CA check context"}}) {
        test.fault = true;
        ExpectUnverifiable({Error("CheckOfficialDeveloperCertificate", test.message)});
    }
}

TEST_F(AppPackageFaultsTest, MissingDigestIsReported) {
    OpenSslFaults::fetchDigest = true;
    ExpectUnverifiable({Error("CheckSignature", "OpenSSL digest algorithm SHA1 is missing")});
}

TEST_F(AppPackageFaultsTest, KeyThatCannotBeReadIsReported) {
    OpenSslFaults::getPublicKey = true;
    ExpectUnverifiable({Error("CheckSignature", "Could not read the public key of the developer certificate")});
}

TEST_F(AppPackageFaultsTest, SignatureCheckThatBreaksOffIsNoGoodSignature) {
    OpenSslFaults::verifySignature = true;
    EXPECT_EQ(Verify(), VerificationResult::Corrupt);
    const auto lines = TakeLines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1], Error("CheckSignature", "The application is corrupt because the signature is wrong"));
    EXPECT_EQ(Verify(), VerificationResult::SignatureOk);
}

TEST_F(AppPackageFaultsTest, DeviceIsNotEvenOpened) {
    const Terminal terminal;
    for (const auto links : {RegularFile::Links::Refused, RegularFile::Links::Followed}) {
        EXPECT_FALSE(RegularFile::Open(terminal.GetPath(), links));
    }
    EXPECT_FALSE(terminal.WasOpened());

    close(open(terminal.GetPath().c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC));
    EXPECT_TRUE(terminal.WasOpened());
}

TEST_F(AppPackageFaultsTest, FileThatCannotBeHashedIsReported) {
    FileHasher hasher;
    OpenSslFaults::updateDigest = true;
    EXPECT_FALSE(Zandrel::VerifyHashCode(sut_.File("MyApp.dll"), {}, hasher));
    EXPECT_EQ(TakeLines(),
              (std::vector<LogLine>{Error("VerifyHashCode", "Could not read file for SHA256 calculation: " +
                                                                sut_.File("MyApp.dll").string())}));
}

TEST_F(AppPackageFaultsTest, HasherWithoutADigestFails) {
    OpenSslFaults::fetchDigest = true;
    FileHasher sut;
    EXPECT_EQ(std::get<FileHasher::Failure>(sut.Hash(sut_.File("MyApp.dll"))), FileHasher::Failure::CannotRead);
}

TEST_F(AppPackageFaultsTest, MissingMemoryForADigestIsNoCorruption) {
    OpenSslFaults::newDigestContext = 1;
    ExpectUnverifiable({Error("CheckSignature", "Could not allocate a digest context")});
    OpenSslFaults::newDigestContext = 2;
    ExpectUnverifiable({Error("VerifyAppPackage", "Could not prepare the SHA256 calculation")});
    EXPECT_EQ(Verify(), VerificationResult::SignatureOk);
}

TEST_F(AppPackageFaultsTest, LimitsThemselvesAreAllowed) {
    const filesystem::path file = sut_.File("MyApp.dll");
    const auto size = static_cast<std::size_t>(filesystem::file_size(file));
    EXPECT_TRUE(std::holds_alternative<Zandrel::Sha256Digest>(FileHasher({}, size).Hash(file)));
    EXPECT_EQ(std::get<FileHasher::Failure>(FileHasher({}, size - 1).Hash(file)), FileHasher::Failure::TooLarge);
    EXPECT_TRUE(Zandrel::ReadWholeFile(file, RegularFile::Links::Refused, size));
    EXPECT_FALSE(Zandrel::ReadWholeFile(file, RegularFile::Links::Refused, size - 1));
}

TEST_F(AppPackageFaultsTest, LimitIsThatOfAllFilesTogether) {
    FileHasher sut({}, 10);
    EXPECT_TRUE(std::holds_alternative<Zandrel::Sha256Digest>(sut.Hash(sut_.File("MyApp.dll"))));
    EXPECT_EQ(std::get<FileHasher::Failure>(sut.Hash(sut_.File("lib/Helper.dll"))), FileHasher::Failure::TooLarge);
    EXPECT_TRUE(std::holds_alternative<Zandrel::Sha256Digest>(sut.Hash(sut_.File("data/empty"))));
}

TEST_F(AppPackageFaultsTest, FileThatGrowsWhileItIsReadKeepsToTheLimit) {
    // Its size is 0 and its content is not.
    FileHasher sut({}, 10);
    EXPECT_EQ(std::get<FileHasher::Failure>(sut.Hash("/proc/self/status")), FileHasher::Failure::TooLarge);
}

TEST_F(AppPackageFaultsTest, EntryThatHasChangedItsKindIsReported) {
    ListedPaths listed;
    for (const char* const name : {"MyApp.dll/x", "data/de", "data/empty", "lib/Helper.dll", "appfiles.xml",
                                   "appfiles.xml.SHA256.sig", "sdk.crt"}) {
        listed.AddFile(name);
    }
    EXPECT_FALSE(Zandrel::LookForAdditionalFiles(sut_.Directory(), listed));
    EXPECT_THAT(TakeLines(),
                testing::UnorderedElementsAre(
                    Error("LookForAdditionalFiles", "Regular file expected, found directory: MyApp.dll"),
                    Error("LookForAdditionalFiles", "Directory file expected, found regular file: data/de")));
}

TEST_F(AppPackageFaultsTest, DirectoriesWithoutEndAboveFewFilesAreReported) {
    constexpr int Levels = 2000;
    std::string deep;
    for (int level = 0; level < Levels; ++level) {
        deep += "/x";
    }
    ListedPaths sut;
    int files = 0;
    while (files < Levels && sut.AddFile(std::to_string(files) + deep)) {
        ++files;
    }
    EXPECT_GE(files, 1);
    EXPECT_LE(files, 5);
    EXPECT_EQ(TakeLines(), (std::vector<LogLine>{Error("AddFile", "Too many directories above the listed files")}));
}

TEST_F(AppPackageFaultsTest, DirectoryThatCannotBeListedIsReported) {
    EXPECT_FALSE(Zandrel::LookForAdditionalFiles(sut_.File("none"), ListedPaths()));
    EXPECT_EQ(TakeLines(),
              (std::vector<LogLine>{Error("LookForAdditionalFiles", "Could not enumerate the directory entries of " +
                                                                        sut_.File("none").string())}));
}

TEST_F(AppPackageFaultsTest, DirectoryBelowThatCannotBeListedIsReportedLikeItsNeighbours) {
    constexpr int Levels = 15;  // the next one makes the path longer than the system takes
    const std::string name(NAME_MAX, 'd');
    std::string deep = name;
    for (int i = 1; i < Levels; ++i) {
        deep += "/" + name;
    }
    const std::string last = deep + "/" + name;
    boost::filesystem::create_directories(sut_.File(deep));
    const int parent = open(sut_.File(deep).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(mkdirat(parent, name.c_str(), S_IRWXU), 0);
    ListedPaths listed;
    for (const std::string& file :
         std::vector<std::string>{"MyApp.dll", "data/de/texts.txt", "data/empty", "lib/Helper.dll", "appfiles.xml",
                                  "appfiles.xml.SHA256.sig", "sdk.crt", last + "/file"}) {
        listed.AddFile(file);
    }

    EXPECT_FALSE(Zandrel::LookForAdditionalFiles(sut_.Directory(), listed));

    EXPECT_EQ(TakeLines(), (std::vector<LogLine>{Error("LookForAdditionalFiles",
                                                       "Could not enumerate the directory entries of " + last)}));
    EXPECT_EQ(unlinkat(parent, name.c_str(), AT_REMOVEDIR), 0);
    close(parent);
}

TEST_F(AppPackageFaultsTest, LackOfMemoryAtAnyPointIsNeitherCorruptionNorTheEnd) {
    const filesystem::path fileList = sut_.FileList();
    const filesystem::path caFile = sut_.CaFile();
    for (unsigned good = 0;; ++good) {
        const TestSupport::AllocationFault fault(good);
        const VerificationResult result = Zandrel::VerifyAppPackage(fileList, caFile);
        if (!fault.HasHappened()) {
            EXPECT_EQ(result, VerificationResult::SignatureOk);
            break;
        }
        EXPECT_EQ(result, VerificationResult::Unverifiable) << good;
    }
}

TEST_F(AppPackageFaultsTest, NothingIsLeftInTheErrorQueue) {
    sut_.Write("sdk.crt", "no certificate");
    EXPECT_EQ(Verify(), VerificationResult::Unverifiable);
    EXPECT_EQ(ERR_peek_error(), 0U);
}

}  // namespace
