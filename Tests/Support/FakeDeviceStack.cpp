#include "FakeDeviceStack.h"

#include <boost/asio/post.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/error.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <boost/lexical_cast.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <functional>
#include <future>
#include <utility>
#include <vector>

namespace TestSupport {

namespace {

using boost::system::error_code;
namespace asio = boost::asio;
namespace websocket = boost::beast::websocket;

constexpr boost::chrono::seconds LongestWait{20};

}  // namespace

/// One connection; used on the io thread only.
class FakeDeviceStack::Session : public std::enable_shared_from_this<Session> {
public:
    Session(Tcp::socket socket, FakeDeviceStack& owner) : owner_(&owner), stream_(std::move(socket)) {
        stream_.binary(true);
        stream_.read_message_max(0);
        stream_.control_callback([this](websocket::frame_type kind, boost::beast::string_view text) {
            if (kind == websocket::frame_type::pong) {
                owner_->OnPong(std::string(text));
            }
        });
    }

    void Start(Manner manner) {
        switch (manner) {
            case Manner::NeverShakesHands:
                return;
            case Manner::HangsUp:
                Drop();
                return;
            case Manner::Talks:
            case Manner::NeverReads:
                reads_ = manner == Manner::Talks;
                stream_.async_accept([self = shared_from_this()](const error_code& error) {
                    if (!error) {
                        self->OnHandshake();
                    }
                });
        }
    }

    void Send(std::string frame) {
        queue_.push_back(std::move(frame));
        if (queue_.size() == 1) {
            Write();
        }
    }

    void Drop() {
        error_code ignored;
        stream_.next_layer().close(ignored);
    }

    void Close() {
        AfterHandshake([this] {
            stream_.async_close(websocket::close_code::going_away, [self = shared_from_this()](const error_code&) {});
        });
    }

    void Ping(const std::string& text) {
        AfterHandshake([this, text] {
            stream_.async_ping(websocket::ping_data(text), [self = shared_from_this()](const error_code&) {});
        });
    }

    void BeginToRead() {
        AfterHandshake([this] {
            if (!std::exchange(reads_, true)) {
                Read();
            }
        });
    }

private:
    void OnHandshake() {
        shaken_ = true;
        Write();
        if (reads_) {
            Read();
        }
        for (const auto& action : std::exchange(deferred_, {})) {
            action();
        }
    }

    /// The client may have seen the end of the handshake earlier than this side.
    void AfterHandshake(std::function<void()> action) {
        if (shaken_) {
            action();
        } else {
            deferred_.push_back(std::move(action));
        }
    }

    void Read() {
        stream_.async_read(buffer_, [self = shared_from_this()](const error_code& error, std::size_t) {
            if (error) {
                self->owner_->OnClosed(error == websocket::error::closed);
                return;
            }
            const std::string frame = boost::beast::buffers_to_string(self->buffer_.data());
            self->buffer_.consume(self->buffer_.size());
            self->owner_->OnFrame(frame);
            self->Read();
        });
    }

    void Write() {
        if (!shaken_ || queue_.empty()) {
            return;
        }
        stream_.async_write(asio::buffer(queue_.front()),
                            [self = shared_from_this()](const error_code& error, std::size_t) {
                                if (!error) {
                                    self->queue_.pop_front();
                                    self->Write();
                                }
                            });
    }

    FakeDeviceStack* owner_;
    websocket::stream<Tcp::socket, false> stream_;
    boost::beast::flat_buffer buffer_;
    std::deque<std::string> queue_;
    bool shaken_ = false;
    bool reads_ = false;
    std::vector<std::function<void()>> deferred_;
};

std::string FakeDeviceStack::AnswerTo(const std::string& frame, const std::string& response) {
    const std::string start = R"({"request":)";
    const auto end = frame.find(',');
    if (frame.rfind(start, 0) != 0 || end == std::string::npos) {
        return "";
    }
    return frame.substr(0, end) + R"(,"response":)" + response + "}";
}

FakeDeviceStack::FakeDeviceStack(Manner manner) : endpoint_(asio::ip::address_v4::loopback(), 0), manner_(manner) {
    Listen();
    endpoint_ = acceptor_.local_endpoint();
    thread_ = boost::thread([this] {
        const auto work = asio::make_work_guard(context_);
        context_.run();
    });
}

FakeDeviceStack::~FakeDeviceStack() {
    context_.stop();
    thread_.join();
}

std::string FakeDeviceStack::GetAddress() const {
    return boost::lexical_cast<std::string>(endpoint_);
}

void FakeDeviceStack::SetReply(Reply reply) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    reply_ = std::move(reply);
}

void FakeDeviceStack::SetManner(Manner manner) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    manner_ = manner;
}

FakeDeviceStack::Manner FakeDeviceStack::GetManner() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return manner_;
}

std::string FakeDeviceStack::NextFrame() {
    return Next(frames_);
}

std::string FakeDeviceStack::NextPong() {
    return Next(pongs_);
}

std::string FakeDeviceStack::Next(std::deque<std::string>& texts) {
    boost::unique_lock<boost::mutex> lock(mutex_);
    if (!changed_.wait_for(lock, LongestWait, [&texts] { return !texts.empty(); })) {
        return {};
    }
    std::string text = std::move(texts.front());
    texts.pop_front();
    return text;
}

void FakeDeviceStack::BeginToRead() {
    asio::post(context_, [this] { session_->BeginToRead(); });
}

void FakeDeviceStack::Ping(const std::string& text) {
    asio::post(context_, [this, text] { session_->Ping(text); });
}

void FakeDeviceStack::SendFrame(const std::string& frame) {
    asio::post(context_, [this, frame] { session_->Send(frame); });
}

void FakeDeviceStack::DropConnection() {
    asio::post(context_, [this] { session_->Drop(); });
}

void FakeDeviceStack::CloseConnection() {
    asio::post(context_, [this] { session_->Close(); });
}

void FakeDeviceStack::StopListening() {
    asio::post(context_, asio::use_future([this] { acceptor_.close(); })).get();
}

void FakeDeviceStack::ListenAgain() {
    asio::post(context_, asio::use_future([this] { Listen(); })).get();
}

std::vector<std::chrono::steady_clock::time_point> FakeDeviceStack::AwaitConnections(std::size_t count) {
    boost::unique_lock<boost::mutex> lock(mutex_);
    changed_.wait_for(lock, LongestWait, [this, count] { return connections_.size() >= count; });
    return connections_;
}

bool FakeDeviceStack::AwaitProperClose() {
    boost::unique_lock<boost::mutex> lock(mutex_);
    return changed_.wait_for(lock, LongestWait, [this] { return closedProperly_; });
}

void FakeDeviceStack::Listen() {
    acceptor_.open(endpoint_.protocol());
    acceptor_.set_option(Tcp::acceptor::reuse_address(true));
    acceptor_.bind(endpoint_);
    acceptor_.listen();
    Accept();
}

void FakeDeviceStack::Accept() {
    acceptor_.async_accept([this](const error_code& error, Tcp::socket socket) {
        if (error) {
            return;
        }
        session_ = std::make_shared<Session>(std::move(socket), *this);
        session_->Start(GetManner());
        {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            connections_.push_back(std::chrono::steady_clock::now());
        }
        changed_.notify_all();
        Accept();
    });
}

void FakeDeviceStack::OnFrame(const std::string& frame) {
    Reply reply;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        frames_.push_back(frame);
        reply = reply_;
    }
    changed_.notify_all();
    if (reply) {
        session_->Send(reply(frame));
    }
}

void FakeDeviceStack::OnPong(const std::string& text) {
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        pongs_.push_back(text);
    }
    changed_.notify_all();
}

void FakeDeviceStack::OnClosed(bool properly) {
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        closedProperly_ = properly;
    }
    changed_.notify_all();
}

}  // namespace TestSupport
