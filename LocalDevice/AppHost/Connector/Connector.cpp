#include "Connector.h"

#include <boost/asio/post.hpp>
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <exception>
#include <stdexcept>
#include <utility>

#include "ConnectorProtocol.h"

namespace LocalDevice {

namespace asio = boost::asio;
namespace fs = boost::filesystem;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

/// Small, so that an answer to a ping is not long behind the values of an app that sets many.
constexpr int ReceiveBuffer = 65536;

}  // namespace

Connector::Connector(const orn_host& host, std::string portFile, Durations durations)
    : host_(host),
      portFile_(std::move(portFile)),
      durations_(durations),
      acceptor_(context_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)),
      port_(acceptor_.local_endpoint().port()) {
    ReadParameters();
    ListenToValues();
    StorePort();
    host_.set_running(&host_, false);
    Accept();
    thread_ = boost::thread([this] {
        try {
            context_.run();
        } catch (const std::exception& error) {
            host_.fail(&host_, error.what());
        }
    });
}

Connector::~Connector() {
    asio::post(context_, [this] { Stop(); });
    thread_.join();
    error_code ignored;  // a file that is gone already is gone
    fs::remove(portFile_, ignored);
}

void Connector::ReadParameters() {
    for (std::uint16_t slot = 1; slot <= ORN_PARAMETER_SLOTS; ++slot) {
        const std::string number = " " + std::to_string(slot) + " ";
        std::uint32_t value = 0;
        host_.number_parameter(&host_, slot, &value);
        parameters_.push_back("parameter ip" + number + host_.ip_parameter(&host_, slot));
        parameters_.push_back("parameter number" + number + std::to_string(value));
        parameters_.push_back("parameter text" + number +
                              ConnectorProtocol::Escape(host_.text_parameter(&host_, slot)));
    }
}

/// The handlers run on the app thread, which hands everything over.
void Connector::ListenToValues() {
    const orn_value_handler handler = [](void* context, std::uint16_t co, const orn_value* value) {
        auto& self = *static_cast<Connector*>(context);
        const auto content = ConnectorProtocol::ToValue(*value);
        asio::post(self.context_,
                   [&self, co, line = "value " + std::to_string(co) + " " + ConnectorProtocol::FromValue(content)] {
                       self.values_[co] = line;
                       self.Tell(line);
                   });
    };
    for (std::uint16_t co = 1; co <= ORN_MAX_CO; ++co) {
        orn_value value{};
        if (host_.on_value(&host_, co, handler, this) == ORN_OK && host_.get_value(&host_, co, &value) == ORN_OK) {
            values_[co] =
                "value " + std::to_string(co) + " " + ConnectorProtocol::FromValue(ConnectorProtocol::ToValue(value));
        }
    }
    const orn_communication_handler communication = [](void* context, bool on) {
        auto& self = *static_cast<Connector*>(context);
        asio::post(self.context_, [&self, on] {
            self.communication_ = on;
            self.Tell(on ? "communication on" : "communication off");
        });
    };
    host_.on_communication(&host_, communication, this);
}

/// Whoever reads the file finds all of it or nothing.
void Connector::StorePort() const {
    const std::string draft = portFile_ + ".new";
    fs::ofstream file(draft);
    file << port_ << '\n';
    file.close();
    if (!file) {
        throw std::runtime_error(draft + ": cannot be written");
    }
    fs::rename(draft, portFile_);
}

void Connector::Accept() {
    acceptor_.async_accept([this](const error_code& error, tcp::socket socket) {
        if (!acceptor_.is_open()) {
            return;
        }
        if (error) {
            AcceptAfterPause(error.message());
            return;
        }
        shortageIsTold_ = false;
        OnAccepted(std::move(socket));
        Accept();
    });
}

/// There may be no descriptor left.
void Connector::AcceptAfterPause(const std::string& reason) {
    if (!std::exchange(shortageIsTold_, true)) {
        host_.log(&host_, ORN_LOG_WARN, ("Cannot accept a connector host: " + reason).c_str());
    }
    constexpr std::chrono::milliseconds Pause{100};
    acceptTimer_.expires_after(Pause);
    acceptTimer_.async_wait([this](const error_code& /*none*/) {
        if (acceptor_.is_open()) {
            Accept();
        }
    });
}

void Connector::OnAccepted(tcp::socket socket) {
    if (session_) {
        if (!std::exchange(refusalIsTold_, true)) {  // it tries again and again
            host_.log(&host_, ORN_LOG_WARN, "A second connector host is refused");
        }
        return;
    }
    error_code ignored;  // without it answers are slower
    socket.set_option(tcp::no_delay(true), ignored);
    socket.set_option(tcp::socket::receive_buffer_size(ReceiveBuffer), ignored);
    session_ = std::make_shared<ConnectorSession>(
        std::move(socket), host_,
        ConnectorSession::Handlers{[this] { return GetOpening(); }, [this] { OnSessionEnd(); },
                                   [this] { AskForRoom(); }},
        ConnectorSession::Durations{durations_.ping, durations_.silence, durations_.hang});
    session_->Begin();
}

void Connector::OnSessionEnd() {
    session_.reset();
    refusalIsTold_ = false;
    if (stopping_) {
        context_.stop();
    }
}

/// By a task of the app thread, which comes behind what is due there.
void Connector::AskForRoom() {
    const orn_task answer = [](void* context) {
        auto& self = *static_cast<Connector*>(context);
        asio::post(self.context_, [&self] {
            if (self.session_) {
                self.session_->GoOn();
            }
        });
    };
    host_.post(&host_, answer, this);
}

void Connector::Stop() {
    stopping_ = true;
    acceptor_.close();
    if (!session_) {
        context_.stop();
        return;
    }
    stopTimer_.expires_after(durations_.stop);
    stopTimer_.async_wait([this](const error_code& error) {
        if (!error) {
            host_.log(&host_, ORN_LOG_WARN, "The managed app does not stop");
            context_.stop();
        }
    });
    session_->Stop();
}

void Connector::Tell(const std::string& line) {
    if (session_) {
        session_->Tell(line);
    }
}

std::vector<std::string> Connector::GetOpening() const {
    std::vector<std::string> lines = parameters_;
    for (const auto& [co, line] : values_) {
        lines.push_back(line);
    }
    lines.emplace_back("start");
    if (communication_) {
        lines.emplace_back("communication on");
    }
    return lines;
}

}  // namespace LocalDevice
