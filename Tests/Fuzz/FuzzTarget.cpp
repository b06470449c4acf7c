#include "FuzzTarget.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace Fuzz {

void Require(bool holds, const char* property) {
    if (!holds) {
        std::cerr << "does not hold: " << property << std::endl;
        std::abort();
    }
}

std::uint8_t Input::TakeByte() {
    const std::vector<std::uint8_t> byte = TakeBytes(1);
    return byte.empty() ? std::uint8_t{0} : byte.front();
}

std::uint16_t Input::TakeUInt16() {
    const unsigned high = TakeByte();
    return static_cast<std::uint16_t>(high << 8U | TakeByte());
}

std::vector<std::uint8_t> Input::TakeBytes(std::size_t count) {
    count = std::min(count, size_);
    std::vector<std::uint8_t> bytes(data_, data_ + count);
    data_ += count;
    size_ -= count;
    return bytes;
}

std::string Input::TakeRest() {
    const std::vector<std::uint8_t> bytes = TakeBytes(size_);
    return {bytes.begin(), bytes.end()};
}

MemoryFile::MemoryFile(const std::string& content) : descriptor_(memfd_create("input", MFD_CLOEXEC)) {
    Require(write(descriptor_, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
            "a file in memory takes what is written");
}

MemoryFile::~MemoryFile() {
    close(descriptor_);
}

std::string MemoryFile::GetPath() const {
    return "/proc/self/fd/" + std::to_string(descriptor_);
}

}  // namespace Fuzz
