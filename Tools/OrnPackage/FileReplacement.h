#pragma once

#include <boost/filesystem/path.hpp>
#include <optional>
#include <string>
#include <vector>

#include "SignalBlock.h"

namespace LocalDevice {

/// Writes files in the place of others, all or none, whose further names keep what they hold. What was there before
/// comes back unless it is told to keep them. Until they are replaced, and while they come back, signals that end the
/// program wait.
class FileReplacement {
public:
    FileReplacement() = default;
    /// Names on the standard error output what does not come back.
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /// Removes what a run that was killed has left beside a file. Throws `PackageError`.
    static void RemoveDraft(const boost::filesystem::path& path);

    /// Writes a file beside the one in whose place it is to be. Throws `PackageError`.
    void Write(const boost::filesystem::path& path, const std::string& content);
    /// Puts all that were written into their places. Throws `PackageError`.
    void Replace();
    void Keep() noexcept { files_.clear(); }

private:
    struct File {
        boost::filesystem::path path;
        std::optional<std::string> earlier;  ///< none where there was no file
        bool isReplaced = false;
    };

    static void Restore(const File& file);

    std::optional<SignalBlock> block_{std::in_place};
    std::vector<File> files_;
};

}  // namespace LocalDevice
