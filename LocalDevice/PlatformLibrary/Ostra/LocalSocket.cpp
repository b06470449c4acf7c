#include "LocalSocket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <boost/lexical_cast.hpp>
#include <string>

namespace Ostra {

boost::asio::local::stream_protocol::endpoint MakeLocalEndpoint(const boost::asio::ip::tcp::endpoint& endpoint) {
    constexpr char Abstract = '\0';
    return {Abstract + ("ostra-device-stack/" + boost::lexical_cast<std::string>(endpoint))};
}

bool IsPeerTrusted(int descriptor) {
    ucred peer{};
    socklen_t size = sizeof(peer);
    return getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           (peer.uid == geteuid() || peer.uid == 0);
}

}  // namespace Ostra
