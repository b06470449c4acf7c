#pragma once

#include <sys/types.h>

#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <string>

namespace LocalDevice {

/// A new file, open for writing, never one that is there already. All throw `PackageError`, with the system's reason.
class OutputFile {
public:
    /// `permissions`: less what the umask takes away.
    OutputFile(boost::filesystem::path path, mode_t permissions);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void Write(const char* data, std::size_t size);
    void Write(const std::string& content) { Write(content.data(), content.size()); }
    /// What could not be written may be told as late as here.
    void Close();

private:
    [[noreturn]] void ThrowSystemError() const;

    const boost::filesystem::path path_;
    int descriptor_;
};

}  // namespace LocalDevice
