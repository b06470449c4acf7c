#include "Journal.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/algorithm/string/predicate.hpp>
#include <chrono>
#include <fstream>
#include <regex>

namespace {

constexpr std::chrono::seconds Patience{20};

}  // namespace

Journal::Journal(const std::string& directory)
    : path_(directory + "/journal"), watch_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    inotify_add_watch(watch_, directory.c_str(), IN_CREATE | IN_MODIFY);
}

Journal::~Journal() {
    close(watch_);
}

std::vector<std::string> Journal::Lines() const {
    std::vector<std::string> lines = RawLines();
    for (std::string& line : lines) {
        line = std::regex_replace(line, std::regex(" [0-9]+ start"), " start");
    }
    return lines;
}

bool Journal::Await(const std::string& beginning, long count) const {
    const auto end = std::chrono::steady_clock::now() + Patience;
    while (true) {
        const auto lines = Lines();
        if (std::count_if(lines.begin(), lines.end(), [&beginning](const std::string& line) {
                return boost::starts_with(line, beginning);
            }) >= count) {
            return true;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
        pollfd event{watch_, POLLIN, 0};
        if (left <= 0 || poll(&event, 1, static_cast<int>(left)) == 0) {
            return false;
        }
        std::array<char, 4096> events{};
        while (read(watch_, events.data(), events.size()) > 0) {
        }
    }
}

int Journal::PidOf(const std::string& part) const {
    int pid = 0;
    for (const std::string& line : RawLines()) {
        std::smatch match;
        if (std::regex_match(line, match, std::regex(part + " ([0-9]+) start.*"))) {
            pid = std::stoi(match[1]);
        }
    }
    return pid;
}

std::vector<std::string> Journal::RawLines() const {
    std::ifstream file(path_);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}
