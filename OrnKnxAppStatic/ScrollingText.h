#pragma once

#include <cstddef>
#include <string>
#include <utility>

namespace Zandrel {

/// How long a text a CO of main type 16 carries.
constexpr std::size_t SegmentLength = 14;

/// The values of the display setting "display text wrapping". Any other number scrolls, too.
namespace DisplayTextWrapping {
constexpr unsigned Scroll = 0;    ///< one character at a time
constexpr unsigned Pages = 1;     ///< one segment at a time
constexpr unsigned NoTicker = 2;  ///< the first segment only
}  // namespace DisplayTextWrapping

/// A text and the segment of it that is shown. Not thread-safe.
class ScrollingText {
public:
    ScrollingText(std::string text, unsigned wrapping) { Prepare(std::move(text), wrapping); }

    /// Takes a new text, without its leading and trailing blanks, and goes to its start. A text that scrolls gets a
    /// gap of four blanks at its end.
    void Prepare(std::string text, unsigned wrapping);

    /// Prepares the same text anew.
    void SetWrapping(unsigned wrapping) { Prepare(std::move(text_), wrapping); }

    /// Goes on by one step, at the end back to the start.
    void Advance();

    /// Up to 14 characters from the current position on. Unless it is a page, a segment that reaches the end goes on
    /// with the start of the text.
    std::string GetSegment() const;

private:
    std::string text_;
    unsigned wrapping_ = DisplayTextWrapping::Pages;
    std::size_t step_ = 0;
    std::size_t position_ = 0;
};

}  // namespace Zandrel
