#pragma once

#include <boost/thread/thread.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "Bus/IBusLink.h"
#include "Bus/KnxdConnection.h"

namespace LocalDevice {

/// The bus behind a knxd, through one group connection that one thread of this object reads. Telegrams are written by
/// the thread that sends them, or by this one where knxd does not take them at once. A lost connection is opened again,
/// with a pause that grows from 0.2 to 10 seconds.
///
/// While knxd is away, `MaxWaitingTelegrams` telegrams are kept and sent when it is back; the rest is dropped. The
/// process must not die of SIGPIPE.
class KnxdBusLink final : public IBusLink {
public:
    static constexpr std::size_t MaxWaitingTelegrams = 1000;

    /// Takes one line each time the connection is lost (false) or back (true). Called on the link's thread.
    using ConnectionHandler = std::function<void(bool isConnected, const std::string& line)>;

    /// `url`: "local:PATH" or "ip:HOST[:PORT]". Connects at once and throws `BusError` where that fails.
    KnxdBusLink(const std::string& url, TelegramHandler onTelegram, ConnectionHandler onConnection);

    /// Sends what waits where knxd is there.
    ~KnxdBusLink() override;
    KnxdBusLink(const KnxdBusLink&) = delete;
    KnxdBusLink& operator=(const KnxdBusLink&) = delete;

    bool Send(const Telegram& telegram) override;
    bool IsConnected() const override;

private:
    class Core;

    const std::shared_ptr<Core> core_;  ///< shared with the thread, which a host that does not answer can hold up
    boost::thread thread_;
};

}  // namespace LocalDevice
