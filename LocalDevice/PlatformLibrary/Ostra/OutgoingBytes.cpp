#include "OutgoingBytes.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace Ostra {
namespace {

/// Pieces up to this size leave together.
constexpr std::size_t LargestJoint = 16384;

}  // namespace

void OutgoingBytes::Add(std::string bytes) {
    if (bytes.empty()) {
        return;
    }
    const std::size_t size = bytes.size();
    if (!pieces_.empty() && pieces_.back().size() + size <= LargestJoint) {
        pieces_.back() += bytes;
    } else {
        pieces_.push_back(std::move(bytes));
    }
    size_ += size;
}

boost::system::error_code OutgoingBytes::SendTo(int descriptor) {
    while (!pieces_.empty()) {
        const std::string& first = pieces_.front();
        const ssize_t sent =
            send(descriptor, first.data() + sentOfFirst_, first.size() - sentOfFirst_, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent == -1) {
            return {errno, boost::system::system_category()};
        }
        sentOfFirst_ += static_cast<std::size_t>(sent);
        size_ -= static_cast<std::size_t>(sent);
        if (sentOfFirst_ == first.size()) {
            pieces_.pop_front();
            sentOfFirst_ = 0;
        }
    }
    return {};
}

}  // namespace Ostra
