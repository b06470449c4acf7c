#include "LogFollower.h"

#include <sys/stat.h>

#include <utility>

namespace EndToEnd {

std::vector<std::string> LogFollower::TakeNew() {
    std::vector<std::string> lines;
    for (std::string line; NextLine(line);) {
        lines.push_back(line);
    }
    return lines;
}

bool LogFollower::WaitFor(const std::string& part, Milliseconds limit) {
    return WaitUntil(
        [this, &part] {
            for (std::string line; NextLine(line);) {
                if (line.find(part) != std::string::npos) {
                    return true;
                }
            }
            return false;
        },
        limit);
}

bool LogFollower::NextLine(std::string& line) {
    // First: once the file has another name, nothing more is written to it.
    const bool hasRolled = HasRolled();
    if (file_ && ReadLine(line)) {
        return true;
    }
    if (file_ && !hasRolled) {
        return false;
    }
    file_.reset(std::fopen(path_.c_str(), "re"));
    return file_ && ReadLine(line);
}

bool LogFollower::ReadLine(std::string& line) {
    std::clearerr(file_.get());  // the end of the file is one only for now
    for (int character = std::getc(file_.get()); character != EOF; character = std::getc(file_.get())) {
        if (character == '\n') {
            line = std::exchange(rest_, {});
            return true;
        }
        rest_ += static_cast<char>(character);
    }
    return false;
}

bool LogFollower::HasRolled() const {
    struct stat followed {};
    struct stat current {};
    return file_ && ::fstat(::fileno(file_.get()), &followed) == 0 && ::stat(path_.c_str(), &current) == 0 &&
           followed.st_ino != current.st_ino;
}

}  // namespace EndToEnd
