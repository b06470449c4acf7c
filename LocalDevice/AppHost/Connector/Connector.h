#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/thread/thread_only.hpp>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ConnectorSession.h"
#include "orn/app.h"

namespace LocalDevice {

/// The app's place for the connector host: listens on 127.0.0.1 and passes on what host and managed app say to each
/// other. The app can work while a connector host is there and its app has started; one that goes away may come back.
///
/// Belongs to the app thread; the connection lives on a thread of the object's own.
class Connector {
public:
    struct Durations {
        std::chrono::milliseconds ping{150};
        std::chrono::milliseconds silence{1500};  ///< of a connector host that counts as gone, seen one ping later
        std::chrono::milliseconds hang{2000};     ///< of a call of the managed app, after which there is no heartbeat
        std::chrono::milliseconds stop{3000};     ///< that the managed app gets for its end
    };

    /// Leaves the port in the file `portFile`, in place of what is there. Throws `std::exception` where it cannot
    /// listen or write.
    Connector(const orn_host& host, std::string portFile, Durations durations);
    /// Ends the managed app, and the file.
    ~Connector();
    Connector(const Connector&) = delete;
    Connector& operator=(const Connector&) = delete;

    unsigned short GetPort() const { return port_; }

private:
    void ReadParameters();
    void ListenToValues();
    void StorePort() const;

    void Accept();
    void AcceptAfterPause(const std::string& reason);
    void OnAccepted(boost::asio::ip::tcp::socket socket);
    void OnSessionEnd();
    void AskForRoom();
    void Stop();
    void Tell(const std::string& line);
    std::vector<std::string> GetOpening() const;

    const orn_host& host_;
    const std::string portFile_;
    const Durations durations_;

    // Of the thread, once it runs.
    boost::asio::io_context context_{1};
    boost::asio::ip::tcp::acceptor acceptor_;
    boost::asio::steady_timer acceptTimer_{context_};
    boost::asio::steady_timer stopTimer_{context_};
    std::vector<std::string> parameters_;          ///< lines
    std::map<std::uint16_t, std::string> values_;  ///< the last line of each CO
    bool communication_ = false;
    bool stopping_ = false;
    bool refusalIsTold_ = false;
    bool shortageIsTold_ = false;
    std::shared_ptr<ConnectorSession> session_;

    const unsigned short port_;
    boost::thread thread_;  ///< the last member: it uses the others from its start on
};

}  // namespace LocalDevice
