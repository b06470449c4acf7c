#pragma once

#include <atomic>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>

#include "Orn/Clock.h"

namespace Zandrel {

/// The states of a load state machine, with their numbers on the wire.
enum class LoadState : std::uint8_t { Unloaded = 0, Loaded = 1, Loading = 2, Error = 3, Unloading = 4 };

/// Where a load event leads: 1 start loading, 2 load completed, 3 additional load controls, 4 unload. Any other one
/// leads nowhere.
LoadState NextLoadState(LoadState state, std::uint8_t event) noexcept;

/// The load state of the application's own interface object, as the load events of the KNX stack move it, and the
/// mutex that an init cycle holds.
///
/// The state is atomic: reading it never waits. An event that arrives while a cycle holds the mutex has moved the state
/// at once and then waits to tell.
class LoadStateMachine {
public:
    LoadStateMachine() = default;
    LoadStateMachine(const LoadStateMachine&) = delete;
    LoadStateMachine& operator=(const LoadStateMachine&) = delete;

    LoadState GetState() const noexcept { return state_; }

    /// Takes a load event. Each one, of whatever code, marks the state as changed and wakes who waits for that.
    void OnEvent(std::uint8_t code);

    /// Forgets earlier events.
    void ClearChanged();

    /// What an init cycle holds from its start to its end.
    boost::mutex& GetMutex() noexcept { return mutex_; }

    /// Waits with `lock`, which holds the mutex and gives it up meanwhile, until an event was taken or `deadline` has
    /// passed. Returns whether an event was taken. A Boost interruption point.
    bool WaitForChange(boost::unique_lock<boost::mutex>& lock, Clock& clock, Clock::TimePoint deadline);

private:
    std::atomic<LoadState> state_{LoadState::Unloaded};

    boost::mutex mutex_;  ///< guards changed_
    boost::condition_variable condition_;
    bool changed_ = false;
};

}  // namespace Zandrel
