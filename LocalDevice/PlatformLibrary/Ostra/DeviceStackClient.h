#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/thread/mutex.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "DeviceStackFrame.h"
#include "DeviceStackLink.h"
#include "HandlerCalls.h"
#include "HandlerThread.h"
#include "Ostra/IDeviceStackClient.h"
#include "ReadingThreads.h"

namespace Ostra {

/// A client over WebSocket links: one after the other, each new one with the session that was set up on the first.
class DeviceStackClient final : public IDeviceStackClient, private DeviceStackLink::Owner {
public:
    using Endpoints = std::vector<DeviceStackLink::Endpoint>;

    explicit DeviceStackClient(Endpoints endpoints);
    /// Sends what is queued, for half a second at most, and waits for running handlers.
    ~DeviceStackClient() override;
    DeviceStackClient(const DeviceStackClient&) = delete;
    DeviceStackClient& operator=(const DeviceStackClient&) = delete;

    /// Connects for the first time and starts the client's threads; called once. Without success after `timeout`, or
    /// at once when refused, the client stays without connection, and the result says why.
    boost::system::error_code Connect(std::chrono::steady_clock::duration timeout);

    void SetEventHandler(IEventHandler* handler) override;
    void SetResponseHandler(IResponseHandler* handler) override;
    bool Send(const std::string& json) override;
    void SendAtEveryConnect(const std::string& json) override;

private:
    void Post(std::function<void()> work) override;
    void OnLinkConnected() override;
    void OnLinkFrame(const std::string& text) override;
    void OnLinkEnded(const boost::system::error_code& reason) override;

    void Deliver(AnswerFrame&& answer);
    void Deliver(ValueChangedFrame&& change);
    void Deliver(ConfigurationChangedFrame&& change);
    void Deliver(EventEmittedFrame&& event);
    static void Deliver(ComplaintFrame&& complaint);

    void StartLink(std::chrono::steady_clock::duration timeout);
    void ReconnectAfterPause();

    // Used by the thread that runs the context, and before the threads start.
    Endpoints endpoints_;
    boost::asio::io_context context_{1};
    boost::asio::steady_timer reconnectTimer_{context_};
    std::chrono::milliseconds reconnectPause_;
    boost::system::error_code firstError_;
    bool everConnected_ = false;
    bool connected_ = false;
    bool releasing_ = false;

    boost::mutex mutex_;
    std::shared_ptr<DeviceStackLink> link_;
    std::vector<std::string> session_;

    HandlerCalls<IEventHandler> events_;
    HandlerThread<IResponseHandler> answers_;
    ReadingThreads threads_{context_, events_, [this] { return link_->GetDescriptor(); }};
};

}  // namespace Ostra
