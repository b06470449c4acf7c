#include "Output/LifePrinter.h"

#include <unistd.h>

#include <boost/thread/lock_guard.hpp>
#include <cstdlib>
#include <ostream>

#include "Output/EventText.h"
#include "PrintableText.h"

namespace LocalDevice {

LifePrinter::LifePrinter(HostEvents& events, std::ostream& out, bool isColoured)
    : isColoured_(isColoured),
      out_(out),
      subscription_(events.Subscribe([this](const HostEvent& event) { Write(FormatEvent(event, isColoured_)); })) {}

void LifePrinter::Print(const std::string& line) {
    Write(MakePrintable(line));
}

void LifePrinter::Write(const std::string& line) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    out_ << line << std::endl;
}

bool IsColourWanted() {
    const char* const noColour = std::getenv("NO_COLOR");
    return (noColour == nullptr || *noColour == '\0') && isatty(STDOUT_FILENO) == 1;
}

}  // namespace LocalDevice
