#include "Support/WorkQueue.h"

#include <boost/asio/post.hpp>
#include <utility>

namespace LocalDevice {

WorkQueue::~WorkQueue() {
    thread_.stop();
    thread_.join();
}

bool WorkQueue::Post(Task task) {
    if (waiting_.fetch_add(1) >= bound_) {
        --waiting_;
        return false;
    }
    boost::asio::post(thread_, [this, task = std::move(task)] {
        --waiting_;
        task();
    });
    return true;
}

}  // namespace LocalDevice
