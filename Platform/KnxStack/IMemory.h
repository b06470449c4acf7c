#pragma once

#include "KnxStack/BinaryData.h"

namespace KnxStack {

/// A block of downloaded memory. Callable from any thread.
class IMemory {
public:
    /// A copy of the whole block as it is now.
    virtual BinaryData GetContent() const = 0;

protected:
    ~IMemory() = default;
};

}  // namespace KnxStack
