#include <fcntl.h>
#include <openssl/err.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <climits>

#include "AdditionalFiles.h"
#include "AppPackageFixture.h"
#include "FileHasher.h"
#include "HashCodes.h"
#include "ListedPaths.h"
#include "OpenSslFaults.h"

namespace {

using Zandrel::FileHasher;
using Zandrel::ListedPaths;

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
    boost::filesystem::create_directories(sut_.File(deep));
    const int parent = open(sut_.File(deep).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(mkdirat(parent, name.c_str(), S_IRWXU), 0);
    ListedPaths listed;
    for (const std::string& file :
         std::vector<std::string>{"MyApp.dll", "data/de/texts.txt", "data/empty", "lib/Helper.dll", "appfiles.xml",
                                  "appfiles.xml.SHA256.sig", "sdk.crt", deep + "/" + name + "/file"}) {
        listed.AddFile(file);
    }

    EXPECT_FALSE(Zandrel::LookForAdditionalFiles(sut_.Directory(), listed));

    EXPECT_EQ(TakeLines(),
              (std::vector<LogLine>{Error("LookForAdditionalFiles",
                                          "Could not enumerate the directory entries of " + deep + "/" + name)}));
    EXPECT_EQ(unlinkat(parent, name.c_str(), AT_REMOVEDIR), 0);
    close(parent);
}

TEST_F(AppPackageFaultsTest, NothingIsLeftInTheErrorQueue) {
    sut_.Write("sdk.crt", "no certificate");
    EXPECT_EQ(Verify(), VerificationResult::Unverifiable);
    EXPECT_EQ(ERR_peek_error(), 0U);
}

}  // namespace
