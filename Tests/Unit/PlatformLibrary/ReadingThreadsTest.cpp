#include "Ostra/ReadingThreads.h"

#include <gtest/gtest.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/connect_pair.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/chrono/system_clocks.hpp>
#include <boost/thread/future.hpp>
#include <boost/thread/thread_only.hpp>
#include <optional>
#include <string>
#include <vector>

#include "RecordingHandlers.h"

namespace {

namespace asio = boost::asio;
using Socket = asio::local::stream_protocol::socket;
using EventHandler = Ostra::IDeviceStackClient::IEventHandler;
using Lines = std::vector<std::string>;

constexpr boost::chrono::seconds Patience{20};

/// Set once, waited for for 20 s at most.
class Signal {
public:
    void Give() { promise_.set_value(); }
    bool Await() { return future_.wait_for(Patience) == boost::future_status::ready; }

private:
    boost::promise<void> promise_;
    boost::future<void> future_ = promise_.get_future();
};

/// Reads characters from a socket, as a link reads frames: a letter is an event, a digit is done at once.
class ReadingThreads : public testing::Test {
protected:
    ReadingThreads() {
        asio::local::connect_pair(near, far);
        calls.SetHandler(&handler);
        Read();
    }
    ~ReadingThreads() override {
        calls.SetHandler(nullptr);
        sut.Post([this] {
            work.reset();
            near.close();
        });
        sut.Join();
    }

    void Read() {
        asio::async_read(near, asio::buffer(&character, 1),
                         [this](const boost::system::error_code& error, std::size_t) {
                             if (error) {
                                 return;
                             }
                             if (character >= '0' && character <= '9') {
                                 digits.Add(std::string(1, character));
                             } else {
                                 calls.Post([this, letter = character](EventHandler&) { OnEvent(letter); });
                             }
                             Read();
                         });
    }

    void OnEvent(char letter) {
        if (letter == 'W') {
            waiting.Give();
            EXPECT_TRUE(release.Await());
        }
        events.Add(std::string(1, letter));
    }

    void Send(const std::string& characters) { asio::write(far, asio::buffer(characters)); }

    asio::io_context context{1};
    std::optional<asio::executor_work_guard<asio::io_context::executor_type>> work{asio::make_work_guard(context)};
    Socket near{context};
    asio::io_context farContext;
    Socket far{farContext};
    char character = 0;
    Record digits;
    Record events;
    Signal waiting;  ///< the handler of 'W' waits for `release`
    Signal release;
    RecordingEventHandler handler;
    Ostra::ReadingThreads::Calls calls;
    bool isWatchable = true;
    Ostra::ReadingThreads sut{
        context, calls, [this] { return isWatchable ? near.native_handle() : Ostra::ReadingThreads::NoDescriptor; }};
};

TEST_F(ReadingThreads, TheThreadThatReadsDelivers) {
    sut.Start();
    Send("1");
    digits.Await(1);
    Send("ab");
    EXPECT_EQ(events.Await(2), (Lines{"a", "b"}));
    EXPECT_EQ(digits.GetThreads(), events.GetThreads());
}

TEST_F(ReadingThreads, WhileAHandlerWaitsTheOtherReads) {
    sut.Start();
    Send("W");
    ASSERT_TRUE(waiting.Await());
    Send("1");
    EXPECT_EQ(digits.Await(1), Lines{"1"});
    Send("2");
    EXPECT_EQ(digits.Await(2), (Lines{"1", "2"}));
    release.Give();
    EXPECT_EQ(events.Await(1), Lines{"W"});
    EXPECT_NE(digits.GetThreads(), events.GetThreads());
}

TEST_F(ReadingThreads, WhatCameTogetherWithAnEventIsReadWhileItsHandlerWaits) {
    sut.Start();
    Send("W1a2");
    EXPECT_EQ(digits.Await(2), (Lines{"1", "2"}));
    release.Give();
    EXPECT_EQ(events.Await(2), (Lines{"W", "a"}));
}

TEST_F(ReadingThreads, MoreThanIsReadAtOnceIsReadWhileAHandlerWaits) {
    sut.Start();
    const std::string many(1000, '1');
    Send("W" + many);
    EXPECT_EQ(digits.Await(many.size()).size(), many.size());
    release.Give();
    EXPECT_EQ(events.Await(1), Lines{"W"});
}

TEST_F(ReadingThreads, EventsThatComeDuringACallFollowInOrderOnTheSameThread) {
    sut.Start();
    Send("W");
    ASSERT_TRUE(waiting.Await());
    Send("abc1");
    digits.Await(1);
    release.Give();
    events.Await(4);
    Send("def");
    EXPECT_EQ(events.Await(7), (Lines{"W", "a", "b", "c", "d", "e", "f"}));
    EXPECT_EQ(events.GetThreads().size(), 1U);
}

TEST_F(ReadingThreads, TheEventThreadReadsAgainOnceItHadAnEventOfTheOther) {
    sut.Start();
    Send("W");
    ASSERT_TRUE(waiting.Await());
    Send("1");
    digits.Await(1);
    release.Give();
    events.Await(1);
    // Not at once: the two may still be on their way.
    const auto eventThread = *events.GetThreads().begin();
    const auto deadline = boost::chrono::steady_clock::now() + Patience;
    boost::thread::id reader;
    for (std::size_t count = 2; reader != eventThread && boost::chrono::steady_clock::now() < deadline; ++count) {
        Send("a");
        events.Await(count);
        Signal done;
        sut.Post([&reader, &done] {
            reader = boost::this_thread::get_id();
            done.Give();
        });
        ASSERT_TRUE(done.Await());
    }
    EXPECT_EQ(reader, eventThread);
}

TEST_F(ReadingThreads, WorkIsDoneWhileAHandlerWaits) {
    sut.Start();
    Send("W");
    ASSERT_TRUE(waiting.Await());
    Signal done;
    sut.Post([&done] { done.Give(); });
    EXPECT_TRUE(done.Await());
    release.Give();
    EXPECT_EQ(events.Await(1), Lines{"W"});
}

TEST_F(ReadingThreads, WithoutDescriptorTheOtherReadsAsSoonAsAHandlerIsCalled) {
    isWatchable = false;
    sut.Start();
    Send("W");
    ASSERT_TRUE(waiting.Await());
    Send("1");
    EXPECT_EQ(digits.Await(1), Lines{"1"});
    release.Give();
    EXPECT_EQ(events.Await(1), Lines{"W"});
}

TEST_F(ReadingThreads, AHandlerThatIsDroppedMeanwhileLeavesTheReadingToSomebody) {
    sut.Start();
    Send("W");
    ASSERT_TRUE(waiting.Await());
    Send("1");
    digits.Await(1);
    release.Give();
    calls.SetHandler(nullptr);
    Send("a2");
    EXPECT_EQ(digits.Await(2), (Lines{"1", "2"}));
    calls.SetHandler(&handler);
    Send("b");
    EXPECT_EQ(events.Await(2), (Lines{"W", "b"}));
}

TEST_F(ReadingThreads, NoEventIsLostOrOvertakenInATurmoil) {
    constexpr int Rounds = 300;
    sut.Start();
    Lines sent;
    for (int i = 0; i < Rounds; ++i) {
        const char letter = static_cast<char>('a' + i % 26);
        Send(std::string(1, letter) + "1" + letter);
        sut.Post([] {});
        sent.insert(sent.end(), 2, std::string(1, letter));
    }
    EXPECT_EQ(events.Await(sent.size()), sent);
    EXPECT_EQ(digits.Await(Rounds).size(), static_cast<std::size_t>(Rounds));
}

}  // namespace
