#include "DeviceDescription.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <set>
#include <string_view>

#include "JsonFile.h"
#include "KnxAddress.h"

namespace LocalDevice {

namespace {

constexpr std::size_t NameBytes = 100;
constexpr std::size_t FriendlyNameBytes = 30;
constexpr std::size_t MaxAdditionalAddresses = 255;  // elements of the property that holds them
constexpr std::size_t AppIdBytes = 64;
constexpr std::size_t TextParameterBytes = 127;
constexpr std::uint16_t MaxObjectNumber = 520;
constexpr std::uint16_t ParameterSlots = 50;

/// What `parse` makes of a text; fails where that is none.
template <typename Parse>
auto Parsed(const JsonValue& value, Parse parse, const std::string& expected) {
    const auto result = parse(value.Text());
    if (!result) {
        value.FailExpecting(expected);
    }
    return *result;
}

std::optional<std::array<std::uint8_t, 6>> ParseSixBytes(std::string_view text) {
    constexpr std::string_view Digits = "0123456789abcdef";
    std::array<std::uint8_t, 6> bytes{};
    if (text.size() != 2 * bytes.size() || text.find_first_not_of(Digits) != std::string_view::npos) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(Digits.find(text[2 * i]) << 4U | Digits.find(text[2 * i + 1]));
    }
    return bytes;
}

std::array<std::uint8_t, 6> ReadSixBytes(const JsonValue& value) {
    return Parsed(value, ParseSixBytes, "12 hexadecimal digits in lower case, such as \"000a14ff0102\"");
}

std::uint16_t ReadIndividualAddress(const JsonValue& value) {
    const std::uint16_t address = Parsed(value, ParseIndividualAddress, "an individual address, such as \"1.1.10\"");
    if (address == 0) {
        value.FailExpecting("another individual address than 0.0.0, which belongs to no device");
    }
    return address;
}

std::vector<std::uint16_t> ReadAdditionalAddresses(const JsonValue& list, std::uint16_t ownAddress) {
    const auto elements = list.Elements();
    if (elements.size() > MaxAdditionalAddresses) {
        list.Fail("expected at most " + std::to_string(MaxAdditionalAddresses) + " individual addresses, got " +
                  std::to_string(elements.size()));
    }
    std::vector<std::uint16_t> addresses;
    std::set<std::uint16_t> known{ownAddress};
    for (const JsonValue& element : elements) {
        addresses.push_back(ReadIndividualAddress(element));
        if (!known.insert(addresses.back()).second) {
            element.FailExpecting(addresses.back() == ownAddress ? "another address than the device's own"
                                                                 : "each individual address once");
        }
    }
    return addresses;
}

/// It becomes part of a file's name.
std::string ReadAppId(const JsonValue& value) {
    constexpr std::string_view Allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.";
    std::string appId = value.Text();
    if (appId.empty() || appId.size() > AppIdBytes || appId.front() == '.' ||
        appId.find_first_not_of(Allowed) != std::string::npos) {
        value.FailExpecting(R"(1 to 64 letters (a to z, A to Z), digits, "_", "-" and ".", no "." in front)");
    }
    return appId;
}

/// A device stores its friendly name in ISO 8859-1.
std::string ReadFriendlyName(const JsonValue& value) {
    const std::string utf8 = value.PrintableText();
    std::string latin1;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        if (lead < 0x80) {
            latin1 += utf8[i];
            continue;
        }
        if (lead > 0xC3) {
            value.FailExpecting("a text of ISO 8859-1 characters");
        }
        const auto next = static_cast<unsigned char>(utf8[++i]);
        latin1 += static_cast<char>((lead & 0x03U) << 6U | (next & 0x3FU));
    }
    if (latin1.size() > FriendlyNameBytes) {
        value.Fail("expected a text of at most " + std::to_string(FriendlyNameBytes) + " characters, got " +
                   std::to_string(latin1.size()) + " characters");
    }
    return latin1;
}

/// UTF-8 text, cut in front of the first character that does not fit.
std::string ReadTextParameter(const JsonValue& value) {
    std::string text = value.Text();
    if (text.size() <= TextParameterBytes) {
        return text;
    }
    const auto isContinuation = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; };
    std::size_t end = TextParameterBytes;
    while (isContinuation(text[end])) {
        --end;
    }
    return text.substr(0, end);
}

GroupObjectFlags ReadFlags(const JsonValue& value) {
    constexpr std::string_view Letters = "CRWTUI";
    const std::string text = value.Text();
    GroupObjectFlags flags;
    const std::array<bool*, Letters.size()> members{&flags.communication, &flags.read,   &flags.write,
                                                    &flags.transmit,      &flags.update, &flags.readOnInit};
    for (std::size_t i = 0; i < Letters.size(); ++i) {
        *members[i] = text.find(Letters[i]) != std::string::npos;
    }
    const bool isRepeated = std::any_of(Letters.begin(), Letters.end(), [&text](char letter) {
        return std::count(text.begin(), text.end(), letter) > 1;
    });
    if (isRepeated || text.find_first_not_of("CRWTUI-") != std::string::npos) {
        value.FailExpecting(R"(flags out of C, R, W, T, U and I, each once at most, such as "CWTU" or "C-WTU-")");
    }
    return flags;
}

/// The filled slots of one kind of parameter.
template <typename Value, typename Read>
std::map<std::uint16_t, Value> ReadSlots(const std::optional<JsonValue>& parameters, Read read) {
    std::map<std::uint16_t, Value> values;
    if (!parameters) {
        return values;
    }
    for (const auto& [key, value] : parameters->Members()) {
        const auto slot = ParseDecimal(key, ParameterSlots);
        if (!slot || *slot == 0) {
            value.Fail("expected a slot from 1 to " + std::to_string(ParameterSlots) + " as key");
        }
        values.emplace(static_cast<std::uint16_t>(*slot), read(value));
    }
    return values;
}

void ReadParameters(const JsonValue& parameters, DeviceDescription& description) {
    parameters.AllowOnly({"ip", "number", "text"});
    description.ipParameters = ReadSlots<std::uint32_t>(parameters.FindMember("ip"), [](const JsonValue& value) {
        return Parsed(value, ParseIpAddress, "an IPv4 address, such as \"192.168.1.10\"");
    });
    description.numberParameters = ReadSlots<std::uint32_t>(
        parameters.FindMember("number"), [](const JsonValue& value) { return value.WholeNumber(0, UINT32_MAX); });
    description.textParameters = ReadSlots<std::string>(parameters.FindMember("text"), ReadTextParameter);
}

std::vector<std::uint16_t> ReadGroupAddresses(const JsonValue& list) {
    std::vector<std::uint16_t> addresses;
    std::set<std::uint16_t> known;
    for (const JsonValue& element : list.Elements()) {
        const auto address = Parsed(element, ParseGroupAddress, "a group address, such as \"1/0/1\"");
        if (!known.insert(address).second) {
            element.Fail("group address " + FormatGroupAddress(address) + " stands twice in one list");
        }
        addresses.push_back(address);
    }
    return addresses;
}

CommunicationObject ReadCommunicationObject(const JsonValue& value) {
    value.AllowOnly({"number", "name", "dpt", "flags", "groupAddresses"});
    CommunicationObject object;
    object.number = static_cast<std::uint16_t>(value.Member("number").WholeNumber(1, MaxObjectNumber));
    object.name = value.Member("name").PrintableText(NameBytes);
    object.dpt = Parsed(value.Member("dpt"), ParseDpt, "a data-point type, such as \"1.001\"");
    object.flags = ReadFlags(value.Member("flags"));
    object.groupAddresses = ReadGroupAddresses(value.Member("groupAddresses"));
    return object;
}

void ReadCommunicationObjects(const JsonValue& list, DeviceDescription& description) {
    std::map<std::uint16_t, std::size_t> lines;
    for (const JsonValue& element : list.Elements()) {
        const CommunicationObject object = ReadCommunicationObject(element);
        const JsonValue number = element.Member("number");
        const auto [first, isNew] = lines.emplace(object.number, number.Line());
        if (!isNew) {
            number.Fail("communication object " + std::to_string(object.number) + " stands twice, first on line " +
                        std::to_string(first->second));
        }
        description.communicationObjects.emplace(object.number, object);
    }
}

DeviceDescription ReadDescription(const JsonValue& root) {
    root.AllowOnly({"name", "serialNumber", "hardwareType", "friendlyName", "individualAddress",
                    "additionalIndividualAddresses", "appId", "appType", "displayTextSpeed", "displayTextWrapping",
                    "parameters", "communicationObjects"});
    DeviceDescription description;
    description.name = root.Member("name").PrintableText(NameBytes);
    description.serialNumber = ReadSixBytes(root.Member("serialNumber"));
    description.individualAddress = ReadIndividualAddress(root.Member("individualAddress"));
    description.appId = ReadAppId(root.Member("appId"));
    ReadCommunicationObjects(root.Member("communicationObjects"), description);

    if (const auto value = root.FindMember("hardwareType")) {
        description.hardwareType = ReadSixBytes(*value);
    }
    if (const auto value = root.FindMember("friendlyName")) {
        description.friendlyName = ReadFriendlyName(*value);
    }
    if (const auto value = root.FindMember("additionalIndividualAddresses")) {
        description.additionalIndividualAddresses = ReadAdditionalAddresses(*value, description.individualAddress);
    }
    if (const auto value = root.FindMember("appType")) {
        description.appType = static_cast<std::uint8_t>(value->Choice({"native", "managed"}));
    }
    if (const auto value = root.FindMember("displayTextSpeed")) {
        description.displayTextSpeed = static_cast<std::uint8_t>(value->Choice({"slow", "medium", "fast"}));
    }
    if (const auto value = root.FindMember("displayTextWrapping")) {
        description.displayTextWrapping = static_cast<std::uint8_t>(value->Choice({"scroll", "pages", "none"}));
    }
    if (const auto value = root.FindMember("parameters")) {
        ReadParameters(*value, description);
    }
    return description;
}

}  // namespace

DeviceDescription LoadDeviceDescription(const std::string& path) {
    try {
        const JsonFile file = JsonFile::Load(path);
        DeviceDescription description = ReadDescription(file.Root());
        description.source = path;
        return description;
    } catch (const JsonFileError& error) {
        throw DescriptionError(error.what());
    }
}

}  // namespace LocalDevice
