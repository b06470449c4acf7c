#pragma once

#include <atomic>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "IDeviceStack.h"
#include "Zandrel/KnxOdsMapping.h"

namespace AppHostTests {

/// Remembers what it was given, and tells `onWrite`, on the writer's thread. Thread-safe.
class FakeDeviceStack final : public LocalDevice::IDeviceStack {
public:
    struct Write {
        unsigned long id;
        std::string value;  ///< serialised

        friend bool operator==(const Write& a, const Write& b) { return a.id == b.id && a.value == b.value; }
    };

    /// Called without a lock. Set before the first write.
    std::function<void(unsigned long id, const Zandrel::ZANVALUE& value)> onWrite;

    bool SetValue(unsigned long id, const Zandrel::ZANVALUE& value) override {
        {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            if (!connected_) {
                return false;
            }
            writes_.push_back({id, value.Serialize()});
        }
        if (onWrite) {
            onWrite(id, value);
        }
        return true;
    }

    void AwaitRoom() override { ++askedForRoom; }
    std::atomic<int> askedForRoom{0};

    void SetConnected(bool connected) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        connected_ = connected;
    }

    /// The values written to one data point, in order.
    std::vector<std::string> GetWrites(unsigned long id) const {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        std::vector<std::string> values;
        for (const auto& write : writes_) {
            if (write.id == id) {
                values.push_back(write.value);
            }
        }
        return values;
    }
    std::vector<Write> GetWrites() const {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return writes_;
    }

private:
    mutable boost::mutex mutex_;
    bool connected_ = true;
    std::vector<Write> writes_;
};

}  // namespace AppHostTests
