#include "Knxd.h"

#include <boost/algorithm/string/trim.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/filesystem/operations.hpp>
#include <csignal>
#include <stdexcept>

namespace EndToEnd {

using TestSupport::ExitStatus;

Knxd::Knxd() {
    Start();
}

void Knxd::Kill() {
    process_->Signal(SIGKILL);
    process_->WaitForExit();
}

void Knxd::Start() {
    boost::filesystem::remove(socket_);
    // Addresses for many clients: those of a tool that has ended are not free at once.
    process_ = std::make_unique<ChildProcess>(
        KNXD_PROGRAM, std::vector<std::string>{"-e", "1.1.1", "-E", "1.1.2:250", "-u", socket_, "-b", "dummy:"});
    // The socket is there before knxd listens at it.
    const auto isListening = [this] {
        boost::asio::io_context context;
        boost::asio::local::stream_protocol::socket socket(context);
        boost::system::error_code error;
        socket.connect(socket_, error);
        return !error;
    };
    if (!WaitUntil(isListening)) {
        throw std::runtime_error("knxd does not start");
    }
}

std::unique_ptr<ChildProcess> Knxd::StartTool(const std::string& applet, std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {applet, GetUrl()});
    return std::make_unique<ChildProcess>(KNXTOOL_PROGRAM, arguments);
}

void Knxd::Write(const std::string& address, const std::string& value) const {
    RunTool("groupswrite", {address, value});
}

void Knxd::Read(const std::string& address) const {
    RunTool("groupread", {address});
}

void Knxd::RunTool(const std::string& applet, std::vector<std::string> arguments) const {
    const bool hasSent = StartTool(applet, std::move(arguments))->WaitForExit() == ExitStatus::Exited(0);
    if (!hasSent) {
        throw std::runtime_error("knxtool " + applet + " failed");
    }
}

BusListener::BusListener(const Knxd& knxd) : tool_(knxd.StartTool("groupsocketlisten")) {
    // It hears nothing before it is connected, and does not say when it is.
    const std::string unused = "31/7/255";
    const bool isConnected = WaitUntil([this, &knxd, &unused] {
        knxd.Read(unused);
        return WaitFor(unused, 1, Milliseconds(50));
    });
    if (!isConnected) {
        throw std::runtime_error("knxtool does not listen");
    }
}

std::vector<std::string> BusListener::GetTelegrams(const std::string& address) const {
    std::vector<std::string> telegrams;
    for (const std::string& line : tool_->GetOutputLines()) {
        // "Write from 1.1.3 to 1/0/4: 41 42 ", or "Read from 1.1.3 to 1/0/4"
        const auto target = line.find(" to ");
        if (target == std::string::npos) {
            continue;
        }
        const auto colon = line.find(':', target);
        if (line.substr(target + 4, colon - target - 4) != address) {
            continue;
        }
        const std::string value = colon == std::string::npos ? "" : line.substr(colon + 1);
        telegrams.push_back(boost::trim_copy(line.substr(0, line.find(' ')) + value));
    }
    return telegrams;
}

bool BusListener::WaitFor(const std::string& address, std::size_t count, Milliseconds limit) const {
    return WaitUntil([this, &address, count] { return GetTelegrams(address).size() >= count; }, limit);
}

}  // namespace EndToEnd
