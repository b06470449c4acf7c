/// The certificate loader, and the chain check of what it loads. An input is a PEM file, or the DER that is put in one.

#include <openssl/err.h>
#include <openssl/pem.h>

#include "CapturingAppender.h"
#include "DeveloperCertificate.h"
#include "FuzzTarget.h"

namespace {

using Fuzz::Require;
using Zandrel::CertificatePointer;
using Zandrel::VerificationResult;

constexpr char DerSequence = 0x30;

std::string TakeContent(BIO& bio) {
    char* content = nullptr;
    const long size = BIO_get_mem_data(&bio, &content);
    return {content, static_cast<std::size_t>(size)};
}

std::string ToPem(const std::string& der) {
    const Zandrel::BioPointer bio(BIO_new(BIO_s_mem()));
    PEM_write_bio(bio.get(), PEM_STRING_X509, "", reinterpret_cast<const unsigned char*>(der.data()),
                  static_cast<long>(der.size()));
    return TakeContent(*bio);
}

std::string ToPem(X509& certificate) {
    const Zandrel::BioPointer bio(BIO_new(BIO_s_mem()));
    Require(PEM_write_bio_X509(bio.get(), &certificate) == 1, "a certificate that was loaded can be written");
    return TakeContent(*bio);
}

CertificatePointer Load(const std::string& pem) {
    const Fuzz::MemoryFile file(pem);
    return Zandrel::LoadCerfificate(file.GetPath());
}

void CheckChain(X509& certificate) {
    static const CertificatePointer authority = Zandrel::LoadCerfificate(ORN_FUZZ_AUTHORITY);
    Require(authority != nullptr, "the authority's certificate is loaded");
    const VerificationResult result = Zandrel::CheckOfficialDeveloperCertificate(certificate, *authority);
    Require(result == VerificationResult::SignatureOk || result == VerificationResult::Corrupt,
            "a certificate is good or not");
    Require(result != VerificationResult::SignatureOk || X509_cmp(&certificate, authority.get()) == 0 ||
                X509_verify(&certificate, X509_get0_pubkey(authority.get())) == 1,
            "only what the authority has signed is good");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static TestSupport::GlobalLogCapture log;
    log.TakeLines();
    ERR_clear_error();
    const std::string input = Fuzz::Input(data, size).TakeRest();
    const CertificatePointer certificate = Load(size > 0 && input.front() == DerSequence ? ToPem(input) : input);
    if (certificate == nullptr) {
        Require(log.GetLines().size() == 1, "a certificate that is not loaded has one line in the log");
        return 0;
    }
    const CertificatePointer again = Load(ToPem(*certificate));
    Require(again != nullptr && X509_cmp(certificate.get(), again.get()) == 0,
            "a certificate that is written reads back as the same one");
    CheckChain(*certificate);
    return 0;
}
