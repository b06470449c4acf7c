#include "RunDirectory.h"

#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/system/system_error.hpp>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace LocalDevice {

namespace fs = boost::filesystem;

namespace {

constexpr const char* SupervisorName = "supervisor.sock";  // the longest of the sockets' names

constexpr const char* AddressName = "devicestack.address";
constexpr const char* LogEnding = ".log";

std::string FreshPrefix() {
    return "localdevice-" + std::to_string(getuid()) + "-";
}

/// A Unix socket's path has a fixed size.
void CheckLength(const fs::path& directory) {
    const std::size_t longest = sizeof(sockaddr_un::sun_path) - 1;
    if ((directory / SupervisorName).size() > longest) {
        throw std::runtime_error(directory.string() + ": too long a path for sockets");
    }
}

fs::path MakeFresh() {
    std::string name = (RunDirectory::GetTemporaryFolder() / (FreshPrefix() + "XXXXXX")).string();
    CheckLength(name);
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error(name + ": cannot be created: " + std::generic_category().message(errno));
    }
    return name;
}

fs::path MakeGiven(const std::string& path) {
    // Before anything is created: what is refused leaves nothing behind.
    fs::path absolute = fs::weakly_canonical(fs::absolute(path).remove_trailing_separator());
    CheckLength(absolute);
    boost::system::error_code error;
    fs::create_directories(absolute, error);
    if (error) {
        throw std::runtime_error(path + ": cannot be created: " + error.message());
    }
    if (IsListening((absolute / SupervisorName).string())) {
        throw std::runtime_error(path + ": another local device runs here");
    }
    return absolute;
}

}  // namespace

bool IsListening(const std::string& socketPath) {
    using Protocol = boost::asio::local::stream_protocol;
    try {
        boost::asio::io_context io;
        Protocol::socket socket(io);
        socket.connect(Protocol::endpoint(socketPath));
        return true;
    } catch (const boost::system::system_error&) {
        return false;
    }
}

RunDirectory::RunDirectory(const std::string& path)
    : path_(path.empty() ? MakeFresh() : MakeGiven(path)), isFresh_(path.empty()) {}

RunDirectory::~RunDirectory() {
    boost::system::error_code ignored;
    if (isFresh_ && !isKept_) {
        fs::remove_all(path_, ignored);
        return;
    }
    fs::remove(SupervisorSocket(), ignored);
    fs::remove(path_ / AddressName, ignored);
    for (const int logicalDevice : {1, 2}) {
        fs::remove(ControlSocket(logicalDevice), ignored);
        fs::remove(ConnectorPortFile(logicalDevice), ignored);
    }
}

std::string RunDirectory::SupervisorSocket() const {
    return (path_ / SupervisorName).string();
}

bool RunDirectory::KeepLogs() {
    boost::system::error_code ignored;
    const auto isTelling = [&ignored](const fs::directory_entry& entry) {
        return entry.path().extension() == LogEnding && fs::file_size(entry.path(), ignored) > 0 && !ignored;
    };
    isKept_ = isFresh_ && std::any_of(fs::directory_iterator(path_, ignored), fs::directory_iterator(), isTelling);
    return isKept_;
}

std::string RunDirectory::Log(const std::string& name) const {
    return (path_ / (name + LogEnding)).string();
}

std::string RunDirectory::ConnectorPortFile(int logicalDevice) const {
    return (path_ / ("connector" + std::to_string(logicalDevice) + ".port")).string();
}

std::string RunDirectory::ControlSocketIn(const fs::path& directory, int logicalDevice) {
    return (directory / ("host" + std::to_string(logicalDevice) + ".sock")).string();
}

fs::path RunDirectory::GetTemporaryFolder() {
    try {
        return fs::temp_directory_path();
    } catch (const fs::filesystem_error& error) {
        throw std::runtime_error(error.path1().string() +
                                 ": no such folder; expected one for temporary files in TMPDIR");
    }
}

void RunDirectory::StoreDeviceStackAddress(const std::string& address) const {
    const fs::path file = path_ / AddressName;
    fs::ofstream stream(file);
    stream << address << std::endl;
    if (!stream) {
        throw std::runtime_error(file.string() + ": cannot be written");
    }
}

std::string RunDirectory::LoadDeviceStackAddress(const fs::path& directory) {
    fs::ifstream stream(directory / AddressName);
    std::string address;
    std::getline(stream, address);
    return address;
}

std::vector<fs::path> RunDirectory::FindRunning() {
    std::vector<fs::path> running;
    boost::system::error_code ignored;
    for (const auto& entry : fs::directory_iterator(GetTemporaryFolder(), ignored)) {
        const bool isOurs = entry.path().filename().string().rfind(FreshPrefix(), 0) == 0;
        if (isOurs && IsListening((entry.path() / SupervisorName).string())) {
            running.push_back(entry.path());
        }
    }
    return running;
}

}  // namespace LocalDevice
