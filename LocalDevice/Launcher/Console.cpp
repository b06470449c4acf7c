#include "Console.h"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/format.hpp>

#include "PrintableText.h"

namespace LocalDevice {

void Console::Print(const std::string& line) {
    if (!isReaderGone_) {
        out_ << line << std::endl;
    }
}

void Console::Tell(const std::string& subject, const std::string& text) {
    const auto now = boost::posix_time::microsec_clock::local_time().time_of_day();
    Print((boost::format("%02d:%02d:%02d.%03d == %s: %s") % now.hours() % now.minutes() % now.seconds() %
           (now.total_milliseconds() % 1000) % subject % MakePrintable(text))
              .str());
}

}  // namespace LocalDevice
