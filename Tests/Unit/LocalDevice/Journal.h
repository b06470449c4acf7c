#pragma once

#include <string>
#include <vector>

/// A file to which processes append lines, and whose lines a test awaits.
class Journal {
public:
    /// `directory` exists; the file need not.
    explicit Journal(const std::string& directory);
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    /// All lines, process numbers left out.
    std::vector<std::string> Lines() const;

    /// Waits until so many lines begin like this; false when they do not come.
    bool Await(const std::string& beginning, long count) const;

    /// The number of the process that wrote "`part` NUMBER start" last; 0 where none did.
    int PidOf(const std::string& part) const;

private:
    std::vector<std::string> RawLines() const;

    const std::string path_;
    int watch_;  ///< inotify: tells when the folder changes
};
