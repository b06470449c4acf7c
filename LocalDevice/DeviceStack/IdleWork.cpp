#include "IdleWork.h"

#include <boost/thread/thread_only.hpp>
#include <utility>

namespace LocalDevice {

void IdleWork::Run() {
    while (io_.run_one() != 0) {
        int left = MostBefore - 1;
        RunWhatIsReady(left);
        if (!waiting_.empty()) {
            // Whoever was told something may have an answer that is worth more.
            boost::this_thread::yield();
            RunWhatIsReady(left);
        }
        for (const auto& work : std::exchange(waiting_, {})) {
            work();
        }
    }
}

/// At most `left` handlers, and counts them off.
void IdleWork::RunWhatIsReady(int& left) {
    while (left > 0 && io_.poll_one() != 0) {
        --left;
    }
}

}  // namespace LocalDevice
