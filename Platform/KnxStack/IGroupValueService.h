#pragma once

#include <cstdint>

#include "KnxStack/GroupValue.h"

namespace KnxStack {

class IGroupValueUser;

/// One group object. Owned by the stack, callable from any thread.
class IGroupObject {
public:
    /// The communication flag: false when the group object is cut off from the bus, so that nothing may be written to
    /// it.
    virtual bool MayBeWritten() const = 0;

protected:
    ~IGroupObject() = default;
};

/// The group objects (communication objects) of the device. Callable from any thread.
class IGroupValueService {
public:
    /// Group object `number`, counted from 1; null when the device has none of this number.
    virtual IGroupObject* GetGroupObject(std::uint16_t number) = 0;

    /// Makes `user` the receiver of all group values, in place of an earlier one.
    virtual void RegisterUser(IGroupValueUser& user) = 0;

    /// Takes `user` off. On return no call to it is running, and none follows. Not to be called from within such a
    /// call. False when `user` was not the registered one.
    virtual bool UnregisterUser(IGroupValueUser& user) = 0;

    /// Sets the value of a group object and, where its flags say so, sends it to the bus. `options` is reserved and 0.
    /// Does not wait for the bus. False when there is no such group object or `value` has another length than it.
    virtual bool WriteValue(std::uint16_t number, const GroupValue& value, unsigned options) = 0;

protected:
    ~IGroupValueService() = default;
};

}  // namespace KnxStack
