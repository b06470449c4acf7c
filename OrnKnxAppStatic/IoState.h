#pragma once

#include <boost/asio/io_service.hpp>
#include <boost/thread/thread_only.hpp>
#include <memory>

namespace Zandrel {

/// The event loop of the timers and the thread that runs it.
class IoState {
public:
    IoState() = default;
    /// Ends like `Stop`.
    ~IoState();
    IoState(const IoState&) = delete;
    IoState& operator=(const IoState&) = delete;

    /// Starts the thread. Throws `boost::thread_resource_error` when it cannot be created.
    void Start();

    /// Lets the loop run out of work and joins its thread: returns when every pending wait has ended. Not to be called
    /// on that thread.
    void Stop();

    boost::asio::io_service& GetService() noexcept { return service_; }

private:
    boost::asio::io_service service_;
    std::unique_ptr<boost::asio::io_service::work> work_;
    boost::thread thread_;
};

}  // namespace Zandrel
