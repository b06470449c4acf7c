#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace LocalDevice {

/// Where a value stands in a request, such as "configuration.devices[0].id". Places point to the one above them, which
/// must outlive them: a text is made only for a message.
class Place {
public:
    Place() = default;
    Place(const Place& parent, std::string_view key) : parent_(&parent), key_(key) {}
    Place(const Place& parent, std::size_t index) : parent_(&parent), index_(index) {}

    std::string ToString() const;

    /// Throws `RequestError`: the place, ": " and `text`.
    [[noreturn]] void Refuse(const std::string& text) const;

private:
    const Place* parent_ = nullptr;
    std::string_view key_;
    std::optional<std::size_t> index_;
};

}  // namespace LocalDevice
