#pragma once

#include <functional>
#include <utility>

namespace Zandrel {

/// Runs one action when it is destroyed. Shared, it keeps an end action alive over threads: the last owner runs it.
class Finalizer {
public:
    /// `action` may be empty and must not throw.
    explicit Finalizer(std::function<void()> action) : action_(std::move(action)) {}
    ~Finalizer() {
        if (action_) {
            action_();
        }
    }
    Finalizer(const Finalizer&) = delete;
    Finalizer& operator=(const Finalizer&) = delete;

    /// Forgets the action. Not thread-safe.
    void Dismiss() noexcept { action_ = nullptr; }

private:
    std::function<void()> action_;
};

}  // namespace Zandrel
