#pragma once

#include <boost/system/error_code.hpp>
#include <cstddef>
#include <deque>
#include <string>

namespace Ostra {

/// Bytes on their way into a socket, in order. Does not wait: what the socket does not take at once stays here. Small
/// pieces that wait leave together. Not thread-safe.
class OutgoingBytes {
public:
    /// To be sent after what waits already.
    void Add(std::string bytes);

    /// Sends as much as the socket takes at once. Why it did not take everything: `would_block`, or what broke it.
    boost::system::error_code SendTo(int descriptor);

    bool IsEmpty() const { return pieces_.empty(); }
    /// How many bytes wait.
    std::size_t GetSize() const { return size_; }

private:
    std::deque<std::string> pieces_;  ///< none is empty
    std::size_t sentOfFirst_ = 0;
    std::size_t size_ = 0;
};

}  // namespace Ostra
