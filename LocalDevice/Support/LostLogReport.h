#pragma once

#include <log4cplus/appender.h>

#include <string>
#include <utility>

namespace LocalDevice {

/// Says on the standard error, once, that a log cannot be written, such as on a disk that is full: the program goes on.
/// For an appender, which guards it.
class LostLogReport final : public log4cplus::ErrorHandler {
public:
    /// `file`: the one that the appender writes.
    explicit LostLogReport(std::string file) : file_(std::move(file)) {}

    void error(const log4cplus::tstring& problem) override;
    /// Does nothing: a file that can be opened again need not take a line.
    void reset() override {}

private:
    const std::string file_;
    bool isTold_ = false;
};

}  // namespace LocalDevice
