#include "FileHasher.h"

#include <boost/algorithm/hex.hpp>
#include <optional>
#include <utility>

#include "RegularFile.h"

namespace Zandrel {

namespace {

constexpr std::size_t ChunkSize = std::size_t{64} << 10;

}  // namespace

FileHasher::FileHasher(HashProgress progress, std::uint64_t limit)
    : progress_(std::move(progress)),
      digest_(GetSha256()),
      context_(EVP_MD_CTX_new()),
      left_(limit),
      buffer_(ChunkSize) {}

std::variant<Sha256Digest, FileHasher::Failure> FileHasher::Hash(const boost::filesystem::path& path) {
    std::optional<RegularFile> file = RegularFile::Open(path, RegularFile::Links::Refused);
    if (!file) {
        return Failure::CannotOpen;
    }
    if (file->GetSize() > left_) {
        return Failure::TooLarge;
    }
    if (!IsReady() || EVP_DigestInit_ex2(context_.get(), digest_.get(), nullptr) != 1) {
        return Failure::CannotRead;
    }
    for (;;) {
        const std::optional<std::size_t> count = file->Read(buffer_.data(), buffer_.size());
        if (!count) {
            return Failure::CannotRead;
        }
        if (progress_) {
            progress_(*count);
        }
        if (*count == 0) {
            break;
        }
        if (*count > left_) {  // it grows while it is read
            return Failure::TooLarge;
        }
        left_ -= *count;
        if (EVP_DigestUpdate(context_.get(), buffer_.data(), *count) != 1) {
            return Failure::CannotRead;
        }
    }
    Sha256Digest sum{};
    if (EVP_DigestFinal_ex(context_.get(), sum.data(), nullptr) != 1) {
        return Failure::CannotRead;
    }
    return sum;
}

bool ParseSha256(const std::string& text, Sha256Digest& digest) {
    if (text.size() != 2 * digest.size()) {
        return false;
    }
    try {
        boost::algorithm::unhex(text.begin(), text.end(), digest.begin());
    } catch (const boost::algorithm::hex_decode_error&) {
        return false;
    }
    return true;
}

}  // namespace Zandrel
