#include "HostControl.h"

#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <boost/filesystem/operations.hpp>
#include <istream>
#include <vector>

namespace LocalDevice {

namespace {

namespace fs = boost::filesystem;
using Protocol = boost::asio::local::stream_protocol;

/// How the launcher names the folders that it makes.
constexpr const char* FolderPrefix = "localdevice-";

bool IsListening(const std::string& path) {
    boost::asio::io_context io;
    Protocol::socket socket(io);
    boost::system::error_code error;
    socket.connect(Protocol::endpoint(path), error);
    return !error;
}

std::vector<fs::path> FindFolders() {
    std::vector<fs::path> folders;
    boost::system::error_code ignored;
    for (const auto& entry : fs::directory_iterator(fs::temp_directory_path(), ignored)) {
        if (entry.path().filename().string().rfind(FolderPrefix, 0) == 0) {
            folders.push_back(entry.path());
        }
    }
    return folders;
}

}  // namespace

HostControl::HostControl(const std::string& socketPath) : socket_(io_) {
    try {
        socket_.connect(Protocol::endpoint(socketPath));
    } catch (const boost::system::system_error& error) {
        throw ControlError(socketPath + ": no KNX stack host listens there: " + error.code().message());
    }
}

nlohmann::json HostControl::Ask(const nlohmann::json& command, std::chrono::seconds limit) {
    boost::system::error_code error;
    boost::asio::write(socket_, boost::asio::buffer(command.dump() + "\n"), error);
    if (error) {
        throw ControlError("the KNX stack host has gone: " + error.message());
    }
    nlohmann::json answer = nlohmann::json::parse(ReadLine(limit), nullptr, false);
    if (!answer.is_object()) {
        throw ControlError("the KNX stack host gave an answer that is no JSON object");
    }
    if (!answer.value("ok", false)) {
        throw ControlError(answer.value("error", "the KNX stack host refused the command"));
    }
    return answer;
}

nlohmann::json HostControl::Receive() {
    return nlohmann::json::parse(ReadLine(std::nullopt), nullptr, false);
}

std::string HostControl::ReadLine(std::optional<std::chrono::seconds> limit) {
    boost::system::error_code result = boost::asio::error::would_block;
    boost::asio::async_read_until(socket_, buffer_, '\n',
                                  [&result](const boost::system::error_code& error, std::size_t) { result = error; });
    io_.restart();
    if (limit) {
        io_.run_for(*limit);
    } else {
        io_.run();
    }
    if (result == boost::asio::error::would_block) {
        throw ControlError("the KNX stack host did not answer within " + std::to_string(limit->count()) + " s");
    }
    if (result) {
        throw ControlError("the KNX stack host has gone: " + result.message());
    }
    std::string line;
    std::istream stream(&buffer_);
    std::getline(stream, line);
    return line;
}

std::string FindControlSocket(const fs::path& folder, int logicalDevice) {
    const std::string name = "host" + std::to_string(logicalDevice) + ".sock";
    if (!folder.empty()) {
        return (folder / name).string();
    }
    std::vector<std::string> running;
    for (const fs::path& candidate : FindFolders()) {
        const std::string socket = (candidate / name).string();
        if (IsListening(socket)) {
            running.push_back(socket);
        }
    }
    if (running.empty()) {
        throw ControlError("no local device runs; start one with scripts/run, or name its folder with --directory");
    }
    if (running.size() > 1) {
        std::string all;
        for (const std::string& socket : running) {
            all.append(all.empty() ? "" : ", ").append(fs::path(socket).parent_path().string());
        }
        throw ControlError("several local devices run; name one with --directory: " + all);
    }
    return running.front();
}

}  // namespace LocalDevice
