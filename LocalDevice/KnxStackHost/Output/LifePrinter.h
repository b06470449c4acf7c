#pragma once

#include <boost/thread/mutex.hpp>
#include <iosfwd>
#include <memory>
#include <string>

#include "Output/HostEvents.h"

namespace LocalDevice {

/// Prints what happens, a line each, on the thread where it happens.
class LifePrinter {
public:
    /// `out` must outlive the object and be written by nobody else meanwhile.
    LifePrinter(HostEvents& events, std::ostream& out, bool isColoured);
    ~LifePrinter() = default;
    LifePrinter(const LifePrinter&) = delete;
    LifePrinter& operator=(const LifePrinter&) = delete;

    /// A line of its own, made fit to be printed.
    void Print(const std::string& line);

private:
    void Write(const std::string& line);

    const bool isColoured_;

    boost::mutex mutex_;
    std::ostream& out_;

    const std::unique_ptr<HostEvents::Subscription> subscription_;  ///< last: it calls `Write`
};

/// Whether colours suit the standard output: a terminal, and NO_COLOR is not set.
bool IsColourWanted();

}  // namespace LocalDevice
