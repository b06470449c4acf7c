#include "HostControl.h"

#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <istream>
#include <vector>

#include "RunDirectory.h"

namespace LocalDevice {

namespace fs = boost::filesystem;
using Protocol = boost::asio::local::stream_protocol;

HostControl::HostControl(const std::string& socketPath) : socket_(io_) {
    try {
        socket_.connect(Protocol::endpoint(socketPath));
    } catch (const boost::system::system_error& error) {
        throw ControlError(socketPath + ": no KNX stack host listens there: " + error.code().message());
    }
}

nlohmann::json HostControl::Ask(const nlohmann::json& command, std::chrono::seconds limit) {
    std::string line;
    try {
        line = command.dump() + "\n";
    } catch (const nlohmann::json::type_error&) {
        throw ControlError("the command is not UTF-8 text");
    }
    boost::system::error_code error;
    boost::asio::write(socket_, boost::asio::buffer(line), error);
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
    if (!folder.empty()) {
        return RunDirectory::ControlSocketIn(folder, logicalDevice);
    }
    const std::vector<fs::path> running = RunDirectory::FindRunning();
    if (running.empty()) {
        throw ControlError("no local device runs; start one with scripts/run, or name its folder with --directory");
    }
    if (running.size() > 1) {
        std::string all;
        for (const fs::path& directory : running) {
            all.append(all.empty() ? "" : ", ").append(directory.string());
        }
        throw ControlError("several local devices run; name one with --directory: " + all);
    }
    return RunDirectory::ControlSocketIn(running.front(), logicalDevice);
}

}  // namespace LocalDevice
