#pragma once

#include <ostream>
#include <string>

namespace LocalDevice {

/// What the launcher tells people, one line for each event, in the form of the KNX stack host's own lines. For one
/// thread.
class Console {
public:
    /// `out` must outlive it.
    explicit Console(std::ostream& out) : out_(out) {}
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    /// A line of its own, as it is.
    void Print(const std::string& line);

    /// "10:15:02.123 == device stack: text", with `text` made fit to be printed.
    void Tell(const std::string& subject, const std::string& text);

    /// The reader has gone, which is no error: nothing is printed any more.
    void OnReaderGone() { isReaderGone_ = true; }

    /// Whether everything has been written, as far as somebody wanted to read it.
    bool IsComplete() const { return isReaderGone_ || out_.good(); }

private:
    std::ostream& out_;
    bool isReaderGone_ = false;
};

}  // namespace LocalDevice
