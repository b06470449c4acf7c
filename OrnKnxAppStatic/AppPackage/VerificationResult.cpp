#include "VerificationResult.h"

#include <ostream>

namespace Zandrel {

std::ostream& operator<<(std::ostream& stream, VerificationResult result) {
    switch (result) {
        case VerificationResult::SignatureOk:
            return stream << "Signature OK";
        case VerificationResult::Corrupt:
            return stream << "The application is corrupt";
        case VerificationResult::Unverifiable:
            break;
    }
    return stream << "The application could not be verified due to an unexpected problem";
}

}  // namespace Zandrel
