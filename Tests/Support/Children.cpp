#include "Children.h"

#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <iterator>
#include <string>

namespace TestSupport {

namespace fs = boost::filesystem;

namespace {

/// The parent in /proc/PID/stat (see proc(5)): the second field after the name, which is in parentheses and may hold
/// anything. 0 where the process is gone.
pid_t GetParent(const fs::path& process) {
    fs::ifstream file(process / "stat");
    const std::string text(std::istreambuf_iterator<char>(file), {});
    const auto nameEnd = text.rfind(')');
    return nameEnd == std::string::npos ? 0 : std::stoi(text.substr(nameEnd + sizeof(") S")));
}

}  // namespace

std::vector<pid_t> GetChildren(pid_t parent) {
    // /proc/PID/task/TID/children would miss a child that passes from an ending thread to one that was read already.
    std::vector<pid_t> children;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename().string();
        if (name.find_first_not_of("0123456789") == std::string::npos && GetParent(entry.path()) == parent) {
            children.push_back(std::stoi(name));
        }
    }
    return children;
}

}  // namespace TestSupport
