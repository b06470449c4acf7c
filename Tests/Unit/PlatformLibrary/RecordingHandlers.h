#pragma once

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread_only.hpp>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "Ostra/IDeviceStackClient.h"

/// Writes down what a client tells its handlers, one line a call. Thread-safe.
class Record {
public:
    void Add(const std::string& line) {
        {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            lines_.push_back(line);
            threads_.insert(boost::this_thread::get_id());
        }
        changed_.notify_all();
    }

    /// All lines, once there are `count` of them; waits 50 s at most.
    std::vector<std::string> Await(std::size_t count) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        changed_.wait_for(lock, boost::chrono::seconds(50), [this, count] { return lines_.size() >= count; });
        return lines_;
    }

    std::set<boost::thread::id> GetThreads() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return threads_;
    }

private:
    boost::mutex mutex_;
    boost::condition_variable changed_;
    std::vector<std::string> lines_;
    std::set<boost::thread::id> threads_;
};

class RecordingEventHandler : public Ostra::IDeviceStackClient::IEventHandler {
public:
    RecordingEventHandler() = default;
    virtual ~RecordingEventHandler() = default;
    RecordingEventHandler(const RecordingEventHandler&) = delete;
    RecordingEventHandler& operator=(const RecordingEventHandler&) = delete;

    bool OnValueChanged(unsigned long id, const std::string& text, const std::string& value) override {
        record.Add(text + " " + std::to_string(id) + " " + value);
        return true;
    }
    bool OnConfigurationChanged(unsigned long id) override {
        record.Add("configuration " + std::to_string(id));
        return true;
    }
    bool OnEventEmitted(const std::string& eventType) override {
        record.Add("emitted " + eventType);
        return true;
    }
    bool OnConnectionChanged(bool connected) override {
        record.Add(connected ? "connected" : "disconnected");
        return true;
    }

    Record record;
};

class RecordingResponseHandler : public Ostra::IDeviceStackClient::IResponseHandler {
public:
    RecordingResponseHandler() = default;
    virtual ~RecordingResponseHandler() = default;
    RecordingResponseHandler(const RecordingResponseHandler&) = delete;
    RecordingResponseHandler& operator=(const RecordingResponseHandler&) = delete;

    void OnResponse(unsigned long requestNumber, bool accepted, const std::string& text) override {
        record.Add(std::to_string(requestNumber) + (accepted ? " accepted " : " refused ") + text);
    }
    void OnConnectionLost() override { record.Add("lost"); }

    Record record;
};
