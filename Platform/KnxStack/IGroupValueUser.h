#pragma once

#include <cstdint>

#include "KnxStack/GroupValue.h"

namespace KnxStack {

/// Takes and gives the values of group objects (communication objects); implemented by a plug-in.
///
/// The stack calls from threads of its own, without holding a lock; several calls may run at once. Group objects count
/// from 1. The stack has checked flags and length before it calls. No call throws.
class IGroupValueUser {
public:
    virtual ~IGroupValueUser() = default;

    /// The bus wrote `value` to a group object. True when the value was taken.
    virtual bool OnGroupValueWrite(std::uint32_t groupObject, const GroupValue& value) = 0;

    /// `value` answers a read request that some device sent. True when the value was taken.
    virtual bool OnGroupValueResponse(std::uint32_t groupObject, const GroupValue& value) = 0;

    /// The bus asks for the value. True with `value` filled; false when there is none, and the stack stays silent.
    /// `initial` is true when the stack asks for itself, before any device did. The call may take as long as the
    /// application's own sources take.
    virtual bool OnGroupValueRead(std::uint32_t groupObject, GroupValue& value, bool initial) = 0;
};

}  // namespace KnxStack
