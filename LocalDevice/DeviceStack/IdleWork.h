#pragma once

#include <boost/asio/io_context.hpp>
#include <functional>
#include <vector>

namespace LocalDevice {

/// Runs a context, and does what can wait once the context has nothing ready. For one thread.
class IdleWork {
public:
    static constexpr int MostBefore = 64;

    /// `io` must outlive the object.
    explicit IdleWork(boost::asio::io_context& io) : io_(io) {}

    /// Has `work` done when the context has nothing ready, after `MostBefore` of its handlers at the latest.
    void Post(std::function<void()> work) { waiting_.push_back(std::move(work)); }

    /// In place of the context's own `run`, and like it until the context is stopped or has run out of work.
    void Run();

private:
    void RunWhatIsReady(int& left);

    boost::asio::io_context& io_;
    std::vector<std::function<void()>> waiting_;
};

}  // namespace LocalDevice
