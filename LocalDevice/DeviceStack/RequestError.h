#pragma once

#include <stdexcept>

namespace LocalDevice {

/// Why a request is refused: `what()` is one line for the client. Never leaves the dispatcher.
class RequestError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace LocalDevice
