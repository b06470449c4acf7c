#include "ConnectorSession.h"

#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <istream>
#include <utility>

#include "ConnectorProtocol.h"

namespace LocalDevice {

namespace asio = boost::asio;
using boost::system::error_code;

namespace {

/// The values of a host after which the app thread, which hears of each, has to come along.
constexpr std::size_t MostValues = 256;

}  // namespace

ConnectorSession::ConnectorSession(asio::ip::tcp::socket socket, const orn_host& host, Handlers handlers,
                                   Durations durations)
    : socket_(std::move(socket)),
      host_(host),
      handlers_(std::move(handlers)),
      durations_(durations),
      pingTimer_(socket_.get_executor()),
      input_(ConnectorProtocol::LongestLine) {}

void ConnectorSession::Begin() {
    Send(ConnectorProtocol::Greeting);
    AwaitPing();
    Read();
}

void ConnectorSession::Tell(const std::string& line) {
    if (hasGreeted_) {
        Send(line);
    }
}

void ConnectorSession::Stop() {
    isStopping_ = true;
    GoOn();  // the app thread waits for the end
    if (hasGreeted_) {
        Send("stop");
    } else {
        End("");
    }
}

/// Ends the connection, once; `reason` goes to the log unless it is empty.
void ConnectorSession::End(const std::string& reason) {
    if (std::exchange(hasEnded_, true)) {
        return;
    }
    if (hasGreeted_) {  // a stranger's end is nobody's
        host_.set_running(&host_, false);
    }
    SetAlive(true);  // the next one is another app
    if (!reason.empty()) {
        host_.log(&host_, ORN_LOG_ERROR, reason.c_str());
    }
    error_code ignored;  // whatever is left of the connection goes
    socket_.close(ignored);
    pingTimer_.cancel();
    handlers_.onEnd();
}

/// As it is expected of a host whose app was asked to stop.
void ConnectorSession::EndLost() {
    End(isStopping_ ? "" : "The connection to the connector host is lost");
}

void ConnectorSession::Send(const std::string& line) {
    if (hasEnded_) {
        return;
    }
    output_.push_back(line + '\n');
    if (output_.size() == 1) {
        Write();
    }
}

void ConnectorSession::Write() {
    asio::async_write(socket_, asio::buffer(output_.front()),
                      [self = shared_from_this()](const error_code& error, std::size_t /*size*/) {
                          if (error) {
                              self->EndLost();
                              return;
                          }
                          self->output_.pop_front();
                          if (!self->output_.empty()) {
                              self->Write();
                          }
                      });
}

void ConnectorSession::Read() {
    asio::async_read_until(
        socket_, input_, '\n', [self = shared_from_this()](const error_code& error, std::size_t /*size*/) {
            if (error) {
                error == asio::error::not_found ? self->End("The connector host sends a line that is too long")
                                                : self->EndLost();
                return;
            }
            std::istream stream(&self->input_);
            std::string line;
            std::getline(stream, line);
            self->silentPings_ = 0;
            self->OnLine(std::move(line));
            if (!self->hasEnded_ && !self->isResting_) {
                self->Read();
            }
        });
}

void ConnectorSession::GoOn() {
    values_ = 0;
    if (std::exchange(isResting_, false) && !hasEnded_) {
        Read();
    }
}

void ConnectorSession::AwaitPing() {
    pingTimer_.expires_after(durations_.ping);
    pingTimer_.async_wait([self = shared_from_this()](const error_code& error) {
        if (!error && !self->hasEnded_) {
            self->Ping();
        }
    });
}

/// Silence is counted in pings: a pause of this process, in which nobody was asked, is no silence of the host.
void ConnectorSession::Ping() {
    if (silentPings_ * durations_.ping >= durations_.silence) {
        End("The connector host does not answer");
        return;
    }
    silentPings_ += isResting_ || isDebugged_ ? 0 : 1;
    Tell("ping");
    AwaitPing();
}

void ConnectorSession::OnLine(std::string line) {
    if (!hasGreeted_) {
        if (line != ConnectorProtocol::Greeting) {
            End("Somebody who is no connector host has connected");
            return;
        }
        hasGreeted_ = true;
        for (const std::string& opening : handlers_.getOpening()) {
            Send(opening);
        }
        return;
    }
    const std::string command = ConnectorProtocol::TakeWord(line);
    if (command == "set") {
        OnSet(std::move(line));
    } else if (command == "log") {
        OnLog(std::move(line));
    } else if (command == "running") {
        host_.set_running(&host_, true);
    } else if (command == "fail") {
        End("The managed app failed: " + ConnectorProtocol::Unescape(line));
    } else if (command == "pong") {
        OnPong(line);
    } else {
        End("The connector host says what nobody understands: " + command);
    }
}

void ConnectorSession::OnSet(std::string line) {
    const std::string text = ConnectorProtocol::TakeWord(line);
    const auto co = ConnectorProtocol::ParseCo(text);
    const auto value = ConnectorProtocol::ParseValue(line);
    if (!co || !value) {
        End("The connector host sets what is no value: " + text + " " + line);
        return;
    }
    const orn_value appValue = ConnectorProtocol::ToAppValue(*value);
    const orn_result result = host_.set_value(&host_, *co, &appValue);
    if (result != ORN_OK) {
        const std::string warning = "A value for CO " + text + " was refused with " + std::to_string(result);
        host_.log(&host_, ORN_LOG_WARN, warning.c_str());
    }
    if (++values_ >= MostValues && !isStopping_) {
        isResting_ = true;
        handlers_.askForRoom();
    }
}

void ConnectorSession::OnPong(const std::string& words) {
    std::string rest = words;
    const auto duration = ConnectorProtocol::ParseMilliseconds(ConnectorProtocol::TakeWord(rest));
    if (!duration || !(rest.empty() || rest == "debugged")) {
        End("The connector host says what nobody understands: pong " + words);
        return;
    }
    isDebugged_ = !rest.empty();
    const bool alive = *duration < durations_.hang;
    if (alive != isAlive_) {
        host_.log(&host_, alive ? ORN_LOG_INFO : ORN_LOG_WARN,
                  alive ? "The managed app goes on" : "The managed app hangs in a call: no heartbeat until it returns");
        SetAlive(alive);
    }
}

void ConnectorSession::SetAlive(bool alive) {
    if (std::exchange(isAlive_, alive) != alive) {
        host_.set_alive(&host_, alive);
    }
}

void ConnectorSession::OnLog(std::string line) {
    const std::string level = ConnectorProtocol::TakeWord(line);
    const std::string text = ConnectorProtocol::Unescape(line);
    host_.log(&host_,
              level == "debug"  ? ORN_LOG_DEBUG
              : level == "info" ? ORN_LOG_INFO
              : level == "warn" ? ORN_LOG_WARN
                                : ORN_LOG_ERROR,
              text.c_str());
}

}  // namespace LocalDevice
