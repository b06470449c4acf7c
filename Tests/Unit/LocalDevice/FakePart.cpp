// Stands in for the device stack or the KNX stack host of an installation made for a test, whichever name it is started
// by. "../journal" gets a line when it starts and one when it ends in order; "../manner/NAME" may hold a word that says
// how to behave.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/write.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

namespace {

namespace fs = boost::filesystem;
using Protocol = boost::asio::local::stream_protocol;

class Part {
public:
    Part(const fs::path& program, std::vector<std::string> arguments)
        : root_(program.parent_path().parent_path()),
          name_(program.filename().string()),
          arguments_(std::move(arguments)) {
        std::ifstream(root_.string() + "/manner/" + name_) >> manner_;
    }

    int Run() {
        std::string line = name_ + " " + std::to_string(getpid()) + " start";
        for (const char* option : {"--port", "--serial1", "--serial2", "--bus"}) {
            const std::string value = Option(option);
            line += value.empty() ? "" : std::string(" ") + option + " " + value;
        }
        const char* const deviceStack = std::getenv("ORN_DEVICE_STACK");
        line += deviceStack == nullptr ? "" : std::string(" at ") + deviceStack;
        if (manner_ == "stubborn") {
            std::signal(SIGTERM, SIG_IGN);  // NOLINT(cert-err33-c): it cannot fail
        }
        Note(line);
        if (manner_ == "log-and-fail") {
            std::ofstream(Option("--log")) << "a line\n";
        }
        if (manner_ == "fail" || manner_ == "log-and-fail") {
            std::cerr << name_ << ": does not like it here\n";
            return 1;
        }
        boost::asio::signal_set signals(io_, manner_ == "stubborn" ? SIGUSR1 : SIGTERM);
        signals.async_wait([this](const boost::system::error_code&, int) { io_.stop(); });
        const int result = name_ == "devicestack" ? RunDeviceStack() : RunHost();
        Note(name_ + " end");
        if (manner_ == "fail-at-end") {
            std::cerr << name_ << ": does not like to end\n";
            return 1;
        }
        return result;
    }

private:
    std::string Option(const std::string& option) const {
        const auto found = std::find(arguments_.begin(), arguments_.end(), option);
        return found == arguments_.end() ? "" : *(found + 1);
    }

    void Note(const std::string& text) const {
        const int file = open((root_ / "journal").c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        const std::string line = text + "\n";
        const bool isWritten = write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size());
        close(file);
        if (!isWritten) {
            std::abort();
        }
    }

    int RunDeviceStack() {
        const std::string port = Option("--port");
        std::cout << "device stack listening on 127.0.0.1:" << (port == "0" ? "9" : port) << std::endl;
        io_.run();
        return 0;
    }

    int RunHost() {
        const std::string path = Option("--control");
        fs::remove(path);
        Protocol::acceptor acceptor(io_, Protocol::endpoint(path));
        boost::asio::signal_set wishes(io_);
        if (manner_ == "restart") {
            wishes.add(SIGUSR1);
            wishes.async_wait([this](const boost::system::error_code& error, int) {
                if (!error) {
                    AskForRestart();
                }
            });
        }
        int result = 0;
        Protocol::socket launcher(io_);
        acceptor.async_accept(launcher, [this, &result, &launcher](const boost::system::error_code& error) {
            if (error) {
                return;
            }
            std::cout << "host at work" << std::endl;
            if (manner_ == "error") {
                TellOfError(launcher);
            }
            if (manner_ == "die") {
                result = 5;
                io_.stop();
            }
        });
        io_.run();
        return result;
    }

    /// Answers the first question for the status; the failure is older than the connection.
    static void TellOfError(Protocol::socket& launcher) {
        std::string requests;
        boost::asio::read_until(launcher, boost::asio::dynamic_buffer(requests), "\"status\"}\n");
        boost::asio::write(launcher,
                           boost::asio::buffer(std::string("{\"ok\":true,\"runState\":\"error\","
                                                           "\"lastErrors\":[\"No app\",\"No start\",\"Error\"]}\n")));
    }

    void AskForRestart() {
        Protocol::socket supervisor(io_);
        supervisor.connect(Protocol::endpoint(std::getenv("ORN_SUPERVISOR")));
        boost::asio::write(
            supervisor,
            boost::asio::buffer(std::string("{\"request\":\"restart\",\"factoryReset\":false,\"from\":13}\n")));
    }

    const fs::path root_;
    const std::string name_;
    const std::vector<std::string> arguments_;
    std::string manner_;
    boost::asio::io_context io_;
};

}  // namespace

int main(int argc, char** argv) {
    return Part(argv[0], {argv + 1, argv + argc}).Run();
}
