#include "Control/ControlConnection.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <nlohmann/json.hpp>
#include <utility>

#include "Control/ControlRequest.h"
#include "Output/EventJson.h"

namespace LocalDevice {

namespace {

nlohmann::json MakeError(const std::string& text) {
    return {{"ok", false}, {"error", text}};
}

bool IsMonitor(const nlohmann::json& request) {
    const auto command = request.find("command");  // of anything but an object: the end
    return command != request.end() && *command == "monitor";
}

}  // namespace

ControlConnection::ControlConnection(Socket socket, HostEvents& events, Executor execute, EndHandler onEnded)
    : socket_(std::move(socket)), events_(events), execute_(std::move(execute)), onEnded_(std::move(onEnded)) {}

void ControlConnection::Reject(const std::string& reason) {
    isEnding_ = true;
    Send(MakeError(reason));
}

void ControlConnection::Close() {
    isEnded_ = true;
    subscription_.reset();
    boost::system::error_code ignored;  // it is closed either way
    socket_.close(ignored);
}

void ControlConnection::Read() {
    boost::asio::async_read_until(
        socket_, boost::asio::dynamic_buffer(incoming_, LongestLine), '\n',
        [self = shared_from_this()](const boost::system::error_code& error, std::size_t length) {
            if (self->isEnded_) {
                return;
            }
            if (error == boost::asio::error::not_found) {
                self->Reject("a request has " + std::to_string(LongestLine) + " bytes at most");
                return;
            }
            if (error) {
                self->End();
                return;
            }
            const std::string line = self->incoming_.substr(0, length - 1);
            self->incoming_.erase(0, length);
            self->Handle(line);
        });
}

void ControlConnection::Handle(const std::string& line) {
    try {
        Execute(ParseRequest(line));
    } catch (const ControlError& error) {
        Answer({}, MakeError(error.what()));
    }
}

void ControlConnection::Execute(const nlohmann::json& request) {
    // The thread that serves the socket goes on until the answer has been handed to it.
    const auto work = boost::asio::make_work_guard(socket_.get_executor());
    try {
        worker_ = boost::thread([self = shared_from_this(), request, work] {
            auto answer = self->execute_(request);
            boost::asio::post(work.get_executor(), [self, request, answer = std::move(answer)] {
                self->worker_.join();
                if (!self->isEnded_) {
                    self->Answer(request, answer);
                }
            });
        });
    } catch (const boost::thread_resource_error& error) {
        Answer(request, MakeError("no thread can be started for the request: " + error.code().message()));
    }
}

void ControlConnection::Answer(const nlohmann::json& request, const nlohmann::json& answer) {
    if (outgoingBytes_ > MaxUnreadBytes) {
        End();
        events_.Publish(
            MessageEvent{true, "control socket: a client does not read its answers; its connection is closed"});
        return;
    }
    // Before the client knows: nothing that happens after the answer is missed. Events come behind it all the same.
    if (answer.value("ok", false) && IsMonitor(request)) {
        Subscribe();
    }
    Send(answer);
    Read();
}

void ControlConnection::Subscribe() {
    if (subscription_) {
        return;
    }
    const auto executor = socket_.get_executor();
    subscription_ = events_.Subscribe([executor, weak = weak_from_this()](const HostEvent& event) {
        boost::asio::post(executor, [weak, event] {
            const auto self = weak.lock();
            if (self) {
                self->OnEvent(event);
            }
        });
    });
}

void ControlConnection::OnEvent(const HostEvent& event) {
    if (isEnded_) {
        return;
    }
    if (outgoingBytes_ > MaxWaitingBytes) {
        ++lostEvents_;
        return;
    }
    ReportLostEvents();
    Send(MakeEventJson(event));
}

void ControlConnection::ReportLostEvents() {
    if (lostEvents_ != 0) {
        Send({{"event", "lost"}, {"count", std::exchange(lostEvents_, 0)}});
    }
}

void ControlConnection::Send(const nlohmann::json& message) {
    outgoing_.push_back(MakeJsonText(message) + "\n");
    outgoingBytes_ += outgoing_.back().size();
    if (outgoing_.size() == 1) {
        Write();
    }
}

void ControlConnection::Write() {
    boost::asio::async_write(socket_, boost::asio::buffer(outgoing_.front()),
                             [self = shared_from_this()](const boost::system::error_code& error, std::size_t) {
                                 if (self->isEnded_) {
                                     return;
                                 }
                                 self->outgoingBytes_ -= self->outgoing_.front().size();
                                 self->outgoing_.pop_front();
                                 if (error || (self->isEnding_ && self->outgoing_.empty())) {
                                     self->End();
                                 } else if (!self->outgoing_.empty()) {
                                     self->Write();
                                 } else {
                                     self->ReportLostEvents();
                                 }
                             });
}

void ControlConnection::End() {
    Close();
    onEnded_(shared_from_this());
}

}  // namespace LocalDevice
