#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

#include "OpenSsl.h"
#include "VerificationResult.h"

namespace Zandrel {

/// Whether the signature file holds a signature over the SHA-256 sum of `fileList`, made with the key of
/// `developerCertificate`. Logs what is wrong.
VerificationResult CheckSignature(const std::string& fileList, const boost::filesystem::path& signatureFile,
                                  X509& developerCertificate);

}  // namespace Zandrel
