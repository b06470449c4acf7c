#pragma once

#include <boost/thread/mutex.hpp>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>

#include "DeviceModel.h"
#include "Zandrel/ZanValue.h"

namespace LocalDevice {

/// The values of an app's COs, and which of the device stack's reports are news to the app: it reports a write to its
/// writer, too.
///
/// The device stack handles the writes of one client in order and reports in the order in which it handles. So the next
/// report of what the app wrote to a CO is that of its oldest write; a report of another value is somebody else's. The
/// app's write is then still to come, and has the last word. Thread-safe.
class CoValues {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// How long the report of a write is waited for. One that comes later, after all, is news.
    static constexpr std::chrono::seconds ReportLifetime{10};

    explicit CoValues(const std::map<std::uint16_t, DeviceModel::Co>& cos);

    bool Exists(std::uint16_t co) const;
    /// None where the CO has no value or does not exist.
    std::optional<Zandrel::ZANVALUE> Get(std::uint16_t co) const;

    /// The app writes a CO that exists: calls `send`, one call after the other, and keeps the value when it says true.
    /// Returns what `send` said.
    bool Set(std::uint16_t co, const Zandrel::ZANVALUE& value, TimePoint now, const std::function<bool()>& send);

    /// The device stack reports a value of a CO. True when somebody else wrote it. `arrival`: when it came.
    bool IsNews(std::uint16_t co, const Zandrel::ZANVALUE& value, TimePoint arrival);

    /// True when a report is that of the app's oldest write to the CO, which is then no longer due; otherwise nothing
    /// changes, and `IsNews` has to be asked. Does not wait, and says false, while the app is just writing.
    bool TakeOwnReport(std::uint16_t co, const Zandrel::ZANVALUE& value, TimePoint arrival);

    /// The connection is a new one: reports that were due will not come any more.
    void ForgetWrites();

private:
    struct Write {
        Zandrel::ZANVALUE value;
        TimePoint time;
    };
    struct Co {
        DeviceModel::Co state;
        std::deque<Write> writes;  ///< whose reports are due, the oldest first
    };

    static void ForgetLateReports(Co& entry, TimePoint now);
    static bool TakeOwnReport(Co& entry, const Zandrel::ZANVALUE& value, TimePoint arrival);

    mutable boost::mutex mutex_;
    std::map<std::uint16_t, Co> cos_;
};

}  // namespace LocalDevice
