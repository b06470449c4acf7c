#pragma once

#include <boost/filesystem/path.hpp>
#include <optional>
#include <string>
#include <vector>

namespace LocalDevice {

/// Writes files in the place of others, whose further names keep what they hold. What was there before comes back
/// unless it is told to keep them.
class FileReplacement {
public:
    FileReplacement() = default;
    /// Names on the standard error output what does not come back.
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /// Removes what a run that was killed has left beside a file. Throws `PackageError`.
    static void RemoveDraft(const boost::filesystem::path& path);

    /// Throws `PackageError`; the file is then as it was.
    void Write(const boost::filesystem::path& path, const std::string& content);
    void Keep() noexcept { earlier_.clear(); }

private:
    struct Earlier {
        boost::filesystem::path path;
        std::optional<std::string> content;  ///< none where there was no file
    };

    std::vector<Earlier> earlier_;
};

}  // namespace LocalDevice
