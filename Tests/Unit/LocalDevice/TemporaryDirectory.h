#pragma once

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>
#include <fstream>
#include <string>

/// A fresh folder that goes away with everything in it.
class TemporaryDirectory {
public:
    TemporaryDirectory()
        : path_(boost::filesystem::temp_directory_path() / boost::filesystem::unique_path("orn-test-%%%%-%%%%-%%%%")) {
        boost::filesystem::create_directory(path_);
    }
    ~TemporaryDirectory() {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::string Path(const std::string& name) const { return (path_ / name).string(); }

    /// Writes a file and returns its path.
    std::string Write(const std::string& name, const std::string& content) const {
        std::ofstream(Path(name), std::ios::binary) << content;
        return Path(name);
    }

private:
    boost::filesystem::path path_;
};
