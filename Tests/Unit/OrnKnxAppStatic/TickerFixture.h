#pragma once

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread_only.hpp>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CapturingAppender.h"
#include "SimulatedClock.h"
#include "TickerThreadManager.h"

namespace TestSupport {

constexpr std::uint16_t DisplayCo = 7;

/// Stands for the bus. Thread-safe.
class Display {
public:
    bool Write(std::uint16_t co, const Zandrel::KnxStyleString& text) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        written_.emplace_back(co, text.GetBytes());
        shown_.notify_all();
        return !fails_;
    }
    void Fail() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        fails_ = true;
    }

    /// What was written on all COs, in order, and forgets it.
    std::vector<std::string> Take() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        std::vector<std::string> texts;
        for (auto& [co, text] : std::exchange(written_, {})) {
            texts.push_back(text);
        }
        return texts;
    }
    /// The same for each CO.
    std::map<std::uint16_t, std::vector<std::string>> TakeByCo() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        std::map<std::uint16_t, std::vector<std::string>> texts;
        for (auto& [co, text] : std::exchange(written_, {})) {
            texts[co].push_back(text);
        }
        return texts;
    }
    /// Waits until `count` texts were written. False when they were not within 30 s.
    bool WaitFor(std::size_t count) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        return shown_.wait_for(lock, boost::chrono::seconds(30), [this, count] { return written_.size() >= count; });
    }

private:
    boost::mutex mutex_;  ///< guards what follows
    boost::condition_variable shown_;
    std::vector<std::pair<std::uint16_t, std::string>> written_;
    bool fails_ = false;
};

/// Tickers on a clock that stands still.
class TickerFixture : public testing::Test {
protected:
    using Texts = std::vector<std::string>;

    bool SetText(const std::string& text, std::uint16_t co = DisplayCo) {
        return sut_.SetText(co, Zandrel::KnxStyleString(text));
    }

    /// Lets `time` pass and waits for the `count` segments that are shown meanwhile.
    Texts ShownAfter(Zandrel::Clock::Duration time, std::size_t count) {
        clock_->Advance(time);
        EXPECT_TRUE(display_.WaitFor(count));
        return display_.Take();
    }

    /// What was shown, once no ticker's thread is left that could show more.
    Texts ShownOnceStopped() {
        const auto deadline = boost::chrono::steady_clock::now() + boost::chrono::seconds(10);
        while (CountThreads() > threadsAtStart_ && boost::chrono::steady_clock::now() < deadline) {
            boost::this_thread::yield();
        }
        EXPECT_EQ(CountThreads(), threadsAtStart_);
        return display_.Take();
    }

    static std::ptrdiff_t CountThreads() {
        return std::distance(boost::filesystem::directory_iterator("/proc/self/task"),
                             boost::filesystem::directory_iterator());
    }

    const std::ptrdiff_t threadsAtStart_ = CountThreads();
    LogCapture log_;
    Display display_;
    std::shared_ptr<SimulatedClock> clock_ = std::make_shared<SimulatedClock>();
    Zandrel::TickerThreadManager sut_{
        log_.GetLogger(),
        [this](std::uint16_t co, const Zandrel::KnxStyleString& text) { return display_.Write(co, text); }, clock_};
};

}  // namespace TestSupport
