#include "ObjectModelDocument.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <limits>
#include <string_view>
#include <utility>

namespace Zandrel {

namespace {

constexpr std::array<bool, 256> MakeEscapedBytes() {
    std::array<bool, 256> escaped{};
    for (const char character : std::string_view("\"\\/\b\f\n\r\t")) {
        escaped[static_cast<unsigned char>(character)] = true;
    }
    return escaped;
}

/// The characters that a backslash precedes.
constexpr std::array<bool, 256> EscapedBytes = MakeEscapedBytes();

bool IsEscaped(char character) {
    return EscapedBytes[static_cast<unsigned char>(character)];
}

/// Appends one document to a text. Separators follow from the text itself: whatever does not come first in its object
/// or list is preceded by a comma.
class DocumentWriter {
public:
    explicit DocumentWriter(std::size_t expectedSize) { text_.reserve(expectedSize); }

    void Write(const Configuration& configuration) {
        text_ += '{';
        ListMember("devices", configuration.devices);
        ListMember("channels", configuration.channels);
        ListMember("datapoints", configuration.datapoints);
        text_ += '}';
    }

    std::string TakeText() { return std::move(text_); }

private:
    void Write(const Device& device) {
        BeginObject(device);
        ListMember("channels", device.channels);
        ListMember("metadata", device.metadata);
        text_ += '}';
    }

    void Write(const Channel& channel) {
        BeginObject(channel);
        ListMember("datapoints", channel.datapoints);
        text_ += '}';
    }

    void Write(const DataPoint& datapoint) {
        BeginObject(datapoint);
        PlainMember("valueType", datapoint.valueType);
        PlainMember("valueSubtype", datapoint.valueSubtype);
        EscapedMember(datapoint.internal ? "internalDefaultValue" : "defaultValue", datapoint.defaultValue);
        EscapedMember(datapoint.internal ? "internalValue" : "value", datapoint.value);
        QuotedNumberMember("eventAlways", datapoint.eventAlways);
        QuotedNumberMember("cacheTimeout", datapoint.cacheTimeout);
        QuotedNumberMember("pollingInterval", datapoint.pollingInterval);
        QuotedNumberMember("changedOnly", datapoint.changedOnly);
        PlainMember("operations", datapoint.operations);
        PlainMember("defaultValueInit", datapoint.defaultValueInit);
        ListMember("metadata", datapoint.metadata);
        text_ += '}';
    }

    void Write(const Metadata::value_type& entry) {
        text_ += R"({"key":")";
        text_ += entry.first;
        text_ += R"(","value":)";
        Escaped(entry.second);
        text_ += '}';
    }

    /// What devices, channels and data points begin with.
    template <typename Record>
    void BeginObject(const Record& record) {
        text_ += R"({"id":)";
        Number(record.id);
        EscapedMember("name", record.name);
        LiteralMember("enabled", record.enabled);
        LiteralMember("visible", record.visible);
    }

    template <typename Record>
    void ListMember(std::string_view key, const std::map<unsigned long, Record>& records) {
        if (records.empty()) {
            return;
        }
        Key(key);
        text_ += '[';
        for (const auto& [id, record] : records) {
            Separate();
            Write(record);
        }
        text_ += ']';
    }

    void ListMember(std::string_view key, const Metadata& metadata) {
        if (metadata.empty()) {
            return;
        }
        Key(key);
        text_ += '[';
        for (const auto& entry : metadata) {
            Separate();
            Write(entry);
        }
        text_ += ']';
    }

    void PlainMember(std::string_view key, const std::optional<std::string>& value) {
        if (value) {
            Key(key);
            text_ += '"';
            text_ += *value;
            text_ += '"';
        }
    }

    void EscapedMember(std::string_view key, const std::optional<std::string>& value) {
        if (value) {
            Key(key);
            Escaped(*value);
        }
    }

    void LiteralMember(std::string_view key, std::optional<bool> value) {
        if (value) {
            Key(key);
            text_ += *value ? "true" : "false";
        }
    }

    template <typename Integer>
    void QuotedNumberMember(std::string_view key, std::optional<Integer> value) {
        if (value) {
            Key(key);
            text_ += '"';
            Number(static_cast<int>(*value));
            text_ += '"';
        }
    }

    void Key(std::string_view key) {
        Separate();
        text_ += '"';
        text_ += key;
        text_ += "\":";
    }

    void Separate() {
        const char last = text_.back();
        if (last != '{' && last != '[') {
            text_ += ',';
        }
    }

    /// Copies the stretches between escaped characters as a whole: most texts hold none.
    void Escaped(const std::string& value) {
        text_ += '"';
        std::size_t begin = 0;
        for (std::size_t i = 0; i < value.size(); ++i) {
            if (IsEscaped(value[i])) {
                text_.append(value, begin, i - begin);
                text_ += '\\';
                begin = i;
            }
        }
        text_.append(value, begin);
        text_ += '"';
    }

    template <typename Integer>
    void Number(Integer value) {
        std::array<char, std::numeric_limits<Integer>::digits10 + 2> digits;  // NOLINT(*-member-init): written below
        const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value);
        text_.append(digits.data(), result.ptr);
    }

    std::string text_;
};

/// About as many bytes as the document will have, a bit more than less, without a look at the texts.
std::size_t EstimateSize(const Channels& channels, const DataPoints& datapoints) {
    constexpr std::size_t ChannelSize = 96;
    constexpr std::size_t DataPointSize = 288;
    std::size_t size = datapoints.size() * DataPointSize;
    for (const auto& [id, channel] : channels) {
        size += ChannelSize + channel.datapoints.size() * DataPointSize;
    }
    return size;
}

std::size_t EstimateSize(const Configuration& configuration) {
    constexpr std::size_t DeviceSize = 512;
    std::size_t size = EstimateSize(configuration.channels, configuration.datapoints);
    for (const auto& [id, device] : configuration.devices) {
        size += DeviceSize + EstimateSize(device.channels, {});
    }
    return size;
}

}  // namespace

std::string SerializeConfiguration(const Configuration& configuration) {
    DocumentWriter writer(EstimateSize(configuration));
    writer.Write(configuration);
    return writer.TakeText();
}

}  // namespace Zandrel
