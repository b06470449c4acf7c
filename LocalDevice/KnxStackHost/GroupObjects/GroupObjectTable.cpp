#include "GroupObjects/GroupObjectTable.h"

#include <algorithm>

namespace LocalDevice {

void GroupObjectTable::LoadObjects(const DeviceDescription& description) {
    ClearObjects();
    for (const auto& [number, object] : description.communicationObjects) {
        if (number >= 1 && number <= MaxNumber) {
            objects_[number].Define(object);
        }
    }
}

void GroupObjectTable::ClearObjects() {
    for (GroupObject& object : objects_) {
        object.Undefine();
    }
}

void GroupObjectTable::LoadAssociations(const DeviceDescription& description) {
    ClearAssociations();
    for (const auto& [number, object] : description.communicationObjects) {
        for (const std::uint16_t address : object.groupAddresses) {
            auto& listeners = listeners_[address];
            if (std::find(listeners.begin(), listeners.end(), number) == listeners.end()) {
                listeners.push_back(number);
            }
        }
        if (!object.groupAddresses.empty()) {
            sendingAddresses_[number] = object.groupAddresses.front();
        }
    }
}

void GroupObjectTable::ClearAssociations() {
    listeners_.clear();
    sendingAddresses_.clear();
}

GroupObject* GroupObjectTable::Find(std::uint16_t number) {
    return number <= MaxNumber && objects_[number].IsDefined() ? &objects_[number] : nullptr;
}

const GroupObject* GroupObjectTable::Find(std::uint16_t number) const {
    return number <= MaxNumber && objects_[number].IsDefined() ? &objects_[number] : nullptr;
}

std::vector<std::uint16_t> GroupObjectTable::GetListeners(std::uint16_t groupAddress) const {
    const auto found = listeners_.find(groupAddress);
    return found == listeners_.end() ? std::vector<std::uint16_t>{} : found->second;
}

std::optional<std::uint16_t> GroupObjectTable::GetSendingAddress(std::uint16_t number) const {
    const auto found = sendingAddresses_.find(number);
    return found == sendingAddresses_.end() ? std::nullopt : std::optional(found->second);
}

std::vector<std::uint16_t> GroupObjectTable::GetNumbers() const {
    std::vector<std::uint16_t> numbers;
    for (std::uint16_t number = 1; number <= MaxNumber; ++number) {
        if (objects_[number].IsDefined()) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

}  // namespace LocalDevice
