#include "CallStack.h"

#include <execinfo.h>

#include <algorithm>
#include <array>
#include <boost/core/demangle.hpp>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace Zandrel {

namespace {

constexpr int MaxFrames = 256;

/// The function in a line "FILE(FUNCTION+OFFSET) [ADDRESS]"; the whole line where it names none.
std::string FunctionOfFrame(std::string_view frame) {
    const auto open = frame.find('(');
    const auto plus = open == std::string_view::npos ? open : frame.find('+', open);
    if (plus == std::string_view::npos || plus == open + 1) {
        return std::string(frame);
    }
    return boost::core::demangle(std::string(frame.substr(open + 1, plus - open - 1)).c_str());
}

/// Whether both are the address of one instruction. On ARM the lowest bit of a return address may mark Thumb code;
/// backtrace() leaves that mark out.
bool IsSameInstruction(const void* a, const void* b) {
    constexpr std::uintptr_t Mark = 1;
    return (reinterpret_cast<std::uintptr_t>(a) | Mark) == (reinterpret_cast<std::uintptr_t>(b) | Mark);
}

}  // namespace

// Not inlined: its return address marks the frame of the one that captures, which a hidden function's name cannot.
[[gnu::noinline]] std::string CaptureCallStackWithBacktrace() {
    std::array<void*, MaxFrames> addresses{};
    const int count = backtrace(addresses.data(), MaxFrames);
    const std::unique_ptr<char*, decltype(&std::free)> frames(backtrace_symbols(addresses.data(), count), &std::free);
    if (frames == nullptr) {
        return {};
    }
    const void* const own = __builtin_extract_return_addr(__builtin_return_address(0));
    const auto* const capturing = std::find_if(addresses.begin(), addresses.begin() + count,
                                               [own](const void* address) { return IsSameInstruction(address, own); });
    std::string callStack;
    for (auto i = capturing - addresses.begin() + 1; i < count; ++i) {
        const std::string function = FunctionOfFrame(frames.get()[i]);
        if (function.find("Backtrace") != std::string::npos) {
            continue;
        }
        callStack.append(callStack.empty() ? "" : " < ").append(function);
    }
    return callStack;
}

}  // namespace Zandrel
