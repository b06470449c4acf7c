#include "Children.h"

#include <algorithm>
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <sstream>
#include <string>

namespace TestSupport {

namespace fs = boost::filesystem;

namespace {

struct Status {
    char state = 0;
    pid_t parent = 0;
    pid_t group = 0;
};

/// What /proc/PID/stat (see proc(5)) tells behind the name, which is in parentheses and may hold anything. Zeros where
/// the process is gone.
Status GetStatus(const fs::path& process) {
    fs::ifstream file(process / "stat");
    std::string text;
    std::getline(file, text,
                 '\0');  // all of it; unlike a stream's iterator it throws nothing where the process goes now
    const auto nameEnd = text.rfind(')');
    Status status;
    if (nameEnd != std::string::npos) {
        std::istringstream(text.substr(nameEnd + 1)) >> status.state >> status.parent >> status.group;
    }
    return status;
}

template <typename Condition>
std::vector<pid_t> FindProcesses(const Condition& condition) {
    // /proc/PID/task/TID/children would miss a child that passes from an ending thread to one that was read already.
    std::vector<pid_t> found;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename().string();
        if (name.find_first_not_of("0123456789") == std::string::npos && condition(GetStatus(entry.path()))) {
            found.push_back(std::stoi(name));
        }
    }
    return found;
}

}  // namespace

std::vector<pid_t> GetChildren(pid_t parent) {
    return FindProcesses([parent](const Status& status) { return status.parent == parent; });
}

std::vector<pid_t> GetFollowers(pid_t leader) {
    auto members = FindProcesses([leader](const Status& status) { return status.group == leader; });
    members.erase(std::remove(members.begin(), members.end(), leader), members.end());
    return members;
}

bool IsWaiting(pid_t thread) {
    return GetStatus("/proc/self/task/" + std::to_string(thread)).state == 'S';
}

}  // namespace TestSupport
