#include <cstdint>
#include <exception>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Zandrel/GroupValueConversion.h"
#include "Zandrel/ZanValue.h"

// Prints how codes of data-point types convert. The argument is a JSON file of lists of codes by type,
// {"1.001": ["00", "01"]}; the output is a list of {"dpt", "code", "value", "encoded"}: the plain text of the value and
// its code, null where there is none.

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr unsigned HexBase = 16;

std::uint32_t DptOf(const std::string& text) {
    const auto point = text.find('.');
    return static_cast<std::uint32_t>(std::stoul(text.substr(0, point)) << 16U | std::stoul(text.substr(point + 1)));
}

Bytes FromHex(const std::string& text) {
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, HexBase)));
    }
    return bytes;
}

std::string ToHex(const Bytes& bytes) {
    constexpr const char* Digits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += {Digits[byte >> 4U], Digits[byte & 0xFU]};
    }
    return text;
}

nlohmann::json Convert(const std::string& dpt, const std::string& code) {
    nlohmann::json conversion{{"dpt", dpt}, {"code", code}, {"value", nullptr}, {"encoded", nullptr}};
    const auto value = Zandrel::GroupValueToZanValue(KnxStack::GroupValue(FromHex(code)), DptOf(dpt));
    if (!value) {
        return conversion;
    }
    conversion["value"] = value->ToString();
    if (const auto encoded = Zandrel::ZanValueToGroupValue(*value, DptOf(dpt))) {
        conversion["encoded"] = ToHex(encoded->GetBytes());
    }
    return conversion;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() != 1) {
        std::cerr << "usage: DataPointConversions FILE\n";
        return 2;
    }
    try {
        std::ifstream file(arguments.front());
        const auto types = nlohmann::json::parse(file);
        nlohmann::json conversions = nlohmann::json::array();
        for (const auto& [dpt, codes] : types.items()) {
            for (const auto& code : codes) {
                conversions.push_back(Convert(dpt, code.get<std::string>()));
            }
        }
        std::cout << conversions.dump(1) << '\n';
        return 0;
    } catch (const std::exception& error) {
        std::cerr << arguments.front() << ": " << error.what() << '\n';
        return 1;
    }
}
