#include "Progress.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>

namespace LocalDevice {

namespace {

constexpr unsigned long Percent = 100;

}  // namespace

bool Progress::IsPossible() {
    return isatty(STDERR_FILENO) == 1;
}

Progress::Progress(std::uint64_t bytes) : bytes_(bytes) {
    if (bytes >= Large && IsPossible()) {
        bar_.emplace(Percent, std::cerr, "");
    }
}

Progress::~Progress() {
    if (bar_ && bar_->count() < Percent) {
        std::cerr << '\n';
    }
}

void Progress::Add(std::uint64_t bytes) {
    if (!bar_) {
        return;
    }
    done_ += bytes;
    const auto percent = std::min(Percent, static_cast<unsigned long>(done_ * Percent / bytes_));
    if (percent > bar_->count()) {
        *bar_ += percent - bar_->count();
    }
}

}  // namespace LocalDevice
