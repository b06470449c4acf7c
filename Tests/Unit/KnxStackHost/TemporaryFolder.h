#pragma once

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>

/// A fresh folder, removed with all it holds.
class TemporaryFolder {
public:
    TemporaryFolder() { boost::filesystem::create_directory(path_); }
    ~TemporaryFolder() {
        boost::system::error_code ignored;  // what is left behind harms nobody
        boost::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const boost::filesystem::path& GetPath() const { return path_; }

private:
    const boost::filesystem::path path_ =
        boost::filesystem::temp_directory_path() / boost::filesystem::unique_path("stackhost-%%%%-%%%%");
};
