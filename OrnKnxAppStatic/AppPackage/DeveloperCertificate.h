#pragma once

#include <boost/filesystem/path.hpp>

#include "OpenSsl.h"
#include "RegularFile.h"
#include "VerificationResult.h"

namespace Zandrel {

/// Loads the first X.509 certificate of a PEM file; null, with a line in the log, where there is none. `links`: whether
/// a link may stand for the file.
CertificatePointer LoadCerfificate(const boost::filesystem::path& path,
                                   RegularFile::Links links = RegularFile::Links::Followed);

/// Whether `caCertificate` has issued `developerCertificate` and both are valid at a fixed date in 2035. The device's
/// clock plays no part. Logs what is wrong.
VerificationResult CheckOfficialDeveloperCertificate(X509& developerCertificate, X509& caCertificate);

}  // namespace Zandrel
