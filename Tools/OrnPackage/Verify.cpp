#include "Verify.h"

#include <iostream>

#include "PackageContent.h"
#include "PackageFiles.h"
#include "PemFiles.h"
#include "Progress.h"
#include "VerifyAppPackage.h"

namespace LocalDevice {

Zandrel::VerificationResult RunVerify(const PackageOptions& options) {
    ExpectCaCertificate(options.ca);
    Progress progress(Progress::IsPossible() ? EstimateBytes(options.directory) : 0);
    const Zandrel::VerificationResult result =
        Zandrel::VerifyAppPackage(options.directory / Zandrel::PackageFiles::FileList, options.ca,
                                  [&progress](std::uint64_t bytes) { progress.Add(bytes); });
    (result == Zandrel::VerificationResult::SignatureOk ? std::cout : std::cerr) << result << '\n';
    return result;
}

}  // namespace LocalDevice
