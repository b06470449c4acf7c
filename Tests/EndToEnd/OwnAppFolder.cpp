#include "OwnAppFolder.h"

#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/operations.hpp>

namespace EndToEnd {

namespace fs = boost::filesystem;

namespace {

constexpr const char* Apps = ORN_LOCAL_OPT "/userdata/ornApp";
constexpr const char* Certificates = ORN_LOCAL_OPT "/ostra/etc/programmable";

void CopyTree(const fs::path& from, const fs::path& to) {
    fs::create_directories(to);
    for (const auto& entry : fs::recursive_directory_iterator(from)) {
        const fs::path target = to / fs::relative(entry.path(), from);
        if (fs::is_directory(entry.path())) {
            fs::create_directory(target);
        } else {
            fs::copy_file(entry.path(), target);
        }
    }
}

}  // namespace

bool OwnAppFolder::IsPossible() {
    const OwnAppFolder folder;
    std::vector<std::string> command = folder.GetRunner();
    const std::string program = command.front();
    command.erase(command.begin());
    command.emplace_back("/bin/true");
    return ChildProcess(program, command).WaitForExit() == TestSupport::ExitStatus::Exited(0);
}

OwnAppFolder::OwnAppFolder() {
    CopyTree(Apps, folder_.GetPath() / "ornApp");
    CopyTree(Certificates, folder_.GetPath() / "programmable");
}

std::string OwnAppFolder::GetAppAsSeen() {
    return std::string(Apps) + "/1";
}

std::vector<std::string> OwnAppFolder::GetRunner() const {
    return {UNSHARE_PROGRAM,
            "--map-root-user",
            "--mount",
            "/bin/sh",
            "-c",
            R"(mount --bind "$0/ornApp" "$1" && mount --bind "$0/programmable" "$2" && shift 2 && exec "$@")",
            folder_.GetPath().string(),
            Apps,
            Certificates};
}

}  // namespace EndToEnd
