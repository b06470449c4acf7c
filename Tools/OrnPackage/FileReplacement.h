#pragma once

#include <boost/filesystem/path.hpp>
#include <optional>
#include <string>
#include <vector>

namespace LocalDevice {

/// Writes files in the place of others. What was there before comes back unless it is told to keep them.
class FileReplacement {
public:
    FileReplacement() = default;
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /// Throws `PackageError`.
    void Write(const boost::filesystem::path& path, const std::string& content);
    void Keep() { earlier_.clear(); }

private:
    struct Earlier {
        boost::filesystem::path path;
        std::optional<std::string> content;  ///< none where there was no file
    };

    std::vector<Earlier> earlier_;
};

}  // namespace LocalDevice
