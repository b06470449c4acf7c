#include "LoadStateMachine.h"

#include <boost/thread/lock_guard.hpp>

namespace Zandrel {

LoadState NextLoadState(LoadState state, std::uint8_t event) noexcept {
    switch (event) {
        case 1:  // start loading
            return state == LoadState::Error || state == LoadState::Unloading ? LoadState::Error : LoadState::Loading;
        case 2:  // load completed
            if (state == LoadState::Loading) {
                return LoadState::Loaded;
            }
            return state == LoadState::Unloading ? LoadState::Error : state;
        case 3:  // additional load controls
            return state == LoadState::Loaded || state == LoadState::Unloading ? LoadState::Error : state;
        case 4:  // unload
            return LoadState::Unloaded;
        default:
            return state;
    }
}

void LoadStateMachine::OnEvent(std::uint8_t code) {
    LoadState state = state_;
    while (!state_.compare_exchange_weak(state, NextLoadState(state, code))) {
    }
    const boost::lock_guard<boost::mutex> lock(mutex_);
    changed_ = true;
    condition_.notify_all();
}

void LoadStateMachine::ClearChanged() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    changed_ = false;
}

bool LoadStateMachine::WaitForChange(boost::unique_lock<boost::mutex>& lock, Clock& clock, Clock::TimePoint deadline) {
    while (!changed_ && clock.Now() < deadline) {
        clock.WaitUntil(condition_, lock, deadline);
    }
    return changed_;
}

}  // namespace Zandrel
