#pragma once

#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace Zandrel {

/// A regular file, open for reading. Nothing else is ever opened, and no call blocks on a pipe or a device. Movable;
/// a moved-from file is only good for being destroyed.
class RegularFile {
public:
    /// Whether a symbolic link may stand for the file. Links in the directories before it are always followed.
    enum class Links { Followed, Refused };

    /// None where the path cannot be opened or is no regular file.
    static std::optional<RegularFile> Open(const boost::filesystem::path& path, Links links);

    ~RegularFile();
    RegularFile(RegularFile&& other) noexcept;
    RegularFile& operator=(RegularFile&&) = delete;
    RegularFile(const RegularFile&) = delete;
    RegularFile& operator=(const RegularFile&) = delete;

    /// In bytes, as it was when the file was opened.
    std::uint64_t GetSize() const noexcept { return size_; }

    /// Reads the next bytes, `size` at most, and returns their number; 0 at the end, none on an error.
    std::optional<std::size_t> Read(char* buffer, std::size_t size);

private:
    RegularFile(int descriptor, std::uint64_t size) noexcept : descriptor_(descriptor), size_(size) {}

    int descriptor_;
    std::uint64_t size_;
};

/// The whole content of a regular file; none where it cannot be read or is larger than `limit` bytes.
std::optional<std::string> ReadWholeFile(const boost::filesystem::path& path, RegularFile::Links links,
                                         std::size_t limit);

}  // namespace Zandrel
