#pragma once

#include <boost/asio/local/stream_protocol.hpp>
#include <boost/thread/thread_only.hpp>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "Output/HostEvents.h"

namespace LocalDevice {

/// One connection of the control socket. All of it runs on the thread that serves the socket; only its requests are
/// executed on a thread of their own, one at a time, so that none waits for another connection's.
class ControlConnection : public std::enable_shared_from_this<ControlConnection> {
public:
    using Socket = boost::asio::local::stream_protocol::socket;
    using Executor = std::function<nlohmann::json(const nlohmann::json& request)>;

    using EndHandler = std::function<void(const std::shared_ptr<ControlConnection>& ended)>;

    static constexpr std::size_t LongestLine = std::size_t{64} * 1024;
    static constexpr std::size_t MaxWaitingBytes = std::size_t{1024} * 1024;  ///< from then on events are lost
    static constexpr std::size_t MaxUnreadBytes = 2 * MaxWaitingBytes;  ///< with that many there are no more answers

    ControlConnection(Socket socket, HostEvents& events, Executor execute, EndHandler onEnded);

    /// Begins to serve.
    void Start() { Read(); }
    /// Says why there is no service, and ends.
    void Reject(const std::string& reason);
    /// Ends at once. `onEnded` is not called.
    void Close();

private:
    void Read();
    void Handle(const std::string& line);
    void Execute(const nlohmann::json& request);
    void Answer(const nlohmann::json& request, const nlohmann::json& answer);
    void Subscribe();
    void OnEvent(const HostEvent& event);
    void ReportLostEvents();
    void Send(const nlohmann::json& message);
    void Write();
    void End();

    Socket socket_;
    HostEvents& events_;
    const Executor execute_;
    const EndHandler onEnded_;

    std::string incoming_;
    std::deque<std::string> outgoing_;
    std::size_t outgoingBytes_ = 0;
    std::uint64_t lostEvents_ = 0;
    bool isEnding_ = false;  ///< after what is written now
    bool isEnded_ = false;
    std::unique_ptr<HostEvents::Subscription> subscription_;
    boost::thread worker_;  ///< while a request is executed
};

}  // namespace LocalDevice
