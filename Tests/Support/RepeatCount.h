#pragma once

#include <cstdlib>
#include <string>

namespace TestSupport {

/// How often a test repeats what depends on chance: the number in the environment variable `name`, else `standard`.
inline unsigned long GetRepeatCount(const char* name, unsigned long standard) {
    const char* const text = std::getenv(name);
    return text == nullptr ? standard : std::stoul(text);
}

}  // namespace TestSupport
