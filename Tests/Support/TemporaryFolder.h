#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

namespace TestSupport {

/// A fresh folder, removed with all that it holds.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const boost::filesystem::path& GetPath() const { return path_; }
    std::string At(const std::string& name) const { return (path_ / name).string(); }

    /// Writes a file and returns its path.
    std::string Write(const std::string& name, const std::string& content) const;

private:
    const boost::filesystem::path path_;
};

}  // namespace TestSupport
