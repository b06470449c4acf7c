#include "VerifyAppPackage.h"

#include <openssl/err.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/filesystem/operations.hpp>
#include <sstream>

#include "AppPackageFixture.h"

namespace {

namespace filesystem = boost::filesystem;
using TestSupport::FileElement;
using TestSupport::FileListOf;
using TestSupport::Sha256Of;
using TestSupport::ToPem;

int MakeSocket(const filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.string().copy(&address.sun_path[0], sizeof address.sun_path - 1);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return descriptor;
}

class VerifyAppPackageTest : public AppPackageFixture {
protected:
    /// A listed file that is something else by now.
    LogLine CannotOpen(const std::string& name) {
        return Error("VerifyHashCode", "Could not open file for SHA256 calculation: " + sut_.File(name).string());
    }
};

TEST_F(VerifyAppPackageTest, ResultsHaveTheirTextsAndNumbers) {
    const auto text = [](VerificationResult result) {
        std::ostringstream stream;
        stream << static_cast<int>(result) << ' ' << result;
        return stream.str();
    };
    EXPECT_EQ(text(VerificationResult::SignatureOk), "0 Signature OK");
    EXPECT_EQ(text(VerificationResult::Corrupt), "1 The application is corrupt");
    EXPECT_EQ(text(VerificationResult::Unverifiable),
              "3 The application could not be verified due to an unexpected problem");
}

TEST_F(VerifyAppPackageTest, SignedPackageIsOk) {
    ExpectOk();
}

TEST_F(VerifyAppPackageTest, FileThatWasAddedAfterSigningIsFound) {
    sut_.Write("data/de/added.txt", "new");
    sut_.Write("added.dll", "new");
    ExpectAdditional({"Found unexpected file data/de/added.txt", "Found unexpected file added.dll"});
}

TEST_F(VerifyAppPackageTest, OneChangedByteIsFound) {
    sut_.Write("MyApp.dll", "the bpp");
    ExpectCorrupt({Error("VerifyHashCode", "The SHA256 sum does not match: " + sut_.File("MyApp.dll").string())});
}

TEST_F(VerifyAppPackageTest, UppercaseDigestIsAccepted) {
    std::string list = sut_.Entries();
    const std::string digest = Sha256Of("the app");
    list.replace(list.find(digest), digest.size(), boost::algorithm::to_upper_copy(digest));
    sut_.Seal(FileListOf(list));
    ExpectOk();
}

TEST_F(VerifyAppPackageTest, EmptyListWithTheThreePackageFilesIsOk) {
    filesystem::remove_all(sut_.Directory());
    sut_.Seal(FileListOf(""));
    ExpectOk();
}

TEST_F(VerifyAppPackageTest, MissingFileListIsReported) {
    filesystem::remove(sut_.FileList());
    ExpectUnverifiable({Error("VerifyAppPackage", "Could not read the app list file")});
}

TEST_F(VerifyAppPackageTest, FileListThatIsTooLargeIsNotRead) {
    filesystem::resize_file(sut_.FileList(), 100 << 20);
    ExpectUnverifiable({Error("VerifyAppPackage", "Could not read the app list file")});
}

TEST_F(VerifyAppPackageTest, LinkInThePlaceOfTheDeveloperCertificateIsNotFollowed) {
    filesystem::rename(sut_.File("sdk.crt"), sut_.Outside() / "sdk.crt");
    filesystem::create_symlink(sut_.Outside() / "sdk.crt", sut_.File("sdk.crt"));
    ExpectUnverifiable({Error("LoadCerfificate", "Could not open certificate file " + sut_.File("sdk.crt").string())});
}

TEST_F(VerifyAppPackageTest, MissingDeveloperCertificateIsReported) {
    filesystem::remove(sut_.File("sdk.crt"));
    ExpectUnverifiable({Error("LoadCerfificate", "Could not open certificate file " + sut_.File("sdk.crt").string())});
}

TEST_F(VerifyAppPackageTest, MissingCaCertificateIsReported) {
    filesystem::remove(sut_.CaFile());
    ExpectUnverifiable({Error("LoadCerfificate", "Could not open certificate file " + sut_.CaFile().string())});
}

TEST_F(VerifyAppPackageTest, CertificateThatIsNoneIsReported) {
    sut_.Write("sdk.crt", "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n");
    ExpectUnverifiable(
        {Error("LoadCerfificate", "Could not parse the certificate file " + sut_.File("sdk.crt").string())});
}

TEST_F(VerifyAppPackageTest, CaCertificateMayBeALink) {
    const filesystem::path link = sut_.Outside() / "link.crt";
    filesystem::create_symlink(sut_.CaFile(), link);
    EXPECT_EQ(Zandrel::VerifyAppPackage(sut_.FileList(), link), VerificationResult::SignatureOk);
}

TEST_F(VerifyAppPackageTest, MissingSignatureIsReported) {
    filesystem::remove(sut_.File("appfiles.xml.SHA256.sig"));
    ExpectUnverifiable({Error("CheckSignature", "Could not read the signature file")});
}

TEST_F(VerifyAppPackageTest, ListThatWasChangedAfterSigningIsCorrupt) {
    sut_.Write("appfiles.xml", sut_.Read("appfiles.xml") + "\n");
    ExpectCorrupt({Error("CheckSignature",
                         "The file list signature is incorrect. OpenSSL error: error:00000000:lib(0)::reason(0)"),
                   Error("CheckSignature", "The application is corrupt because the signature is wrong")});
}

TEST_F(VerifyAppPackageTest, ErrorOfAnotherUserOfOpenSslIsNotReported) {
    sut_.Write("appfiles.xml", sut_.Read("appfiles.xml") + "\n");
    ERR_raise(ERR_LIB_USER, ERR_R_INTERNAL_ERROR);
    EXPECT_EQ(Verify(), VerificationResult::Corrupt);
    EXPECT_EQ(TakeLines()[0],
              Error("CheckSignature",
                    "The file list signature is incorrect. OpenSSL error: error:00000000:lib(0)::reason(0)"));
}

TEST_F(VerifyAppPackageTest, ErrorOfAnotherUserOfOpenSslDoesNotFailAGoodPackage) {
    ERR_raise(ERR_LIB_USER, ERR_R_INTERNAL_ERROR);
    ExpectOk();
}

TEST_F(VerifyAppPackageTest, SignatureThatIsNoneIsCorrupt) {
    // NOLINTNEXTLINE(modernize-raw-string-literal): a byte of ASN.1, and no digit
    for (const std::string signature : {"", "\x30", "no signature at all"}) {
        sut_.Write("appfiles.xml.SHA256.sig", signature);
        EXPECT_EQ(Verify(), VerificationResult::Corrupt);
        const std::vector<LogLine> lines = TakeLines();
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_THAT(lines[0].text, testing::StartsWith("CheckSignature (SOURCE) - The file list signature is "
                                                       "incorrect. OpenSSL error: error:"));
        EXPECT_EQ(lines[1], Error("CheckSignature", "The application is corrupt because the signature is wrong"));
    }
}

TEST_F(VerifyAppPackageTest, ListThatIsNoXmlIsReported) {
    sut_.Seal("<Files><File></Files>");
    ExpectUnverifiable(
        {Error("VerifyAppPackage", "Could not parse the XML file list, error: invalid closing tag name")});
}

TEST_F(VerifyAppPackageTest, EntryWithoutSumIsReported) {
    sut_.SealWith("<File><Name>MyApp.dll</Name></File>");
    ExpectCorrupt({Error("CheckHashCodes", "File SHA256 element missing")});
}

TEST_F(VerifyAppPackageTest, SumThatIsNoneIsReported) {
    for (const std::string& sum :
         {std::string(), std::string(63, 'a'), std::string(65, 'a'), std::string(63, 'a') + 'g', " " + Sha256Of(""),
          std::string(62, 'a') + "\xC3\xA4", "0x" + std::string(62, 'a')}) {
        sut_.SealWith(FileElement("MyApp.dll", sum));
        ExpectCorrupt(
            {Error("CheckHashCodes", "The SHA256 element does not contain a hexidecimal integer of the correct size")});
    }
}

TEST_F(VerifyAppPackageTest, SumIsLookedAtBeforeTheName) {
    sut_.SealWith("<File/>");
    ExpectCorrupt({Error("CheckHashCodes", "File SHA256 element missing")});
}

TEST_F(VerifyAppPackageTest, EntryWithoutNameIsReported) {
    for (const std::string name : {"", "<Name/>", "<Name></Name>", "<Name><b>MyApp.dll</b></Name>"}) {
        sut_.SealWith("<File>" + name + "<Sha256>" + Sha256Of("") + "</Sha256></File>");
        ExpectCorrupt({Error("CheckHashCodes", "File name element missing")});
    }
}

TEST_F(VerifyAppPackageTest, NameThatIsNoPathInsideIsReported) {
    for (const std::string name : {".", "..", "/", "//", "./MyApp.dll", "a/../MyApp.dll", "data//empty", "/etc/passwd",
                                   "data/", "../app/MyApp.dll", "data/./empty"}) {
        sut_.SealWith(FileElement(name, Sha256Of("")));
        ExpectCorrupt({Error("CheckHashCodes", "File name is not a path inside the app directory: " + name)});
    }
}

TEST_F(VerifyAppPackageTest, NameThatIsTooLongIsReported) {
    sut_.SealWith(FileElement(std::string(4096, 'a'), Sha256Of("")));
    ExpectCorrupt({Error("CheckHashCodes", "File name too long: 4096 bytes")});
}

TEST_F(VerifyAppPackageTest, ListedFileThatIsMissingIsReported) {
    filesystem::remove(sut_.File("data/empty"));
    ExpectCorrupt({CannotOpen("data/empty")});
}

TEST_F(VerifyAppPackageTest, ListedFileThatIsNoRegularFileIsReported) {
    const filesystem::path file = sut_.File("MyApp.dll");
    filesystem::remove(file);
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    ExpectCorrupt({CannotOpen("MyApp.dll")});

    filesystem::remove(file);
    TestSupport::WriteFile(sut_.Outside() / "MyApp.dll", "the app");
    filesystem::create_symlink(sut_.Outside() / "MyApp.dll", file);
    ExpectCorrupt({CannotOpen("MyApp.dll")});

    filesystem::remove(file);
    filesystem::create_directory(file);
    ExpectCorrupt({CannotOpen("MyApp.dll")});
}

TEST_F(VerifyAppPackageTest, PackageThatIsTooLargeIsNotRead) {
    filesystem::resize_file(sut_.File("MyApp.dll"), (std::uintmax_t{1} << 30) + 1);
    ExpectCorrupt(
        {Error("VerifyHashCode", "Too many bytes for SHA256 calculation: " + sut_.File("MyApp.dll").string())});
}

TEST_F(VerifyAppPackageTest, ListedFileThatIsADirectoryToo) {
    sut_.SealWith(FileElement("MyApp.dll/more", Sha256Of("")));
    ExpectCorrupt({Error("AddFile", "Is both regular file and directory: MyApp.dll")});

    sut_.SealWith(FileElement("data", Sha256Of("")));
    ExpectCorrupt({Error("AddFile", "Is both regular file and directory: data")});
}

TEST_F(VerifyAppPackageTest, FileThatIsListedTwiceIsCheckedTwice) {
    sut_.SealWith(FileElement("MyApp.dll", Sha256Of("the app")));
    ExpectOk();

    sut_.SealWith(FileElement("MyApp.dll", Sha256Of("another app")));
    ExpectCorrupt({Error("VerifyHashCode", "The SHA256 sum does not match: " + sut_.File("MyApp.dll").string())});
}

TEST_F(VerifyAppPackageTest, PackageFilesMustNotBeListed) {
    sut_.SealWith(FileElement("sdk.crt", Sha256Of(ToPem(TestSupport::GetDeveloper().certificate))));
    ExpectCorrupt({Error("VerifyAppPackage", "This file should not appear in the file list: sdk.crt")});
}

TEST_F(VerifyAppPackageTest, UnexpectedDirectoryIsReportedAndNotEntered) {
    sut_.Write("more/file", "");
    filesystem::create_directories(sut_.File("data/none"));
    ExpectAdditional({"Found unexpected directory more", "Found unexpected directory data/none"});
}

TEST_F(VerifyAppPackageTest, OtherKindsOfFileAreReported) {
    ASSERT_EQ(mkfifo(sut_.File("data/pipe").c_str(), 0600), 0);
    const int socket = MakeSocket(sut_.File("data/socket"));
    filesystem::create_symlink("MyApp.dll", sut_.File("link"));
    filesystem::create_symlink("data", sut_.File("lib/link"));
    ExpectAdditional({"File has unexpected type data/pipe", "File has unexpected type data/socket",
                      "File has unexpected type link", "File has unexpected type lib/link"});
    close(socket);
}

TEST_F(VerifyAppPackageTest, ListedDirectoryThatIsALinkIsReported) {
    filesystem::rename(sut_.File("data"), sut_.Outside() / "data");
    filesystem::create_symlink(sut_.Outside() / "data", sut_.File("data"));
    ExpectAdditional({"File has unexpected type data"});
}

TEST_F(VerifyAppPackageTest, ProgressIsTheBytesThatWereHashed) {
    std::uint64_t bytes = 0;
    EXPECT_EQ(Zandrel::VerifyAppPackage(sut_.FileList(), sut_.CaFile(), [&](std::uint64_t more) { bytes += more; }),
              VerificationResult::SignatureOk);
    EXPECT_EQ(bytes, std::string("the appGuten Taghelp").size());
}

TEST_F(VerifyAppPackageTest, ProgressIsReportedOftenAndForEachFile) {
    const std::string large(std::size_t{1} << 20, 'a');
    sut_.Write("large", large);
    sut_.SealWith(TestSupport::FileElement("large", TestSupport::Sha256Of(large)));
    std::vector<std::uint64_t> reports;
    EXPECT_EQ(Zandrel::VerifyAppPackage(sut_.FileList(), sut_.CaFile(),
                                        [&](std::uint64_t bytes) { reports.push_back(bytes); }),
              VerificationResult::SignatureOk);
    EXPECT_LE(*std::max_element(reports.begin(), reports.end()), std::uint64_t{64} << 10);
    EXPECT_EQ(std::count(reports.begin(), reports.end(), 0), 5 + 11)
        << "files of the list and entries of the directories";
}

TEST_F(VerifyAppPackageTest, ListenerCanEndTheCheck) {
    struct Enough {};
    EXPECT_THROW(Zandrel::VerifyAppPackage(sut_.FileList(), sut_.CaFile(), [](std::uint64_t) { throw Enough(); }),
                 Enough);
    EXPECT_TRUE(TakeLines().empty());
}

TEST_F(VerifyAppPackageTest, ListenerCanEndTheLookForAdditionalFiles) {
    for (int i = 0; i < 10; ++i) {
        sut_.Write("extra" + std::to_string(i), "");
    }
    struct Enough {};
    EXPECT_THROW(Zandrel::VerifyAppPackage(sut_.FileList(), sut_.CaFile(),
                                           [this](std::uint64_t) {
                                               if (!log_.GetLines().empty()) {
                                                   throw Enough();
                                               }
                                           }),
                 Enough);
    EXPECT_THAT(TakeLines(), testing::SizeIs(1));
}

TEST_F(VerifyAppPackageTest, ExceptionOfTheListenerIsContained) {
    const auto result = Zandrel::VerifyAppPackage(sut_.FileList(), sut_.CaFile(),
                                                  [](std::uint64_t) { throw std::runtime_error("no more"); });
    EXPECT_EQ(result, VerificationResult::Unverifiable);
    EXPECT_EQ(TakeLines(),
              (std::vector<LogLine>{Error("VerifyAppPackage", "Could not verify the app package: no more")}));
}

}  // namespace
