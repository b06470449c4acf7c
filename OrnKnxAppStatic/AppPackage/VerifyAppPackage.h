#pragma once

#include <boost/filesystem/path.hpp>

#include "FileHasher.h"
#include "VerificationResult.h"

namespace Zandrel {

/// Checks an app package: the developer's certificate comes from the official CA, the developer has signed the file
/// list, and the directory of the list holds the listed files with their listed content and nothing else.
///
/// `fileList`: the package's "appfiles.xml"; `caCertificate`: the CA's certificate, PEM. Logs at ERROR what is wrong.
/// Callable from any thread, several at once; reads up to 256 MiB, blocks on no pipe or device, asks nobody for a
/// password. What is in the package may change after the check. Throws nothing but what `progress` throws, to end it,
/// and what is no `std::exception`: one of these makes the package unverifiable.
VerificationResult VerifyAppPackage(const boost::filesystem::path& fileList,
                                    const boost::filesystem::path& caCertificate, const HashProgress& progress = {});

}  // namespace Zandrel
