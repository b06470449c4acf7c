#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread_only.hpp>
#include <functional>

#include "DescriptorWatch.h"
#include "HandlerCalls.h"
#include "Ostra/IDeviceStackClient.h"

namespace Ostra {

/// The two threads that run a client's context: the event thread, which reads and delivers what it reads without
/// handing it to another thread, and a stand-in.
///
/// A handler may take its time, and may wait for an answer, which somebody has to read. While one is called the
/// stand-in therefore sleeps on the descriptor, and runs the context when something comes. It gives it back as soon as
/// the event thread, done with its handler, has an event to deliver. One thread at a time runs the context: what runs
/// there needs no lock.
class ReadingThreads {
public:
    using Calls = HandlerCalls<IDeviceStackClient::IEventHandler>;
    static constexpr int NoDescriptor = -1;

    /// `calls` is filled by what runs in `context`. `getDescriptor` is called by the thread that runs it and names what
    /// it reads from, or `NoDescriptor` where it waits for something else. They outlive the object. Throws
    /// `std::system_error`.
    ReadingThreads(boost::asio::io_context& context, Calls& calls, std::function<int()> getDescriptor);
    ~ReadingThreads() = default;
    ReadingThreads(const ReadingThreads&) = delete;
    ReadingThreads& operator=(const ReadingThreads&) = delete;

    void Start();

    /// Has `work` done in the context, also while a handler is called. Any thread.
    void Post(std::function<void()> work);

    /// Waits until the context has run out of work. Without effect where the threads have not been started.
    void Join();

private:
    enum class Runner { Nobody, EventThread, StandIn };
    enum class Turn { Run, Deliver, End };

    void RunEventThread();
    Turn AwaitTurn();
    void Deliver(bool isMoreReady);
    void LeaveContext(bool isMoreReady);
    void ForgetLocked();

    void RunStandIn();
    bool TakeContext();
    bool GiveContextBack();

    bool RunContext();
    void Finish();

    boost::asio::io_context& context_;
    Calls& calls_;
    const std::function<int()> getDescriptor_;
    DescriptorWatch watch_;

    boost::mutex mutex_;
    boost::condition_variable changed_;
    Runner runner_ = Runner::EventThread;  ///< of the context
    int watched_ = NoDescriptor;           ///< by the stand-in
    bool isDelivering_ = false;
    bool isPosted_ = false;  ///< since the event thread last began to run the context
    bool isFinished_ = false;

    boost::thread eventThread_;
    boost::thread standIn_;
};

}  // namespace Ostra
