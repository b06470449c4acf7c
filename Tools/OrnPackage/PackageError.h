#pragma once

#include <boost/filesystem/path.hpp>
#include <boost/system/error_code.hpp>
#include <stdexcept>
#include <string>

#include "VerificationResult.h"

namespace LocalDevice {

/// Why a command did not do what it was asked for, in one line once it is printable (`MakePrintable`), with the result
/// that the program ends with.
class PackageError : public std::runtime_error {
public:
    PackageError(Zandrel::VerificationResult result, const std::string& message)
        : std::runtime_error(message), result_(result) {}

    Zandrel::VerificationResult GetResult() const noexcept { return result_; }

private:
    Zandrel::VerificationResult result_;
};

/// The device would not accept the package.
inline PackageError Refused(const std::string& message) {
    return {Zandrel::VerificationResult::Corrupt, message};
}
/// Anything else.
inline PackageError Unexpected(const std::string& message) {
    return {Zandrel::VerificationResult::Unverifiable, message};
}

/// The check at the end of a command does not end as the one at its beginning, and has said why.
inline PackageError ChangedMeanwhile(Zandrel::VerificationResult result, const std::string& participle) {
    return {result, result == Zandrel::VerificationResult::Corrupt
                        ? "the package was changed while it was " + participle
                        : "what was " + participle + " could not be checked: nothing is changed"};
}

/// A file or folder could not be written, with the system's reason.
inline PackageError CannotWrite(const std::string& path, const std::string& reason) {
    return Unexpected("cannot write " + path + ": " + reason);
}

/// Throws that where there is an error.
inline void CheckWritten(const boost::system::error_code& error, const boost::filesystem::path& path) {
    if (error) {
        throw CannotWrite(path.string(), error.message());
    }
}

}  // namespace LocalDevice
