#include "Control/ControlCommands.h"

#include <algorithm>
#include <array>
#include <boost/thread/lock_guard.hpp>
#include <exception>
#include <limits>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "Control/ControlRequest.h"
#include "GroupObjects/ValueFormat.h"
#include "GroupObjects/ValueText.h"
#include "KnxAddress.h"
#include "Output/EventJson.h"

namespace LocalDevice {

namespace {

constexpr std::uint32_t DefaultReadTimeoutMs = 2'000;
constexpr std::uint32_t LongestReadTimeoutMs = 60'000;
constexpr std::uint32_t MaxUInt16 = std::numeric_limits<std::uint16_t>::max();

nlohmann::json Answer(const CallResult& result) {
    if (!result.result) {
        throw ControlError(result.problem);
    }
    nlohmann::json answer{{"result", *result.result}};
    if (!result.problem.empty()) {
        answer["problem"] = result.problem;
    }
    return answer;
}

nlohmann::json Describe(const TelegramCounters& counters) {
    return {
        {"received", counters.received.load()}, {"unaddressed", counters.unaddressed.load()},
        {"overrun", counters.overrun.load()},   {"taken", counters.taken.load()},
        {"ignored", counters.ignored.load()},   {"refused", counters.refused.load()},
        {"answered", counters.answered.load()}, {"silent", counters.silent.load()},
        {"sent", counters.sent.load()},         {"queued", counters.queued.load()},
        {"kept", counters.kept.load()},         {"echo", counters.echo.load()},
        {"dropped", counters.dropped.load()},
    };
}

/// The value that a request gives as hexadecimal digits.
void SetRawValue(Telegram& telegram, const nlohmann::json& request, const std::string& digits) {
    const auto bytes = ParseHex(digits);
    if (!bytes || bytes->empty() || bytes->size() > MaxValueBytes) {
        throw ControlError("\"raw\" must be 1 to 252 bytes in hexadecimal digits");
    }
    telegram.data = *bytes;
    telegram.isCompact = FindBoolean(request, "compact").value_or(false);
    if (telegram.isCompact && (bytes->size() != 1 || bytes->front() > 0x3F)) {
        throw ControlError("a compact value has 6 bits at most");
    }
}

/// The value that a request gives as text, number or boolean.
void SetValue(Telegram& telegram, const nlohmann::json& request, std::optional<std::uint32_t> dpt) {
    const auto value = request.find("value");
    if (value == request.end()) {
        throw ControlError(R"("value" or "raw" is missing)");
    }
    RequireNoNul(*value, "value");
    if (!dpt) {
        throw ControlError("the device does not know " + FormatGroupAddress(telegram.groupAddress) +
                           R"(; expected a data-point type, such as "dpt":"1.001")");
    }
    const auto format = ValueFormat::Of(*dpt);
    const auto groupValue = MakeGroupValue(*value, *dpt);
    if (!format || !groupValue) {
        throw ControlError(MakeJsonText(*value) + " is no value of data-point type " + FormatDpt(*dpt));
    }
    telegram.data = groupValue->GetBytes();
    telegram.isCompact = format->IsCompact();
}

}  // namespace

ControlCommands::ControlCommands(KnxStackHost& host, DeviceDescription device, DescriptionLoader load)
    : host_(host), load_(std::move(load)), device_(std::move(device)) {}

nlohmann::json ControlCommands::Execute(const nlohmann::json& request) {
    nlohmann::json answer;
    try {
        answer = Dispatch(request);
        answer["ok"] = true;
    } catch (const std::exception& error) {
        answer = {{"ok", false}, {"error", error.what()}};
    }
    if (request.is_object() && request.contains("request")) {
        answer["request"] = request["request"];
    }
    return answer;
}

nlohmann::json ControlCommands::Dispatch(const nlohmann::json& request) {
    if (!request.is_object()) {
        throw ControlError("expected one JSON object a line");
    }
    const auto name = FindText(request, "command");
    if (!name) {
        throw ControlError("\"command\" is missing");
    }
    return (this->*FindCommand(*name))(request);
}

ControlCommands::Command ControlCommands::FindCommand(const std::string& name) {
    static constexpr std::array<std::pair<std::string_view, Command>, 11> Commands{{
        {"status", &ControlCommands::Status},
        {"restart", &ControlCommands::Restart},
        {"exit", &ControlCommands::Exit},
        {"start", &ControlCommands::Start},
        {"download", &ControlCommands::Download},
        {"unload", &ControlCommands::Unload},
        {"property", &ControlCommands::ReadProperty},
        {"write", &ControlCommands::Write},
        {"respond", &ControlCommands::Respond},
        {"read", &ControlCommands::Read},
        {"monitor", &ControlCommands::Monitor},
    }};
    const auto* const found =
        std::find_if(Commands.begin(), Commands.end(), [&](const auto& command) { return command.first == name; });
    if (found == Commands.end()) {
        throw ControlError("there is no command \"" + name + "\"");
    }
    return found->second;
}

nlohmann::json ControlCommands::Status(const nlohmann::json&) {
    const DeviceDescription device = GetDevice();
    const ApiHub& hub = host_.GetHub();
    return {
        {"name", device.name},
        {"appId", device.appId},
        {"individualAddress", FormatIndividualAddress(device.individualAddress)},
        {"groupObjects", host_.GetGroupObjects().GetObjectCount()},
        {"started", host_.GetApplication().IsStarted()},
        {"runState", ToText(hub.GetRunState())},
        {"runStates", hub.GetRunStateCount()},
        {"lastErrors", host_.GetLastErrors().Get()},
        {"cycles", hub.GetCycleCount()},
        {"restarts", host_.GetApplication().GetRestartCount()},
        {"busConnected", host_.GetGroupObjects().IsConnected()},
        {"loadStates", GetLoadStates()},
        {"telegrams", Describe(host_.GetGroupObjects().GetCounters())},
    };
}

nlohmann::json ControlCommands::Restart(const nlohmann::json&) {
    return Answer(host_.GetApplication().Restart());
}

nlohmann::json ControlCommands::Exit(const nlohmann::json&) {
    return Answer(host_.GetApplication().Exit());
}

nlohmann::json ControlCommands::Start(const nlohmann::json&) {
    return Answer(host_.GetApplication().Start());
}

nlohmann::json ControlCommands::Download(const nlohmann::json& request) {
    DownloadRequest download;
    download.objects = FindObjects(request, "objects").value_or(download.objects);
    download.abortAfter = FindObject(request, "abortAfter");
    if (download.abortAfter &&
        std::count(download.objects.begin(), download.objects.end(), *download.abortAfter) == 0) {
        throw ControlError("\"abortAfter\" must be one of the objects to download");
    }
    const auto file = FindText(request, "file");
    const DeviceDescription device = file ? load_(*file) : GetDevice();
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        device_ = device;
    }
    const auto problem = host_.GetDownloader().Download(device, download);
    if (problem) {
        throw ControlError(*problem);
    }
    return {{"loadStates", GetLoadStates()}};
}

nlohmann::json ControlCommands::Unload(const nlohmann::json&) {
    const auto problem = host_.GetDownloader().Unload();
    if (problem) {
        throw ControlError(*problem);
    }
    return {{"loadStates", GetLoadStates()}};
}

nlohmann::json ControlCommands::ReadProperty(const nlohmann::json& request) {
    const auto object = FindNumber(request, "object", MaxUInt16);
    const auto id = FindNumber(request, "id", MaxUInt16);
    if (!object || !id) {
        throw ControlError(R"("object" and "id" must be there)");
    }
    InterfaceObject* const found = host_.GetObjects().Find(static_cast<std::uint16_t>(*object));
    if (found == nullptr) {
        throw ControlError("there is no interface object of type " + std::to_string(*object));
    }
    const Property* const property = found->FindProperty(static_cast<std::uint16_t>(*id));
    if (property == nullptr) {
        throw ControlError("the object has no property " + std::to_string(*id));
    }
    const auto start = static_cast<std::uint16_t>(FindNumber(request, "start", MaxUInt16).value_or(1));
    const auto count = static_cast<std::uint16_t>(FindNumber(request, "count", MaxUInt16).value_or(1));
    return {{"raw", FormatHex(property->ReadFromBus(start, count))}};
}

nlohmann::json ControlCommands::Write(const nlohmann::json& request) {
    return Send(GroupService::Write, request);
}

nlohmann::json ControlCommands::Respond(const nlohmann::json& request) {
    return Send(GroupService::Response, request);
}

nlohmann::json ControlCommands::Read(const nlohmann::json& request) {
    const auto address = GetGroupAddress(request);
    const auto timeout = FindNumber(request, "timeoutMs", LongestReadTimeoutMs).value_or(DefaultReadTimeoutMs);
    const auto response = host_.GetParticipant().Read(address, std::chrono::milliseconds(timeout));
    if (!response) {
        throw ControlError("nobody answered on " + FormatGroupAddress(address) + " within " + std::to_string(timeout) +
                           " ms");
    }
    nlohmann::json answer{{"raw", FormatHex(response->data)}, {"source", FormatIndividualAddress(response->source)}};
    const auto dpt = host_.GetGroupObjects().FindDpt(address);
    const auto format = dpt ? ValueFormat::Of(*dpt) : std::nullopt;
    const auto value = format ? format->Decode(*response) : std::nullopt;
    const auto text = value ? GetValueText(*value, *dpt) : std::nullopt;
    if (text) {
        answer["value"] = *text;
    }
    return answer;
}

/// The connection does the rest.
// NOLINTNEXTLINE(readability-convert-member-functions-to-static): as the other commands
nlohmann::json ControlCommands::Monitor(const nlohmann::json&) {
    return nlohmann::json::object();
}

nlohmann::json ControlCommands::Send(GroupService service, const nlohmann::json& request) {
    Telegram telegram;
    telegram.service = service;
    telegram.groupAddress = GetGroupAddress(request);
    const auto raw = FindText(request, "raw");
    const auto dptText = FindText(request, "dpt");
    const auto dpt = dptText ? ParseDpt(*dptText) : host_.GetGroupObjects().FindDpt(telegram.groupAddress);
    if (dptText && !dpt) {
        throw ControlError(R"("dpt" must be a data-point type, such as "1.001")");
    }
    if (raw && request.contains("value")) {
        throw ControlError(R"("value" and "raw" exclude each other)");
    }
    if (raw) {
        SetRawValue(telegram, request, *raw);
    } else {
        SetValue(telegram, request, dpt);
    }
    const auto listeners = host_.GetGroupObjects().CountListeners(telegram.groupAddress);
    if (!host_.GetParticipant().Send(telegram)) {
        throw ControlError("the bus is away");
    }
    return {{"groupObjects", listeners}};
}

nlohmann::json ControlCommands::GetLoadStates() {
    auto states = nlohmann::json::object();
    for (const std::uint16_t type : LoadableObjects) {
        const auto value = host_.GetObjects().Find(type)->FindProperty(LoadStateControlProperty)->ReadFromBus(1, 1);
        states[std::to_string(type)] =
            value.empty() ? ToText(host_.GetObjects().Find(type)->GetLoadState()) : ToText(LoadState{value.front()});
    }
    return states;
}

DeviceDescription ControlCommands::GetDevice() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return device_;
}

}  // namespace LocalDevice
