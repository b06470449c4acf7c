#pragma once

#include <boost/chrono/duration.hpp>
#include <boost/date_time/posix_time/posix_time_duration.hpp>

/// Every duration of the system, by name. Waits run on the steady clock.
namespace Zandrel::Durations {

using boost::chrono::milliseconds;
using boost::chrono::seconds;

// Device-stack connection
constexpr seconds RequestTimeout{30};
constexpr seconds ConfigurationTimeout{25};
constexpr milliseconds ConnectionRetryPause{200};

// Init thread
constexpr seconds LoadStateChangeWait{2};
constexpr seconds InitThreadJoin{4};
constexpr milliseconds HandlerMutexPoll{50};

// App host
constexpr seconds RunningWait{90};
constexpr seconds RunningBeforeStopWait{5};
constexpr seconds StoppedWait{10};
constexpr seconds RunStateReportWait{1};
constexpr milliseconds RunStatePoll{50};
constexpr seconds StartReportWait{5};
constexpr seconds ReapWait{5};
constexpr seconds DebugTaskWait{10};
constexpr seconds DeviceReset{60};

// KNX side
constexpr seconds EchoLifetime{20};
constexpr milliseconds TickerTimeBase{100};

/// The same duration as the device-stack messenger takes it.
template <typename Rep, typename Period>
boost::posix_time::time_duration ToPosixTime(boost::chrono::duration<Rep, Period> duration) {
    return boost::posix_time::microseconds(boost::chrono::duration_cast<boost::chrono::microseconds>(duration).count());
}

}  // namespace Zandrel::Durations
