#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "Output/LogTap.h"

namespace LocalDevice {

/// What the application program's log tells of a value that the app wrote to a communication object.
struct AppWrite {
    enum class Fate : std::uint8_t {
        Passed,   ///< to be written, if the group object may be
        Echo,     ///< the value came from the bus: not sent back
        Refused,  ///< not written; the remark says why
    };

    Fate fate = Fate::Passed;
    std::uint16_t number = 0;  ///< of the group object
    std::string value;         ///< as text; empty where the log does not tell it
    std::string remark;
};

/// Reads out of the application program's log what became of telegrams and why: the application program itself tells
/// its stack no more than yes or no, and nothing of what it keeps from the bus.
class ApplicationLog {
public:
    /// Called on the thread of the application program that logs; obeys `LogTap::Handler`.
    using AppWriteHandler = std::function<void(const AppWrite& write)>;

    explicit ApplicationLog(AppWriteHandler onAppWrite);
    ~ApplicationLog() = default;
    ApplicationLog(const ApplicationLog&) = delete;
    ApplicationLog& operator=(const ApplicationLog&) = delete;

    /// Listens during a call of the application program, for as long as it lives, on the thread that made it.
    class Call;

private:
    void OnLine(log4cplus::LogLevel level, const std::string& line);

    const AppWriteHandler onAppWrite_;
    const LogTap tap_;  ///< last: it calls `OnLine`
};

class ApplicationLog::Call {
public:
    Call();
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// What the application program said last on this thread, from INFO on; empty for nothing.
    const std::string& GetRemark() const { return remark_; }

private:
    friend class ApplicationLog;

    Call* const outer_;
    std::string remark_;
};

}  // namespace LocalDevice
