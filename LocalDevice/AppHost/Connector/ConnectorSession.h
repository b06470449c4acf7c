#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/streambuf.hpp>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "orn/app.h"

namespace LocalDevice {

/// The connection of one connector host. Everything here runs on the thread of its socket.
class ConnectorSession : public std::enable_shared_from_this<ConnectorSession> {
public:
    using Milliseconds = std::chrono::milliseconds;

    struct Handlers {
        std::function<std::vector<std::string>()> getOpening;  ///< the lines that a new host is told
        std::function<void()> onEnd;                           ///< called once
        std::function<void()> askForRoom;                      ///< lets `GoOn` be called when the app thread has room
    };

    struct Durations {
        Milliseconds ping;     ///< from one ping to the next
        Milliseconds silence;  ///< of a host that counts as gone, in whole pings
        Milliseconds hang;     ///< of a call of the app, after which the app does not go on
    };

    ConnectorSession(boost::asio::ip::tcp::socket socket, const orn_host& host, Handlers handlers, Durations durations);

    void Begin();
    /// Sends a line, once the host has greeted.
    void Tell(const std::string& line);
    /// Asks the app to stop; the host ends the connection then.
    void Stop();
    /// There is room for more values: the host is listened to again.
    void GoOn();

private:
    void End(const std::string& reason);
    void EndLost();
    void Send(const std::string& line);
    void Write();
    void Read();
    void AwaitPing();
    void Ping();
    void OnLine(std::string line);
    void OnSet(std::string line);
    void OnLog(std::string line);
    void OnPong(const std::string& words);
    void SetAlive(bool alive);

    boost::asio::ip::tcp::socket socket_;
    const orn_host& host_;
    const Handlers handlers_;
    const Durations durations_;

    boost::asio::steady_timer pingTimer_;
    boost::asio::streambuf input_;
    std::deque<std::string> output_;
    int silentPings_ = 0;      ///< in a row, without a line of the host
    std::size_t values_ = 0;   ///< since there was room
    bool isResting_ = false;   ///< listens no more until there is
    bool isDebugged_ = false;  ///< silence means nothing
    bool hasGreeted_ = false;
    bool isStopping_ = false;
    bool isAlive_ = true;
    bool hasEnded_ = false;
};

}  // namespace LocalDevice
