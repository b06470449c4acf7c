#include "OrnPackageFaults.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <string>

#include "FileWatch.h"
#include "OrnPackageFixture.h"

namespace {

using namespace OrnPackage;
using testing::AnyOf;
using testing::MatchesRegex;
using testing::StartsWith;

class OrnPackageFaultsTest : public OrnPackageTest {
protected:
    static Outcome RunWithFault(const std::string& fault, const Words& arguments) {
        // Boost's program options do not give back what they have when they fail.
        ChildProcess program(ORN_PACKAGE_WITH_A_FAULT, arguments,
                             {{OrnPackageFaults::Variable, fault}, {"ASAN_OPTIONS", "detect_leaks=0"}});
        return WaitForOutcome(program);
    }
    static void ExpectFailure(const std::string& function, const Words& arguments, const std::string& what) {
        const Outcome outcome = RunWithFault(function, arguments);
        EXPECT_EQ(outcome.status, ExitStatus::Exited(3)) << function;
        EXPECT_THAT(outcome.output, IsEmpty()) << function;
        EXPECT_THAT(outcome.error, ElementsAre("ornpackage: cannot " + what + ": " + OrnPackageFaults::Reason))
            << function;
    }
    Words KeygenCommand() const { return {"keygen", folder_.string(), "--type", "ecdsa"}; }
    std::size_t CountFiles() const {
        std::size_t count = 0;
        for (const char* const name : {"ca.key", "ca.crt", "developer.key", "developer.crt", "app/appfiles.xml",
                                       "app/appfiles.xml.SHA256.sig", "app/sdk.crt"}) {
            count += filesystem::exists(Path(name)) ? 1U : 0U;
        }
        return count;
    }
    /// Where the test is privileged, a user who is not may open what anybody may.
    static Outcome RunUnprivileged(Words arguments) {
        constexpr uid_t Root = 0;
        arguments.insert(arguments.begin(), ORN_PACKAGE_PROGRAM);
        if (geteuid() == Root) {
            const Words nobody{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
            arguments.insert(arguments.begin(), nobody.begin(), nobody.end());
        }
        ChildProcess program("/usr/bin/env", arguments);
        return WaitForOutcome(program);
    }
};

TEST_F(OrnPackageFaultsTest, WhatOpenSslCannotMakeIsNamedAndNoFileIsLeft) {
    ExpectFailure("RAND_bytes", KeygenCommand(), "make a serial number");
    ExpectFailure("X509_set_version", KeygenCommand(), "make a certificate");
    ExpectFailure("X509_NAME_add_entry_by_txt", KeygenCommand(), "make a certificate's name");
    ExpectFailure("X509V3_EXT_conf_nid", KeygenCommand(), "make a certificate's extension");
    ExpectFailure("X509_sign", KeygenCommand(), "make a certificate's signature");
    ExpectFailure("PEM_write_bio_X509", KeygenCommand(), "write a certificate");
    ExpectFailure("PEM_write_bio_PrivateKey", KeygenCommand(), "write a key");
    EXPECT_EQ(CountFiles(), 0U);
}

TEST_F(OrnPackageFaultsTest, KeyThatNoProviderMakesIsToldOf) {
    WriteFile(Path("openssl.cnf"),
              "openssl_conf = all\n[all]\nproviders = known\n[known]\nbase = active\n"
              "[active]\nactivate = 1\n");
    ChildProcess program(ORN_PACKAGE_PROGRAM, KeygenCommand(), {{"OPENSSL_CONF", Path("openssl.cnf")}});
    const Outcome outcome = WaitForOutcome(program);
    EXPECT_EQ(outcome.status, ExitStatus::Exited(3));
    ASSERT_THAT(outcome.error, SizeIs(1));
    EXPECT_THAT(outcome.error.front(), StartsWith("ornpackage: cannot make a key: error:"));
    EXPECT_EQ(CountFiles(), 0U);
}

TEST_F(OrnPackageFaultsTest, SigningThatFailsIsToldOf) {
    MakeKeys();
    ExpectFailure("BIO_new_mem_buf", SignCommand(), "read a key");
    ExpectFailure("EVP_DigestSign", SignCommand(), "sign");
    EXPECT_EQ(CountFiles(), 4U);
}

TEST_F(OrnPackageFaultsTest, LackOfMemoryAtAnyPointIsToldOfAndLeavesAllOrNothing) {
#if defined(ORN_EMULATED)
    constexpr unsigned Step = 50;
#else
    constexpr unsigned Step = 3;
#endif
    MakeKeys();
    std::size_t failures = 0;
    for (unsigned good = 0;; good += Step) {
        SCOPED_TRACE(good);
        const Outcome outcome = RunWithFault(std::to_string(good), SignCommand());
        if (outcome.error == Words{OrnPackageFaults::NoneFailed}) {
            break;
        }
        if (outcome.output.empty()) {
            ++failures;
            EXPECT_EQ(outcome.status, ExitStatus::Exited(3));
            ASSERT_FALSE(outcome.error.empty());
            EXPECT_THAT(outcome.error,
                        AnyOf(ElementsAre("ornpackage: std::bad_alloc"),
                              ElementsAre(MatchesRegex("ornpackage: cannot read .*: Cannot allocate memory")),
                              ElementsAre("Could not verify the app package: std::bad_alloc",
                                          "ornpackage: what was signed could not be checked: nothing is changed")));
            EXPECT_EQ(CountFiles(), 4U);
        } else {
            // How the logging library ends without memory is not the program's affair.
            EXPECT_THAT(outcome.output, ElementsAre("signed 2 files, 12 bytes"));
            EXPECT_THAT(Output(VerifyCommand()), ElementsAre("Signature OK"));
        }
        for (const char* const name : {"appfiles.xml", "appfiles.xml.SHA256.sig", "sdk.crt"}) {
            filesystem::remove(folder_ / "app" / name);
        }
    }
    EXPECT_GT(failures, 0U);
}

TEST_F(OrnPackageFaultsTest, SigningThatTheUserEndsIsDoneAsAWhole) {
    MakeKeys();
    Output(SignCommand());
    WriteFile(Path("app/added.dll"), "more");

    EXPECT_EQ(RunWithFault("rename", SignCommand()).status, ExitStatus::Killed(SIGINT));

    EXPECT_THAT(Output(VerifyCommand()), ElementsAre("Signature OK"));
}

TEST_F(OrnPackageFaultsTest, SignatureOfWhichAPartCannotBeWrittenIsNotBegun) {
    MakeKeys();
    Output(SignCommand());
    filesystem::create_hard_link(Path("app/appfiles.xml"), Path("same list"));

    // In 512 bytes there is room for list and signature and for no certificate.
    const Outcome outcome = RunAfter("ulimit -f 1", SignCommand());

    EXPECT_EQ(outcome.status, ExitStatus::Exited(3));
    EXPECT_THAT(outcome.error,
                ElementsAre("ornpackage: cannot write " + Path("app/sdk.crt.ornpackage") + ": File too large"));
    EXPECT_EQ(filesystem::hard_link_count(Path("app/appfiles.xml")), 2U) << "it is the same file";
    EXPECT_THAT(Output(VerifyCommand()), ElementsAre("Signature OK"));
}

TEST_F(OrnPackageFaultsTest, InstallationThatTheUserEndsHasReplacedAppAndCaOrNeither) {
    filesystem::create_directories(Path("root/opt/userdata/ornApp/1"));
    MakeKeys();
    Output(SignCommand());

    EXPECT_EQ(RunWithFault("renameat2", InstallCommand()).status, ExitStatus::Killed(SIGINT));

    EXPECT_THAT(
        Output({"verify", Path("root/opt/userdata/ornApp/1"), "--ca", Path("root/opt/ostra/etc/programmable/ca.crt")}),
        ElementsAre("Signature OK"));
}

TEST_F(OrnPackageFaultsTest, FolderThatCannotBeReadIsNamed) {
    MakeKeys();
    filesystem::permissions(Path("developer.key"), filesystem::perms(0644));
    filesystem::permissions(Path("app/data"), filesystem::no_perms);
    const Outcome outcome = RunUnprivileged(SignCommand());
    filesystem::permissions(Path("app/data"), filesystem::owner_all);
    EXPECT_EQ(outcome.status, ExitStatus::Exited(3));
    EXPECT_THAT(outcome.error, ElementsAre("ornpackage: cannot read " + Path("app/data/") + ": Permission denied"));
}

TEST_F(OrnPackageFaultsTest, FileThatCannotBeReadIsNamed) {
    MakeKeys();
    filesystem::permissions(Path("developer.key"), filesystem::perms(0644));
    filesystem::permissions(Path("app/MyApp.dll"), filesystem::no_perms);
    const Outcome outcome = RunUnprivileged(SignCommand());
    EXPECT_EQ(outcome.status, ExitStatus::Exited(3));
    EXPECT_THAT(outcome.error, ElementsAre("ornpackage: cannot read " + Path("app/MyApp.dll")));
}

/// A package, or what belongs to it, that is gone once it was checked.
class VanishingFileTest : public OrnPackageFaultsTest {
protected:
    VanishingFileTest() {
        filesystem::create_directory(Path("root"));
        MakeKeys();
        WriteFile(Path("app/large"), "");
        filesystem::resize_file(Path("app/large"), std::uintmax_t{64} << 20U);  // takes the check some time
        Output(SignCommand());
    }

    /// What is said where the file vanishes after its check, in time.
    Words InstallWithout(const std::string& file) const {
        const std::string content = ReadFile(file);
        for (;;) {
            const FileWatch watch(file);
            ChildProcess program(ORN_PACKAGE_PROGRAM, InstallCommand());
            EXPECT_TRUE(watch.WaitFor(IN_CLOSE_NOWRITE));
            filesystem::remove(file);
            const Outcome outcome = WaitForOutcome(program);
            if (!(outcome.status == ExitStatus::Exited(0))) {
                EXPECT_EQ(outcome.status, ExitStatus::Exited(3));
                EXPECT_THAT(outcome.output, ElementsAre("Signature OK"));
                EXPECT_FALSE(filesystem::exists(Path("root/opt/userdata/ornApp/1")));
                return outcome.error;
            }
            WriteFile(file, content);
            filesystem::remove_all(Path("root/opt"));
        }
    }
};

TEST_F(VanishingFileTest, CertificateOfTheCaIsMissedBeforeAnythingIsInstalled) {
    EXPECT_THAT(InstallWithout(Path("ca.crt")),
                ElementsAre("Could not open certificate file " + Path("ca.crt"), "ornpackage: nothing was installed"));
}

TEST_F(VanishingFileTest, FileOfThePackageIsNamed) {
    EXPECT_THAT(InstallWithout(Path("app/sdk.crt")), ElementsAre("ornpackage: cannot read " + Path("app/sdk.crt")));
}

}  // namespace
