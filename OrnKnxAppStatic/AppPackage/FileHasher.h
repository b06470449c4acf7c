#pragma once

#include <array>
#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "OpenSsl.h"

namespace Zandrel {

using Sha256Digest = std::array<unsigned char, 32>;

/// Hears of each number of bytes that was hashed. Called on the hashing thread, every 64 KiB at the latest, and with 0
/// at the end of each file and at each entry of the package's directories. What it throws ends the check.
using HashProgress = std::function<void(std::uint64_t bytes)>;

/// Calculates the SHA-256 sums of files, one after the other, in constant memory. Used by one thread.
class FileHasher {
public:
    enum class Failure { CannotOpen, CannotRead, TooLarge };

    /// The bytes of all files of one package: more than an app has. What is larger would keep the device busy for long.
    static constexpr std::uint64_t PackageLimit = std::uint64_t{256} << 20;

    /// `limit`: of the bytes of all files together.
    explicit FileHasher(HashProgress progress = {}, std::uint64_t limit = PackageLimit);

    /// False where OpenSSL had no digest or no memory for it; every file is `CannotRead` then.
    bool IsReady() const { return digest_ != nullptr && context_ != nullptr; }

    /// The sum of a regular file, never of what a link points to.
    std::variant<Sha256Digest, Failure> Hash(const boost::filesystem::path& path);

private:
    const HashProgress progress_;
    const DigestPointer digest_;
    const DigestContextPointer context_;
    std::uint64_t left_;  ///< of the limit
    std::vector<char> buffer_;
};

/// Reads 64 hexadecimal digits of either case; false, and `digest` is of no use, for any other text.
bool ParseSha256(const std::string& text, Sha256Digest& digest);

}  // namespace Zandrel
