#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>

namespace Zandrel {

/// What an app directory may hold: every listed file with all directories above it, as paths below the app directory.
class ListedPaths {
public:
    enum class Kind { RegularFile, Directory };

    /// Of all paths together, in bytes of memory: a name of 4,095 bytes can stand for 2,000 directories.
    static constexpr std::size_t SizeLimit = std::size_t{16} << 20U;

    /// Adds a file and its directories. False, with a line in the log, where one of them is already there as the
    /// other kind, or where the paths are larger than `SizeLimit`. `path`: one that `IsPathInsideDirectory`.
    bool AddFile(const std::string& path);

    /// None for a path that was not added.
    std::optional<Kind> Find(const std::string& path) const;

private:
    std::map<std::string, Kind> kinds_;
    std::size_t size_ = 0;  ///< of the paths with their entries
};

/// Whether a name is a relative path in its only form: no component is empty, "." or "..", and none holds a NUL.
bool IsPathInsideDirectory(const std::string& name);

}  // namespace Zandrel
