#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// What every fuzzer exports. An exception that leaves it, and a property that does not hold, is a finding.
/// libFuzzer calls it with inputs of its own making, `ReplaySeeds` with the files of a folder.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace Fuzz {

/// Ends the process, as a finding, where `property` does not hold.
void Require(bool holds, const char* property);

/// The bytes of an input, taken from its front. What is asked for beyond its end is not there: zero, or fewer bytes.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool IsEmpty() const noexcept { return size_ == 0; }
    std::uint8_t TakeByte();
    std::uint16_t TakeUInt16();
    std::vector<std::uint8_t> TakeBytes(std::size_t count);
    std::string TakeRest();

private:
    const std::uint8_t* data_;
    std::size_t size_;
};

/// A file that lies in memory, for code that wants the path of one.
class MemoryFile {
public:
    explicit MemoryFile(const std::string& content);
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string GetPath() const;

private:
    int descriptor_;
};

}  // namespace Fuzz
