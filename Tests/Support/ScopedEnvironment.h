#pragma once

#include <cstdlib>
#include <string>
#include <utility>

namespace TestSupport {

/// Gives an environment variable a value, or none, and takes it away at the end.
class ScopedEnvironment {
public:
    ScopedEnvironment(std::string name, const char* value) : name_(std::move(name)) {
        if (value != nullptr) {
            ::setenv(name_.c_str(), value, 1);
        } else {
            ::unsetenv(name_.c_str());
        }
    }
    ~ScopedEnvironment() { ::unsetenv(name_.c_str()); }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    std::string name_;
};

}  // namespace TestSupport
