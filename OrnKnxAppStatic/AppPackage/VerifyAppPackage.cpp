#include "VerifyAppPackage.h"

#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "AdditionalFiles.h"
#include "DeveloperCertificate.h"
#include "FileList.h"
#include "FileListSignature.h"
#include "HashCodes.h"
#include "ListedPaths.h"
#include "OpenSsl.h"
#include "Orn/Logging.h"
#include "PackageFiles.h"
#include "RegularFile.h"

namespace Zandrel {

using boost::filesystem::path;

VerificationResult VerifyAppPackage(const path& fileList, const path& caCertificate, const HashProgress& progress) try {
    const CleanErrorQueue queue;
    std::optional<std::string> content =
        ReadWholeFile(fileList, RegularFile::Links::Refused, PackageFiles::FileListLimit);
    if (!content) {
        ORN_LOG_GLOBAL(ERROR, "Could not read the app list file");
        return VerificationResult::Unverifiable;
    }
    const path appDirectory = fileList.parent_path();
    const CertificatePointer developer =
        LoadCerfificate(appDirectory / PackageFiles::DeveloperCertificate, RegularFile::Links::Refused);
    if (developer == nullptr) {
        return VerificationResult::Unverifiable;
    }
    const CertificatePointer ca = LoadCerfificate(caCertificate);
    if (ca == nullptr) {
        return VerificationResult::Unverifiable;
    }
    const VerificationResult certificateResult = CheckOfficialDeveloperCertificate(*developer, *ca);
    if (certificateResult != VerificationResult::SignatureOk) {
        return certificateResult;
    }
    const VerificationResult signatureResult =
        CheckSignature(*content, appDirectory / PackageFiles::Signature, *developer);
    if (signatureResult != VerificationResult::SignatureOk) {
        return signatureResult;
    }
    ListedPaths listed;
    FileHasher hasher(progress);
    if (!hasher.IsReady()) {
        ORN_LOG_GLOBAL(ERROR, "Could not prepare the SHA256 calculation");
        return VerificationResult::Unverifiable;
    }
    if (!CheckHashCodes(ParseFileList(std::move(*content)), appDirectory, listed, hasher)) {
        return VerificationResult::Corrupt;
    }
    for (const char* const packageFile : PackageFiles::All) {
        if (listed.Find(packageFile)) {
            ORN_LOG_GLOBAL(ERROR, "This file should not appear in the file list: " << packageFile);
            return VerificationResult::Corrupt;
        }
        if (!listed.AddFile(packageFile)) {
            return VerificationResult::Corrupt;
        }
    }
    if (!LookForAdditionalFiles(appDirectory, listed, progress)) {
        ORN_LOG_GLOBAL(ERROR,
                       "The application is considered corrupt due to additional files that are not in the signed file "
                       "list");
        return VerificationResult::Corrupt;
    }
    return VerificationResult::SignatureOk;
} catch (const FileListError& error) {
    ORN_LOG_GLOBAL(ERROR, "Could not parse the XML file list, error: " << error.what());
    return VerificationResult::Unverifiable;
} catch (const std::exception& error) {
    ORN_LOG_GLOBAL(ERROR, "Could not verify the app package: " << error.what());
    return VerificationResult::Unverifiable;
}

}  // namespace Zandrel
