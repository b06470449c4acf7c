#pragma once

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <string>

namespace IntegrationTest {

/// A debugger of mono's "soft debugger" protocol, as far as it halts a program and lets it go on.
class SoftDebugger {
public:
    /// The option with which mono connects with this debugger and goes on at once.
    std::string GetOption() const {
        return "--debugger-agent=transport=dt_socket,suspend=n,address=127.0.0.1:" +
               std::to_string(acceptor_.local_endpoint().port());
    }

    /// Waits for the program; false where none comes.
    bool Attach() {
        bool isAttached = false;
        acceptor_.async_accept(stream_.socket(), [this, &isAttached](const boost::system::error_code& error) {
            std::string greeting(Greeting.size(), '\0');
            isAttached = !error && stream_.read(greeting.data(), static_cast<std::streamsize>(greeting.size())) &&
                         greeting == Greeting && stream_ << Greeting << std::flush;
        });
        context_.run_for(std::chrono::seconds(20));
        return isAttached;
    }
    /// With all its threads.
    void Halt() { Command(Suspend); }
    void GoOn() { Command(Resume); }

private:
    enum CommandNumber : char { Suspend = 3, Resume = 4 };

    /// Length and number of the packet with the highest byte first, flags, the group of commands for the whole program,
    /// and the command.
    void Command(CommandNumber command) {
        constexpr char Length = 11;
        const std::array<char, Length> packet{0, 0, 0, Length, 0, 0, 0, command, 0, 1, command};
        stream_.write(packet.data(), Length).flush();
    }

    const std::string Greeting = "DWP-Handshake";
    boost::asio::io_context context_{1};
    boost::asio::ip::tcp::acceptor acceptor_{context_, {boost::asio::ip::address_v4::loopback(), 0}};
    boost::asio::ip::tcp::iostream stream_;
};

}  // namespace IntegrationTest
