#include "CallStack.h"

#include <execinfo.h>

#include <array>
#include <boost/core/demangle.hpp>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace Zandrel {

namespace {

constexpr int MaxFrames = 256;
/// This function and the one that captures. Counted, as hidden functions have no names.
constexpr int CapturingFrames = 2;

/// The function in a line "FILE(FUNCTION+OFFSET) [ADDRESS]"; the whole line where it names none.
std::string FunctionOfFrame(std::string_view frame) {
    const auto open = frame.find('(');
    const auto plus = open == std::string_view::npos ? open : frame.find('+', open);
    if (plus == std::string_view::npos || plus == open + 1) {
        return std::string(frame);
    }
    return boost::core::demangle(std::string(frame.substr(open + 1, plus - open - 1)).c_str());
}

}  // namespace

// Not inlined: the first frame is always its own.
[[gnu::noinline]] std::string CaptureCallStackWithBacktrace() {
    std::array<void*, MaxFrames> addresses{};
    const int count = backtrace(addresses.data(), MaxFrames);
    const std::unique_ptr<char*, decltype(&std::free)> frames(backtrace_symbols(addresses.data(), count), &std::free);
    if (frames == nullptr) {
        return {};
    }
    std::string callStack;
    for (int i = CapturingFrames; i < count; ++i) {
        const std::string function = FunctionOfFrame(frames.get()[i]);
        if (function.find("Backtrace") != std::string::npos) {
            continue;
        }
        callStack.append(callStack.empty() ? "" : " < ").append(function);
    }
    return callStack;
}

}  // namespace Zandrel
