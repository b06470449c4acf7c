#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread_only.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace TestSupport {

/// The far end of a device-stack client: a WebSocket server on a free port of the loopback interface, one client at a
/// time. Thread-safe.
class FakeDeviceStack {
public:
    enum class Manner { Talks, NeverShakesHands, NeverReads, HangsUp };
    using Reply = std::function<std::string(const std::string& frame)>;

    /// The answer to a request, with `response`, a JSON value; empty where the frame has no number.
    static std::string AnswerTo(const std::string& frame, const std::string& response);

    explicit FakeDeviceStack(Manner manner = Manner::Talks);
    ~FakeDeviceStack();
    FakeDeviceStack(const FakeDeviceStack&) = delete;
    FakeDeviceStack& operator=(const FakeDeviceStack&) = delete;

    std::string GetAddress() const;

    /// What is sent for each frame that comes in; nothing where it is empty.
    void SetReply(Reply reply);
    void SetManner(Manner manner);

    /// The next frame that came in; waits for it, 20 s at most (then the empty string).
    std::string NextFrame();
    void SendFrame(const std::string& frame);
    void DropConnection();
    /// Takes leave of the client, as a device stack does that ends.
    void CloseConnection();

    /// Of a session that was told never to read.
    void BeginToRead();
    /// Sends a ping with `text`.
    void Ping(const std::string& text);
    /// The text of the next pong that came in; waits for it, 20 s at most (then the empty string).
    std::string NextPong();

    void StopListening();
    void ListenAgain();

    /// When each connection came; waits for `count` of them.
    std::vector<std::chrono::steady_clock::time_point> AwaitConnections(std::size_t count);
    /// True once the client has closed its last connection in due form; waits for it.
    bool AwaitProperClose();

private:
    class Session;
    using Tcp = boost::asio::ip::tcp;

    void Listen();
    void Accept();
    void OnFrame(const std::string& frame);
    void OnPong(const std::string& text);
    std::string Next(std::deque<std::string>& texts);
    void OnClosed(bool properly);
    Manner GetManner();

    boost::asio::io_context context_;
    Tcp::acceptor acceptor_{context_};
    std::shared_ptr<Session> session_;
    Tcp::endpoint endpoint_;

    boost::mutex mutex_;
    boost::condition_variable changed_;
    Manner manner_;
    Reply reply_;
    std::deque<std::string> frames_;
    std::deque<std::string> pongs_;
    std::vector<std::chrono::steady_clock::time_point> connections_;
    bool closedProperly_ = false;

    boost::thread thread_;
};

}  // namespace TestSupport
