#include <openssl/core_names.h>
#include <openssl/obj_mac.h>

#include <boost/filesystem/operations.hpp>
#include <cstdlib>
#include <ctime>

#include "AppPackageFixture.h"
#include "OpenSslFaults.h"
#include "QuietTerminal.h"

namespace {

using TestSupport::CertificateText;
using TestSupport::GetAuthority;
using TestSupport::Key;
using TestSupport::MakeCertificate;
using TestSupport::MakeDeveloper;
using TestSupport::MakeEcKey;
using TestSupport::MakeRsaKey;
using TestSupport::Signer;
using TestSupport::ToPem;

class CertificateTest : public AppPackageFixture {
protected:
    ~CertificateTest() override {
        OpenSslFaults::clock = 0;
        unsetenv("TZ");
        tzset();
    }

    static void SetTimeZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

    static std::vector<LogLine> Refusal(int code, const std::string& message) {
        return {Error("CheckOfficialDeveloperCertificate", "Developer certificate check failed with return code " +
                                                               std::to_string(code) + ", message: " + message),
                Error("CheckOfficialDeveloperCertificate",
                      "The developer certificate is not derived from the official CA")};
    }

    /// Seals the package with a developer of an authority of this text, which the device trusts.
    void SealAsAuthority(const CertificateText& text, const Key& key = MakeEcKey()) {
        const auto authority = MakeCertificate(text, key, nullptr, key);
        TestSupport::WriteFile(sut_.CaFile(), ToPem(authority));
        sut_.Seal({key, MakeCertificate({}, key, authority, key)});
    }

    /// Seals the package with a certificate of this text.
    void SealWithText(const CertificateText& text) { sut_.Seal(MakeDeveloper(MakeEcKey(), text)); }

    void SealWithExpiry(const char* notAfter) {
        CertificateText text;
        text.notAfter = notAfter;
        SealWithText(text);
    }
};

TEST_F(CertificateTest, RsaKeyIsAccepted) {
    sut_.Seal(MakeDeveloper(MakeRsaKey(2048)));
    ExpectOk();
}

TEST_F(CertificateTest, SignatureOfAnotherRsaKeyIsRefused) {
    sut_.Seal(MakeDeveloper(MakeRsaKey()));
    sut_.Write("appfiles.xml.SHA256.sig", TestSupport::Sign(sut_.Read("appfiles.xml"), MakeRsaKey()));
    EXPECT_EQ(Verify(), VerificationResult::Corrupt);
    const std::vector<LogLine> lines = TakeLines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[0].text, testing::MatchesRegex("CheckSignature \\(SOURCE\\) - The file list signature is "
                                                     "incorrect\\. OpenSSL error: error:[0-9A-F]+:.*"));
    EXPECT_EQ(lines[1], Error("CheckSignature", "The application is corrupt because the signature is wrong"));
}

TEST_F(CertificateTest, SignatureOverAnotherDigestIsRefused) {
    const Signer signer = MakeDeveloper(MakeRsaKey());
    sut_.Seal(signer);
    sut_.Write("appfiles.xml.SHA256.sig", TestSupport::Sign(sut_.Read("appfiles.xml"), signer.key, "SHA512"));
    EXPECT_EQ(Verify(), VerificationResult::Corrupt);
}

TEST_F(CertificateTest, Ed25519KeyIsRefused) {
    const Signer signer = MakeDeveloper(TestSupport::MakeEd25519Key());
    sut_.Write("sdk.crt", ToPem(signer.certificate));
    sut_.Write("appfiles.xml.SHA256.sig", TestSupport::Sign(sut_.Read("appfiles.xml"), signer.key, nullptr));
    EXPECT_EQ(Verify(), VerificationResult::Corrupt);
    const std::vector<LogLine> lines = TakeLines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[0].text, testing::HasSubstr("invalid digest"));
    EXPECT_EQ(lines[1], Error("CheckSignature", "The application is corrupt because the signature is wrong"));
}

TEST_F(CertificateTest, CertificateOfAnotherAuthorityIsRefused) {
    const Key key = MakeEcKey();
    const auto other = MakeCertificate(TestSupport::AuthorityText("Other CA"), key, nullptr, key);
    sut_.Seal({key, MakeCertificate({}, key, other, key)});
    ExpectCorrupt(Refusal(20, "unable to get local issuer certificate"));
}

TEST_F(CertificateTest, CertificateInTheNameOfTheAuthorityIsRefused) {
    const Key key = MakeEcKey();
    const auto impostor = MakeCertificate(TestSupport::AuthorityText("Official CA"), key, nullptr, key);
    sut_.Seal({key, MakeCertificate({}, key, impostor, key)});
    ExpectCorrupt(Refusal(7, "certificate signature failure"));
}

TEST_F(CertificateTest, CertificateThatSignedItselfIsRefused) {
    const Key key = MakeEcKey();
    sut_.Seal({key, MakeCertificate({}, key, nullptr, key)});
    ExpectCorrupt(Refusal(18, "self-signed certificate"));
}

TEST_F(CertificateTest, IntermediateCertificateIsRefused) {
    const Signer intermediate = MakeDeveloper(MakeEcKey(), TestSupport::AuthorityText("Intermediate CA"));
    const Key key = MakeEcKey();
    const Signer signer{key, MakeCertificate({}, key, intermediate.certificate, intermediate.key)};
    sut_.Seal(signer);
    ExpectCorrupt(Refusal(20, "unable to get local issuer certificate"));

    // Only the first certificate of the file counts.
    sut_.Write("sdk.crt", ToPem(signer.certificate) + ToPem(intermediate.certificate));
    ExpectCorrupt(Refusal(20, "unable to get local issuer certificate"));

    // An authority must be a root.
    TestSupport::WriteFile(sut_.CaFile(), ToPem(intermediate.certificate));
    ExpectCorrupt(Refusal(2, "unable to get issuer certificate"));
}

TEST_F(CertificateTest, FurtherCertificatesOfTheFileAreNotLookedAt) {
    const Signer signer = MakeDeveloper(MakeEcKey());
    sut_.Seal(signer);
    const Key key = MakeEcKey();
    const auto further = MakeCertificate({}, key, nullptr, key);
    sut_.Write("sdk.crt", ToPem(signer.certificate) + ToPem(further) + "no certificate at all");
    ExpectOk();
}

TEST_F(CertificateTest, AuthorityThatIsNoneIsRefused) {
    const Key key = MakeEcKey();
    CertificateText text;
    text.name = "No CA";
    text.extensions = {{NID_basic_constraints, "critical,CA:FALSE"}};
    const auto issuer = MakeCertificate(text, key, nullptr, key);
    TestSupport::WriteFile(sut_.CaFile(), ToPem(issuer));
    sut_.Seal({key, MakeCertificate({}, key, issuer, key)});
    EXPECT_EQ(Verify(), VerificationResult::Corrupt);
}

TEST_F(CertificateTest, AuthorityWithoutBasicConstraintsMayBeOne) {
    CertificateText text;
    text.name = "Old CA";
    using Extensions = std::vector<std::pair<int, std::string>>;
    for (const Extensions& extensions :
         {Extensions{{NID_key_usage, "keyCertSign"}}, Extensions{{NID_key_usage, "digitalSignature,keyCertSign"}},
          Extensions{{NID_netscape_cert_type, "sslCA"}}, Extensions{{NID_netscape_cert_type, "emailCA"}},
          Extensions{{NID_netscape_cert_type, "objCA"}}}) {
        text.extensions = extensions;
        SealAsAuthority(text);
        ExpectOk();
    }
    text.extensions.clear();
    text.version = X509_VERSION_1;  // which knows no extensions
    SealAsAuthority(text);
    ExpectOk();
}

TEST_F(CertificateTest, AuthorityThatSaysNothingOfItselfIsRefused) {
    CertificateText text;
    text.name = "No CA";
    using Extensions = std::vector<std::pair<int, std::string>>;
    for (const Extensions& extensions :
         {Extensions{}, Extensions{{NID_subject_key_identifier, "hash"}}, Extensions{{NID_key_usage, "cRLSign"}},
          Extensions{{NID_netscape_cert_type, "server"}},
          Extensions{{NID_netscape_cert_type, "sslCA"}, {NID_basic_constraints, "CA:FALSE"}},
          Extensions{{NID_key_usage, "keyCertSign"}, {NID_basic_constraints, "CA:FALSE"}}}) {
        text.extensions = extensions;
        SealAsAuthority(text);
        EXPECT_EQ(Verify(), VerificationResult::Corrupt);
    }
}

TEST_F(CertificateTest, CertificateThatExpiresBefore2035IsRefused) {
    SealWithExpiry("20341230000000Z");
    ExpectCorrupt(Refusal(10, "certificate has expired"));
}

TEST_F(CertificateTest, AuthorityThatExpiresBefore2035IsRefused) {
    const Key key = MakeEcKey();
    CertificateText text = TestSupport::AuthorityText("Short CA");
    text.notAfter = "20341230000000Z";
    const auto authority = MakeCertificate(text, key, nullptr, key);
    TestSupport::WriteFile(sut_.CaFile(), ToPem(authority));
    sut_.Seal({key, MakeCertificate({}, key, authority, key)});
    ExpectCorrupt(Refusal(10, "certificate has expired"));
}

TEST_F(CertificateTest, CertificateThatIsNotYetValidIn2035IsRefused) {
    CertificateText text;
    text.notBefore = "20350103000000Z";
    SealWithText(text);
    ExpectCorrupt(Refusal(9, "certificate is not yet valid"));
}

/// A time zone, the moment at which 2035 begins there, and a second later.
struct Zone {
    const char* name;
    const char* newYear;
    const char* aSecondLater;
};

TEST_F(CertificateTest, DateIsTheLocalOne) {
    // Names in the POSIX form, which need no time-zone files: west is positive.
    for (const Zone& zone :
         {Zone{"UTC0", "20350101000000Z", "20350101000001Z"}, Zone{"LINT-14", "20341231100000Z", "20341231100001Z"},
          Zone{"IDLW12", "20350101120000Z", "20350101120001Z"}, Zone{"NPT-5:45", "20341231181500Z", "20341231181501Z"},
          // Summer time in January.
          Zone{"AEST-10AEDT,M10.1.0,M4.1.0/3", "20341231130000Z", "20341231130001Z"}}) {
        SCOPED_TRACE(zone.name);
        SetTimeZone(zone.name);
        SealWithExpiry(zone.newYear);
        ExpectCorrupt(Refusal(10, "certificate has expired"));
        SealWithExpiry(zone.aSecondLater);
        ExpectOk();
    }
}

// Where the sizes of time_t differ between this code and libcrypto, another date arrives there.
static_assert(sizeof(std::time_t) == sizeof(long), "that of Debian's libcrypto has this size on each processor");
TEST_F(CertificateTest, DateArrivesInLibcryptoAsItIs) {
    SetTimeZone("UTC0");
    sut_.Seal();
    ExpectOk();
    EXPECT_EQ(OpenSslFaults::checkTime, 2051222400) << "1 January 2035, 00:00:00";
}

TEST_F(CertificateTest, ClockOfTheDevicePlaysNoPart) {
    for (const std::time_t now : {std::time_t{1}, std::time_t{2145916800}}) {  // 1970 and 2038
        OpenSslFaults::clock = now;
        ASSERT_EQ(std::time(nullptr), now);
        sut_.Seal();
        ExpectOk();
        SealWithExpiry("20341230000000Z");
        ExpectCorrupt(Refusal(10, "certificate has expired"));
    }
}

TEST_F(CertificateTest, CertificateThatHasExpiredByTheDevicesClockIsAccepted) {
    OpenSslFaults::clock = std::time_t{2145916800};  // 2038
    SealWithExpiry("20360101000000Z");
    ExpectOk();
}

TEST_F(CertificateTest, CertificateThatIsNotValidTodayIsAccepted) {
    CertificateText text;
    text.notBefore = "20341201000000Z";
    SealWithText(text);
    ExpectOk();
}

TEST_F(CertificateTest, KeyUsageOfTheDeveloperIsNotLookedAt) {
    CertificateText text;
    text.extensions = {{NID_key_usage, "critical,keyEncipherment"}, {NID_ext_key_usage, "critical,serverAuth"}};
    SealWithText(text);
    ExpectOk();
}

TEST_F(CertificateTest, KeyUsageOfTheAuthorityIsLookedAt) {
    const Key key = MakeEcKey();
    CertificateText text = TestSupport::AuthorityText("No signer");
    text.extensions[1].second = "critical,digitalSignature";
    const auto authority = MakeCertificate(text, key, nullptr, key);
    TestSupport::WriteFile(sut_.CaFile(), ToPem(authority));
    sut_.Seal({key, MakeCertificate({}, key, authority, key)});
    EXPECT_EQ(Verify(), VerificationResult::Corrupt);
}

TEST_F(CertificateTest, WeakKeysAreAccepted) {
    sut_.Seal(MakeDeveloper(MakeRsaKey(512)));
    ExpectOk();
    SealAsAuthority(TestSupport::AuthorityText("Weak CA"), MakeRsaKey(512));
    ExpectOk();
}

TEST_F(CertificateTest, DeveloperOfVersion1IsAccepted) {
    CertificateText text;
    text.version = X509_VERSION_1;  // which knows no extensions
    SealWithText(text);
    ExpectOk();
}

TEST_F(CertificateTest, WeakDigestsOfTheAuthorityAreAccepted) {
    const Key key = MakeRsaKey();  // no ECDSA signature has a name with MD5
    const auto authority = MakeCertificate(TestSupport::AuthorityText("RSA CA"), key, nullptr, key);
    TestSupport::WriteFile(sut_.CaFile(), ToPem(authority));
    for (const char* const digest : {"SHA1", "MD5"}) {
        CertificateText text;
        text.digest = digest;
        sut_.Seal({key, MakeCertificate(text, key, authority, key)});
        ExpectOk();
    }
}

TEST_F(CertificateTest, OwnSignatureOfTheAuthorityIsNotLookedAt) {
    const Key key = MakeEcKey();
    const auto authority = MakeCertificate(TestSupport::AuthorityText("CA"), key, nullptr, MakeEcKey());
    TestSupport::WriteFile(sut_.CaFile(), ToPem(authority));
    sut_.Seal({key, MakeCertificate({}, key, authority, key)});
    ExpectOk();
}

TEST_F(CertificateTest, OtherKeysThatSignDigestsAreAccepted) {
    for (const Key& key : {TestSupport::MakeRsaPssKey(), TestSupport::MakeDsaKey()}) {
        sut_.Seal(MakeDeveloper(key));
        ExpectOk();
    }
}

TEST_F(CertificateTest, CurveWithExplicitParametersIsRefused) {
    const Key key = MakeEcKey();
    ASSERT_EQ(EVP_PKEY_set_utf8_string_param(key.get(), OSSL_PKEY_PARAM_EC_ENCODING, OSSL_PKEY_EC_ENCODING_EXPLICIT),
              1);
    sut_.Seal(MakeDeveloper(key));
    ExpectCorrupt(Refusal(94, "Certificate public key has explicit ECC parameters"));
}

TEST_F(CertificateTest, AuthorityItselfMaySign) {
    sut_.Seal(GetAuthority());
    ExpectOk();
}

TEST_F(CertificateTest, IntermediateAuthorityMaySignAsADeveloper) {
    sut_.Seal(MakeDeveloper(MakeEcKey(), TestSupport::AuthorityText("Intermediate CA")));
    ExpectOk();
}

TEST_F(CertificateTest, UnknownCriticalExtensionIsRefused) {
    CertificateText text;
    text.extensions = {{NID_netscape_comment, "critical,unknown"}};
    SealWithText(text);
    ExpectCorrupt(Refusal(34, "unhandled critical extension"));
}

TEST_F(CertificateTest, EncryptedCertificateIsRefusedWithoutAsking) {
    const std::string pem = ToPem(TestSupport::GetDeveloper().certificate);
    const std::size_t line = pem.find('\n') + 1;
    sut_.Write("sdk.crt", pem.substr(0, line) + "Proc-Type: 4,ENCRYPTED\nDEK-Info: AES-128-CBC," +
                              std::string(32, 'A') + "\n\n" + pem.substr(line));
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    ASSERT_EXIT(ExitOnAQuietTerminal(20, [this] { return Verify() == VerificationResult::Unverifiable; }),
                testing::ExitedWithCode(0), "");
    ExpectUnverifiable(
        {Error("LoadCerfificate", "Could not parse the certificate file " + sut_.File("sdk.crt").string())});
}

}  // namespace
