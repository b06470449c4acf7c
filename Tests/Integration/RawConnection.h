#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace IntegrationTest {

/// A TCP connection to the local host without any manners.
class RawConnection {
public:
    /// Throws `std::system_error` where nobody listens.
    explicit RawConnection(std::uint16_t port);
    ~RawConnection();
    RawConnection(const RawConnection&) = delete;
    RawConnection& operator=(const RawConnection&) = delete;

    /// False when the connection is lost or takes nothing for a while.
    bool Send(std::string_view bytes);

    /// Waits for `part` and returns all that came so far; all until then where the connection or the time ends before.
    std::string ReceiveUntil(std::string_view part, std::chrono::milliseconds limit = std::chrono::seconds(20));

    /// All that comes until the peer closes the connection or the time ends.
    std::string ReceiveToEnd(std::chrono::milliseconds limit = std::chrono::seconds(20));

    /// Reads until the peer closes the connection; false when it does not in time.
    bool WaitForEnd(std::chrono::milliseconds limit = std::chrono::seconds(20));

    /// Half-closes the connection: the peer sees the end of the input.
    void EndOutput();

    /// Makes the destructor reset the connection instead of closing it in order.
    void ResetAtEnd();

    /// The request that opens a WebSocket.
    static std::string GetUpgradeRequest(std::string_view additionalHeaders = "");

    /// Opens a WebSocket; false when the peer does not.
    bool Upgrade();

    /// A frame as a client sends it, masked (with the key 0). `length`: the one that it announces.
    static std::string MakeFrame(unsigned opcode, std::string_view payload, bool isFinal = true);
    static std::string MakeFrameHeader(unsigned opcode, std::uint64_t length, bool isFinal = true);

private:
    /// False at the end of the input or of the time.
    bool ReceiveSome(std::chrono::steady_clock::time_point deadline);

    int socket_;
    std::string received_;
};

constexpr unsigned TextOpcode = 1;
constexpr unsigned BinaryOpcode = 2;

}  // namespace IntegrationTest
