#pragma once

/// Failures that are made in `ornpackage-with-a-fault`.
namespace OrnPackageFaults {

/// Names in the environment what fails: a function of OpenSSL, the number of allocations before the one that does, or
/// "rename" or "renameat2", at whose calls the user ends the program.
inline constexpr const char* Variable = "ORN_TEST_FAULT";

/// What a function of OpenSSL says that fails.
inline constexpr const char* Reason = "error:400C0100:lib(128)::malloc failure";

/// What the program says at its end where no allocation failed.
inline constexpr const char* NoneFailed = "No allocation failed";

}  // namespace OrnPackageFaults
