// Ends the program with one line where a library fails before main has begun: log4cplus starts threads when it is
// loaded, and nobody can catch what it throws where there are none.

#include "StartFailure.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <string>
#include <system_error>

namespace LocalDevice {

[[gnu::weak]] int GetStartFailureCode() noexcept {
    return 1;
}

}  // namespace LocalDevice

namespace {

std::string GetReason() {
    static constexpr const char* Unknown = "a library cannot be initialised";
    try {
        if (const std::exception_ptr failure = std::current_exception()) {
            std::rethrow_exception(failure);
        }
        return Unknown;
    } catch (const std::system_error& error) {
        const bool lacksThreads = error.code() == std::errc::resource_unavailable_try_again;
        return (lacksThreads ? "no thread can be started: " : "") + error.code().message();
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return Unknown;
    }
}

[[noreturn]] void EndInOrder() {
    const std::string line = std::string(program_invocation_short_name) + ": " + GetReason() + '\n';
    std::fputs(line.c_str(), stderr);  // NOLINT(cert-err33-c): it cannot be said anywhere else
    _exit(LocalDevice::GetStartFailureCode());
}

std::terminate_handler fromMainOn = nullptr;

void BeginToWatch() {
    fromMainOn = std::set_terminate(EndInOrder);
}

/// The dynamic linker calls what stands in this section (ELF's DT_PREINIT_ARRAY) before it initialises any library.
[[gnu::section(".preinit_array"), gnu::used]] void (*const beforeLibraries)() = BeginToWatch;

/// The program's own objects are made when all libraries are initialised.
const struct EndOfWatch {
    EndOfWatch() { std::set_terminate(fromMainOn); }
} endOfWatch;

}  // namespace
