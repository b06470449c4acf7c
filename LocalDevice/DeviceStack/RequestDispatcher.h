#pragma once

#include <log4cplus/logger.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "ObjectModel.h"
#include "ObjectModelJson.h"
#include "ValueText.h"

namespace LocalDevice {

class JsonFields;

/// One JSON object on its way out, shared by all clients that get it.
using Message = std::shared_ptr<const std::string>;

/// A client as the dispatcher sees it.
class IClient {
public:
    /// Takes a message for delivery, without waiting. Must not call the dispatcher back.
    virtual void Send(const Message& message) = 0;
    /// The same for what is no news to the client: it may wait until there is nothing else to do, or until the next
    /// message.
    virtual void SendLater(const Message& message) = 0;

protected:
    ~IClient() = default;
};

/// What the device stack knows of the device it runs on: 12 hexadecimal digits each, empty where there is none.
struct SerialNumbers {
    std::string first;
    std::string second;
};

/// Executes the commands of all clients on one object model, answers them and tells the registered clients what
/// happened. Not thread-safe. Bad input of any kind ends in an error answer; no exception leaves.
class RequestDispatcher {
public:
    RequestDispatcher(SerialNumbers serialNumbers, log4cplus::Logger logger);

    /// A client is known from `Add` to `Remove`; the dispatcher does not own it.
    void Add(IClient& client);
    void Remove(IClient& client);

    /// Executes one frame of a client.
    void Dispatch(IClient& client, std::string_view frame) noexcept;

    /// Answers a message that was not kept because of its size. `beginning`: the first bytes of it.
    void RefuseTooLarge(IClient& client, std::string_view beginning, std::size_t limit) noexcept;

private:
    struct ClientState {
        IClient* client;
        ValueFormat format = ValueFormat::Plain;
        bool isRegistered = false;
        std::optional<std::vector<ObjectId>> points;  ///< sorted; whose values are reported, none: those of all
        std::string name;

        bool IsToldOf(ObjectId point) const;
    };
    using Command = OutgoingJson (RequestDispatcher::*)(ClientState&, const JsonFields&);

    static Command FindCommand(const JsonFields& request);

    void Execute(ClientState& client, std::string_view frame);
    void ReportUnexpected(IClient& client, std::optional<std::uint32_t> number, const char* what) noexcept;

    OutgoingJson RegisterApplication(ClientState& client, const JsonFields& request);
    OutgoingJson EnableNativeFormat(ClientState& client, const JsonFields& request);
    OutgoingJson GetDeviceConfig(ClientState& client, const JsonFields& request);
    OutgoingJson EmitEvent(ClientState& client, const JsonFields& request);
    OutgoingJson SetConfiguration(ClientState& client, const JsonFields& request);
    OutgoingJson SetValue(ClientState& client, const JsonFields& request);
    OutgoingJson GetValue(ClientState& client, const JsonFields& request);
    OutgoingJson GetObjectModel(ClientState& client, const JsonFields& request);

    void ApplyDocument(const nlohmann::json& document, const Place& place);
    void ApplyProperties(const JsonFields& request, const nlohmann::json& json);
    const DataPoint& NeedDataPoint(ObjectId id, const Place& request) const;
    void StoreValue(const ClientState& client, ObjectId id, const Zandrel::ZANVALUE& value);

    void ReportValue(const ClientState& writer, ObjectId id, const Zandrel::ZANVALUE& value);
    void ReportConfiguration(ObjectId device);
    void Report(const OutgoingJson& event);

    const SerialNumbers serialNumbers_;
    const log4cplus::Logger logger_;
    ObjectModel model_;
    std::unordered_map<IClient*, ClientState> clients_;
};

}  // namespace LocalDevice
