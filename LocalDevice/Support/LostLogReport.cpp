#include "LostLogReport.h"

#include <iostream>

namespace LocalDevice {

void LostLogReport::error(const log4cplus::tstring& /*problem*/) {
    if (!std::exchange(isTold_, true)) {
        std::cerr << "warning: " + file_ + ": the log cannot be written; lines of it are lost\n" << std::flush;
    }
}

}  // namespace LocalDevice
