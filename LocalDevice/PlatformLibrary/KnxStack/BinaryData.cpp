#include "KnxStack/BinaryData.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace KnxStack {
namespace {

template <typename Number>
Number ReadBigEndian(const std::vector<std::uint8_t>& bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(Number)) {
        throw std::out_of_range("BinaryData: " + std::to_string(sizeof(Number)) + " bytes at offset " +
                                std::to_string(offset) + " of " + std::to_string(bytes.size()));
    }
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i) {
        value = value << 8U | bytes[offset + i];
    }
    return static_cast<Number>(value);
}

template <typename Number>
void AppendBigEndian(std::vector<std::uint8_t>& bytes, Number value) {
    for (std::size_t i = sizeof(Number); i-- > 0;) {
        bytes.push_back(static_cast<std::uint8_t>(std::uint32_t{value} >> 8U * i));
    }
}

}  // namespace

BinaryData::BinaryData(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}

std::uint8_t BinaryData::GetUInt8Value(std::size_t offset) const {
    return ReadBigEndian<std::uint8_t>(bytes_, offset);
}

std::uint16_t BinaryData::GetUInt16Value(std::size_t offset) const {
    return ReadBigEndian<std::uint16_t>(bytes_, offset);
}

std::uint32_t BinaryData::GetUInt32Value(std::size_t offset) const {
    return ReadBigEndian<std::uint32_t>(bytes_, offset);
}

std::string BinaryData::GetStringValue(std::size_t offset) const {
    if (offset > bytes_.size()) {
        throw std::out_of_range("BinaryData: text at offset " + std::to_string(offset) + " of " +
                                std::to_string(bytes_.size()));
    }
    const auto begin = bytes_.begin() + static_cast<std::ptrdiff_t>(offset);
    return {begin, std::find(begin, bytes_.end(), std::uint8_t{0})};
}

void BinaryData::AppendUInt8Value(std::uint8_t value) {
    AppendBigEndian(bytes_, value);
}

void BinaryData::AppendUInt16Value(std::uint16_t value) {
    AppendBigEndian(bytes_, value);
}

void BinaryData::AppendUInt32Value(std::uint32_t value) {
    AppendBigEndian(bytes_, value);
}

}  // namespace KnxStack
