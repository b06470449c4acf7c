#include "LogFollower.h"

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
    if (!file_.is_open()) {
        file_.open(path_);
    }
    file_.clear();  // the end of the file is one only for now
    std::getline(file_, line);
    line.insert(0, rest_);
    if (file_.eof() || !file_) {
        rest_ = line;
        return false;
    }
    rest_.clear();
    return true;
}

}  // namespace EndToEnd
