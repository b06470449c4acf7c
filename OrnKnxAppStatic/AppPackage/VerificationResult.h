#pragma once

#include <iosfwd>

namespace Zandrel {

/// What a check of an app package, or one of its steps, comes to. The numbers are part of the interface.
enum class VerificationResult {
    SignatureOk = 0,
    Corrupt = 1,       ///< something in the package is wrong
    Unverifiable = 3,  ///< reading, memory or parsing failed
};

/// Writes the result as text, such as "Signature OK".
std::ostream& operator<<(std::ostream& stream, VerificationResult result);

}  // namespace Zandrel
