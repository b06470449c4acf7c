#include "Ostra/DescriptorWatch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <boost/thread/future.hpp>
#include <boost/thread/thread_only.hpp>
#include <utility>

namespace {

constexpr int NoDescriptor = -1;

/// Both ends of a connection; the test reads from `near`.
class DescriptorWatch : public testing::Test {
protected:
    DescriptorWatch() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
        near = ends[0];
        far = ends[1];
    }
    ~DescriptorWatch() override {
        ::close(near);
        CloseFar();
    }

    void CloseFar() {
        if (far != NoDescriptor) {
            ::close(far);
        }
        far = NoDescriptor;
    }

    int near = NoDescriptor;
    int far = NoDescriptor;
    Ostra::DescriptorWatch sut;
};

TEST_F(DescriptorWatch, WaitReturnsWhenWoken) {
    sut.Wake();
    sut.Wait();
}

TEST_F(DescriptorWatch, WaitReturnsForWhatComes) {
    ASSERT_TRUE(sut.Watch(near));
    ASSERT_EQ(::write(far, "x", 1), 1);
    sut.Wait();
}

TEST_F(DescriptorWatch, WaitReturnsForWhatIsThereAlready) {
    ASSERT_EQ(::write(far, "x", 1), 1);
    ASSERT_TRUE(sut.Watch(near));
    sut.Wait();
}

TEST_F(DescriptorWatch, WaitReturnsWhenThePeerIsGone) {
    ASSERT_TRUE(sut.Watch(near));
    CloseFar();
    sut.Wait();
}

TEST_F(DescriptorWatch, ForgottenDescriptorMayBeWatchedAgain) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(sut.Watch(near));
        sut.Forget(near);
    }
    EXPECT_TRUE(sut.Watch(near));
}

TEST_F(DescriptorWatch, AnotherDescriptorOfTheSameNumberMayBeWatched) {
    ASSERT_TRUE(sut.Watch(near));
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    ASSERT_EQ(::dup3(ends[0], near, O_CLOEXEC), near);
    ::close(ends[0]);
    ASSERT_TRUE(sut.Watch(near));
    ASSERT_EQ(::write(ends[1], "x", 1), 1);
    sut.Wait();
    ::close(ends[1]);
}

TEST_F(DescriptorWatch, WhatComesToAForgottenDescriptorWakesNobody) {
    ASSERT_TRUE(sut.Watch(near));
    sut.Forget(near);
    ASSERT_EQ(::write(far, "x", 1), 1);
    boost::packaged_task<void()> wait([this] { sut.Wait(); });
    auto isOver = wait.get_future();
    boost::thread waiter(std::move(wait));
    EXPECT_EQ(isOver.wait_for(boost::chrono::milliseconds(20)), boost::future_status::timeout);
    sut.Wake();
    waiter.join();
}

TEST_F(DescriptorWatch, ForgettingWhatIsNotWatchedOrNotThereDoesNothing) {
    sut.Forget(near);
    sut.Forget(NoDescriptor);
    EXPECT_TRUE(sut.Watch(near));
}

TEST_F(DescriptorWatch, WhatIsNoDescriptorCannotBeWatched) {
    EXPECT_FALSE(sut.Watch(NoDescriptor));
}

}  // namespace
