#include "Ostra/OutgoingBytes.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <boost/asio/error.hpp>
#include <string>
#include <utility>

namespace {

namespace error = boost::asio::error;

class OutgoingBytes : public testing::Test {
protected:
    void SetUp() override { Open(SOCK_STREAM); }
    ~OutgoingBytes() override { Close(); }

    /// With `SOCK_DGRAM` each sending arrives by itself.
    void Open(int type) {
        Close();
        ASSERT_EQ(socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends_.data()), 0);
    }
    void Close() {
        for (int& end : ends_) {
            close(std::exchange(end, -1));
        }
    }
    void CloseReader() { close(std::exchange(ends_[1], -1)); }

    boost::system::error_code Send() { return sut.SendTo(ends_[0]); }

    /// What has arrived, or the next sending; empty for nothing.
    std::string Receive() const {
        std::string bytes(65536, '\0');
        const ssize_t size = recv(ends_[1], bytes.data(), bytes.size(), MSG_DONTWAIT);
        bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return bytes;
    }

    Ostra::OutgoingBytes sut;

private:
    std::array<int, 2> ends_{-1, -1};
};

/// Bytes of which none equals its neighbours.
std::string MakeBytes(std::size_t size) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>(i % 251);
    }
    return bytes;
}

TEST_F(OutgoingBytes, AreSentAtOnce) {
    sut.Add("text");
    EXPECT_EQ(sut.GetSize(), 4U);
    EXPECT_FALSE(Send());
    EXPECT_EQ(Receive(), "text");
    EXPECT_TRUE(sut.IsEmpty());
    EXPECT_EQ(sut.GetSize(), 0U);
}

TEST_F(OutgoingBytes, NoneAreNothingToSend) {
    sut.Add("");
    EXPECT_TRUE(sut.IsEmpty());
    EXPECT_FALSE(Send());
}

TEST_F(OutgoingBytes, ThatWaitLeaveTogether) {
    Open(SOCK_DGRAM);
    sut.Add("a");
    sut.Add("b");
    sut.Add("c");
    EXPECT_FALSE(Send());
    EXPECT_EQ(Receive(), "abc");
}

TEST_F(OutgoingBytes, ThatAreManyAreNotCopiedForThat) {
    Open(SOCK_DGRAM);
    const std::string many(16384, 'm');
    sut.Add("a");
    sut.Add(many);
    EXPECT_FALSE(Send());
    EXPECT_EQ(Receive(), "a");
    EXPECT_EQ(Receive(), many);
}

TEST_F(OutgoingBytes, KeepTheirOrderWhereTheSocketTakesAFewOnly) {
    const std::string first = MakeBytes(5'000'000);
    sut.Add(first);
    EXPECT_EQ(Send(), error::would_block);
    EXPECT_GT(sut.GetSize(), 0U);
    EXPECT_LT(sut.GetSize(), first.size());
    sut.Add("last");

    std::string received;
    while (!sut.IsEmpty()) {
        const auto reason = Send();
        EXPECT_TRUE(!reason || reason == error::would_block) << reason.message();
        for (std::string bytes = Receive(); !bytes.empty(); bytes = Receive()) {
            received += bytes;
        }
    }
    EXPECT_TRUE(received == first + "last");
    EXPECT_EQ(sut.GetSize(), 0U);
}

TEST_F(OutgoingBytes, StayWhereTheSocketIsBroken) {
    CloseReader();
    sut.Add("text");
    EXPECT_EQ(Send(), error::broken_pipe);
    EXPECT_EQ(sut.GetSize(), 4U);
    EXPECT_EQ(sut.SendTo(-1), error::bad_descriptor);
}

}  // namespace
