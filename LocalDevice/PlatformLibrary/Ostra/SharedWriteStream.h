#pragma once

#include <boost/asio/async_result.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/basic_stream.hpp>
#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/system/error_code.hpp>
#include <functional>
#include <string>
#include <utility>

namespace Ostra {

/// A connection that hands what is written to somebody who also writes on his own, and thereby keeps the order. For a
/// layer above that writes little, and each time all that belongs together, such as the handshake and the control
/// frames of a WebSocket.
class SharedWriteStream : public boost::beast::basic_stream<boost::asio::generic::stream_protocol> {
public:
    /// Takes bytes, and answers for their errors.
    using Writer = std::function<void(std::string bytes)>;

    /// `onTeardown` is called before the layer above closes the socket of its own accord.
    template <typename ExecutionContext>
    SharedWriteStream(ExecutionContext& context, Writer write, std::function<void()> onTeardown)
        : basic_stream(context), write_(std::move(write)), onTeardown_(std::move(onTeardown)) {}
    SharedWriteStream(socket_type socket, Writer write, std::function<void()> onTeardown)
        : basic_stream(std::move(socket)), write_(std::move(write)), onTeardown_(std::move(onTeardown)) {}

    template <typename Buffers, typename Handler>
    BOOST_ASIO_INITFN_RESULT_TYPE(Handler, void(boost::system::error_code, std::size_t))
    async_write_some(const Buffers& buffers, Handler&& handler) {
        return boost::asio::async_initiate<Handler, void(boost::system::error_code, std::size_t)>(
            [this](auto&& completion, const Buffers& content) {
                std::string bytes = boost::beast::buffers_to_string(content);
                const std::size_t size = bytes.size();
                write_(std::move(bytes));
                boost::asio::post(get_executor(),
                                  boost::beast::bind_front_handler(std::forward<decltype(completion)>(completion),
                                                                   boost::system::error_code(), size));
            },
            handler, buffers);
    }

    void OnTeardown() { onTeardown_(); }

private:
    Writer write_;
    std::function<void()> onTeardown_;
};

/// How a WebSocket on such a stream says good-bye, as Beast looks it up.
template <typename Handler>
void async_teardown(boost::beast::role_type role, SharedWriteStream& stream, Handler&& handler) {
    stream.OnTeardown();
    boost::beast::basic_stream<boost::asio::generic::stream_protocol>& transport = stream;
    boost::beast::async_teardown(role, transport, std::forward<Handler>(handler));
}

}  // namespace Ostra
