#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "DeviceDescription.h"
#include "GroupObjects/GroupObject.h"

namespace LocalDevice {

/// The group objects of the device and their group addresses: what the group object table and the association table
/// hold. For one thread at a time. A pointer to a group object stays valid as long as the table.
class GroupObjectTable {
public:
    static constexpr std::uint16_t MaxNumber = 520;

    void LoadObjects(const DeviceDescription& description);
    void ClearObjects();
    void LoadAssociations(const DeviceDescription& description);
    void ClearAssociations();

    /// Group object `number`, counted from 1; null when there is none.
    GroupObject* Find(std::uint16_t number);
    const GroupObject* Find(std::uint16_t number) const;

    /// The group objects that listen to an address, in the order of their numbers.
    std::vector<std::uint16_t> GetListeners(std::uint16_t groupAddress) const;

    /// The address under which a group object sends.
    std::optional<std::uint16_t> GetSendingAddress(std::uint16_t number) const;

    /// The numbers of the group objects that are there.
    std::vector<std::uint16_t> GetNumbers() const;

private:
    std::array<GroupObject, MaxNumber + 1> objects_;  ///< by number; the first one is unused
    std::map<std::uint16_t, std::vector<std::uint16_t>> listeners_;
    std::map<std::uint16_t, std::uint16_t> sendingAddresses_;
};

}  // namespace LocalDevice
