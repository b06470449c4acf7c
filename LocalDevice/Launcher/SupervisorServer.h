#pragma once

#include <sys/types.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <functional>
#include <memory>
#include <string>

#include "SupervisorRequest.h"

namespace LocalDevice {

/// The supervisor's Unix socket: takes requests, one JSON object a line, from any number of clients. A client gets no
/// answer. A line of more than 4 KiB ends its connection.
///
/// For the thread that runs `io`. The destructor ends everything; the handler is not called after it.
class SupervisorServer {
public:
    /// `peer`: the process that connected; 0 where the system does not tell.
    using Handler = std::function<void(const SupervisorRequest& request, pid_t peer)>;

    /// Listens at `path`, in place of a socket there that nobody listens to any more. Throws
    /// `std::runtime_error`, one line with the path.
    SupervisorServer(boost::asio::io_context& io, const std::string& path, Handler handler);
    ~SupervisorServer();
    SupervisorServer(const SupervisorServer&) = delete;
    SupervisorServer& operator=(const SupervisorServer&) = delete;

private:
    class Core;

    std::shared_ptr<Core> core_;
};

}  // namespace LocalDevice
