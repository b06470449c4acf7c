#pragma once

#include <cstdint>

#include "KnxStack/GroupValue.h"
#include "Zandrel/EncodedString.h"

namespace Zandrel {

class DptTable;
class StackAccess;

/// Writes to the stack's group objects for as long as the stack may be used. Thread-safe.
class GroupObjectWriter {
public:
    GroupObjectWriter(const StackAccess& stack, const DptTable& dpts) : stack_(stack), dpts_(dpts) {}

    /// False when the stack has no group objects.
    bool IsAvailable() const;

    /// False when there is no such group object, or when it is cut off from the bus.
    bool MayBeWritten(std::uint16_t co) const;

    /// False when the stack did not take the value.
    bool WriteValue(std::uint16_t co, const KnxStack::GroupValue& value) const;

    /// Writes a text, which the CO's type cuts to 14 characters. False, after a FATAL line, when it does not convert
    /// for the CO's type, and when the stack did not take it.
    bool WriteText(std::uint16_t co, const KnxStyleString& text) const;

private:
    const StackAccess& stack_;
    const DptTable& dpts_;
};

}  // namespace Zandrel
