#include "RequestDispatcher.h"

#include <log4cplus/loggingmacros.h>

#include <algorithm>
#include <charconv>
#include <exception>
#include <map>
#include <utility>

#include "ConfigurationReader.h"
#include "JsonFields.h"
#include "LenientReader.h"
#include "RequestError.h"
#include "Zandrel/WireText.h"

namespace LocalDevice {

namespace {

using nlohmann::json;
using Zandrel::ZANVALUE;

Message ToMessage(const OutgoingJson& object) {
    return std::make_shared<const std::string>(object.dump(-1, ' ', false, OutgoingJson::error_handler_t::replace));
}

Message MakeError(std::optional<std::uint32_t> number, const std::string& text) {
    OutgoingJson answer;
    if (number) {
        answer["request"] = *number;
    }
    answer["error"] = text;
    return ToMessage(answer);
}

/// The number of a request that cannot be read as a whole, where the request begins with it: its sender waits for an
/// answer.
std::optional<std::uint32_t> GuessRequestNumber(std::string_view frame) {
    constexpr std::string_view Beginning = R"({"request":)";
    constexpr std::size_t MaximumDigits = 10;
    if (frame.substr(0, Beginning.size()) != Beginning) {
        return std::nullopt;
    }
    const std::string_view rest = frame.substr(Beginning.size(), MaximumDigits + 1);
    const std::size_t digits = std::min(rest.find_first_not_of("0123456789"), rest.size());
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + digits, number);
    if (error != std::errc() || number == 0 || digits == rest.size() || (*end != ',' && *end != '}')) {
        return std::nullopt;
    }
    return number;
}

/// The text of the value of a request.
TravellingText ReadText(const JsonFields& request) {
    TravellingText travelling{request.NeedString("value")};
    if (const std::optional<std::string> encoding = request.GetString("encoding")) {
        if (*encoding != "latin-1") {
            request.Refuse("encoding", R"(expected "latin-1", or no encoding)");
        }
        travelling.isLatin1 = true;
    }
    return travelling;
}

/// The value that a request at the place `request` has, in the client's format, for a data point.
ZANVALUE ReadValue(TravellingText travelling, ValueFormat format, const DataPoint& point, const Place& request) {
    const Place place(request, "value");
    const std::string text = Unpack(std::move(travelling), place);
    return format == ValueFormat::Native ? FromSerialised(text, place) : FromPlain(text, point, place);
}

Message MakeValueEvent(ObjectId id, const ZANVALUE& value, ValueFormat format) {
    std::string event = R"({"event":"valueChanged","id":)" + std::to_string(id) + ',';
    Zandrel::AppendValueMembers(event, ToText(value, format));
    event += '}';
    return std::make_shared<const std::string>(std::move(event));
}

OutgoingJson EmptyResponse() {
    return OutgoingJson::object();
}

}  // namespace

RequestDispatcher::RequestDispatcher(SerialNumbers serialNumbers, log4cplus::Logger logger)
    : serialNumbers_(std::move(serialNumbers)), logger_(std::move(logger)) {}

void RequestDispatcher::Add(IClient& client) {
    clients_[&client].client = &client;
}

void RequestDispatcher::Remove(IClient& client) {
    clients_.erase(&client);
}

void RequestDispatcher::Dispatch(IClient& client, std::string_view frame) noexcept {
    try {
        Execute(clients_.at(&client), frame);
    } catch (const std::exception& error) {
        LOG4CPLUS_ERROR(logger_, "A request ended unexpectedly: " << error.what());
        ReportUnexpected(client, GuessRequestNumber(frame), error.what());
    }
}

/// The sender is not left to wait; where even that fails, the log has said it.
void RequestDispatcher::ReportUnexpected(IClient& client, std::optional<std::uint32_t> number,
                                         const char* what) noexcept {
    try {
        if (number) {
            client.Send(MakeError(number, std::string("unexpected failure: ") + what));
        }
    } catch (const std::exception& error) {
        LOG4CPLUS_ERROR(logger_, "No answer could be sent: " << error.what());
    }
}

void RequestDispatcher::RefuseTooLarge(IClient& client, std::string_view beginning, std::size_t limit) noexcept {
    try {
        const std::string text = "message too large: the limit is " + std::to_string(limit) + " bytes";
        LOG4CPLUS_WARN(logger_, "Refused a request: " << text);
        client.Send(MakeError(GuessRequestNumber(beginning), text));
    } catch (const std::exception& error) {
        LOG4CPLUS_ERROR(logger_, "A request ended unexpectedly: " << error.what());
    }
}

void RequestDispatcher::Execute(ClientState& client, std::string_view frame) {
    std::optional<std::uint32_t> number = GuessRequestNumber(frame);
    Command command = nullptr;
    try {
        const Place top;
        if (const auto plain = Zandrel::ReadPlainValueFrame(frame, R"({"command":"SetValue","id":)")) {
            command = &RequestDispatcher::SetValue;
            const DataPoint& point = NeedDataPoint(plain->id, top);
            return StoreValue(client, point.id, ReadValue({std::string(plain->value)}, client.format, point, top));
        }
        const json object = ParseLeniently(frame);
        const JsonFields request(object, top);
        number = request.GetNumber("request");
        command = FindCommand(request);
        const OutgoingJson response = (this->*command)(client, request);
        if (number) {
            client.client->Send(ToMessage({{"request", *number}, {"response", response}}));
        }
    } catch (const RequestError& error) {
        LOG4CPLUS_WARN(logger_, "Refused a request of \"" << client.name << "\": " << error.what());
        // A command without number wants no answer; what is not understood might have wanted one.
        if (number || command == nullptr) {
            client.client->Send(MakeError(number, error.what()));
        }
    }
}

RequestDispatcher::Command RequestDispatcher::FindCommand(const JsonFields& request) {
    static const std::map<std::string, Command> commands{
        {"RegisterApplication", &RequestDispatcher::RegisterApplication},
        {"EnableNativeFormat", &RequestDispatcher::EnableNativeFormat},
        {"GetDeviceConfig", &RequestDispatcher::GetDeviceConfig},
        {"EmitEvent", &RequestDispatcher::EmitEvent},
        {"SetConfiguration", &RequestDispatcher::SetConfiguration},
        {"SetValue", &RequestDispatcher::SetValue},
        {"GetValue", &RequestDispatcher::GetValue},
        {"GetObjectModel", &RequestDispatcher::GetObjectModel},
    };
    const auto found = commands.find(request.NeedString("command"));
    if (found == commands.end()) {
        std::string names;
        for (const auto& [name, command] : commands) {
            names.append(names.empty() ? "" : ", ").append(name);
        }
        request.Refuse("command", "expected one of " + names);
    }
    return found->second;
}

OutgoingJson RequestDispatcher::RegisterApplication(ClientState& client, const JsonFields& request) {
    std::string name = request.NeedString("name");
    const std::string type = request.NeedString("type");
    const std::string domain = request.NeedString("domain");
    auto points = request.GetNumbers("dataPoints");
    if (points) {
        std::sort(points->begin(), points->end());
    }
    LOG4CPLUS_INFO(logger_, "Registered \"" << name << "\" (" << type << ", " << domain << ")");
    client.name = std::move(name);
    client.points = std::move(points);
    client.isRegistered = true;
    return EmptyResponse();
}

OutgoingJson RequestDispatcher::EnableNativeFormat(ClientState& client, const JsonFields& /*request*/) {
    LOG4CPLUS_DEBUG(logger_, "Native format for \"" << client.name << "\"");
    client.format = ValueFormat::Native;
    return EmptyResponse();
}

OutgoingJson RequestDispatcher::GetDeviceConfig(ClientState& /*client*/, const JsonFields& /*request*/) {
    OutgoingJson ipc = OutgoingJson::object();
    if (!serialNumbers_.first.empty()) {
        ipc["KnxSerialNumber1"] = serialNumbers_.first;
    }
    if (!serialNumbers_.second.empty()) {
        ipc["KnxSerialNumber2"] = serialNumbers_.second;
    }
    return {{"deviceConfig", {{"ipc", std::move(ipc)}}}};
}

OutgoingJson RequestDispatcher::EmitEvent(ClientState& client, const JsonFields& request) {
    const std::string type = request.NeedString("eventType");
    Report({{"event", "emitted"}, {"eventType", type}, {"sender", client.name}});
    return EmptyResponse();
}

OutgoingJson RequestDispatcher::SetConfiguration(ClientState& /*client*/, const JsonFields& request) {
    if (const json* document = request.GetObject("configuration")) {
        ApplyDocument(*document, request.At("configuration"));
    } else if (const json* properties = request.GetObject("properties")) {
        ApplyProperties(request, *properties);
    } else {
        request.Refuse("configuration", R"(is missing; expected a document, or "id" and "properties")");
    }
    return EmptyResponse();
}

void RequestDispatcher::ApplyDocument(const json& document, const Place& place) {
    for (const ObjectId device : model_.Apply(ConfigurationReader::Read(model_, document, place))) {
        ReportConfiguration(device);
    }
}

void RequestDispatcher::ApplyProperties(const JsonFields& request, const json& json) {
    const ObjectId id = request.NeedNumber("id");
    const Properties* known = model_.FindProperties(id);
    if (known == nullptr) {
        request.Refuse("id", "no object has the id " + std::to_string(id));
    }
    const Place place = request.At("properties");
    Properties properties = *known;
    MergeProperties(JsonFields(json, place), properties);
    ReportConfiguration(model_.SetProperties(id, std::move(properties)));
}

OutgoingJson RequestDispatcher::SetValue(ClientState& client, const JsonFields& request) {
    const DataPoint& point = NeedDataPoint(request.NeedNumber("id"), request.GetPlace());
    const ZANVALUE value = ReadValue(ReadText(request), client.format, point, request.GetPlace());
    // Whether the value answers a read request of the bus makes no difference here.
    request.GetBool("response");
    StoreValue(client, point.id, value);
    return EmptyResponse();
}

void RequestDispatcher::StoreValue(const ClientState& client, ObjectId id, const ZANVALUE& value) {
    if (model_.SetValue(id, value)) {
        ReportValue(client, id, value);
    }
}

OutgoingJson RequestDispatcher::GetValue(ClientState& client, const JsonFields& request) {
    const DataPoint& point = NeedDataPoint(request.NeedNumber("id"), request.GetPlace());
    if (!point.value) {
        request.Refuse("id", "data point " + std::to_string(point.id) + " has no value");
    }
    OutgoingJson response;
    AddValue(response, *point.value, client.format);
    return response;
}

OutgoingJson RequestDispatcher::GetObjectModel(ClientState& client, const JsonFields& request) {
    OutgoingJson devices = OutgoingJson::array();
    if (const std::optional<ObjectId> id = request.GetNumber("id")) {
        const Device* device = model_.FindDevice(*id);
        if (device == nullptr) {
            request.Refuse("id", "no device has the id " + std::to_string(*id));
        }
        devices.push_back(ToJson(model_, *device, client.format));
    } else {
        for (const auto& [deviceId, device] : model_.GetDevices()) {
            devices.push_back(ToJson(model_, device, client.format));
        }
    }
    return {{"devices", std::move(devices)}};
}

const DataPoint& RequestDispatcher::NeedDataPoint(ObjectId id, const Place& request) const {
    const DataPoint* point = model_.FindDataPoint(id);
    if (point == nullptr) {
        Place(request, "id").Refuse("no data point has the id " + std::to_string(id));
    }
    return *point;
}

void RequestDispatcher::ReportValue(const ClientState& writer, ObjectId id, const ZANVALUE& value) {
    // Made once for each format, not once for each client.
    Message plain;
    Message native;
    for (const auto& [key, client] : clients_) {
        if (!client.IsToldOf(id)) {
            continue;
        }
        Message& message = client.format == ValueFormat::Native ? native : plain;
        if (!message) {
            message = MakeValueEvent(id, value, client.format);
        }
        if (&client == &writer) {
            client.client->SendLater(message);
        } else {
            client.client->Send(message);
        }
    }
}

bool RequestDispatcher::ClientState::IsToldOf(ObjectId point) const {
    return isRegistered && (!points || std::binary_search(points->begin(), points->end(), point));
}

void RequestDispatcher::ReportConfiguration(ObjectId device) {
    Report({{"event", "configurationChanged"}, {"id", device}});
}

void RequestDispatcher::Report(const OutgoingJson& event) {
    const Message message = ToMessage(event);
    for (const auto& [key, client] : clients_) {
        if (client.isRegistered) {
            client.client->Send(message);
        }
    }
}

}  // namespace LocalDevice
