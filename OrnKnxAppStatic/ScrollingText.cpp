#include "ScrollingText.h"

#include <boost/algorithm/string/trim.hpp>
#include <utility>

namespace Zandrel {

namespace {

constexpr const char* Gap = "    ";

}  // namespace

void ScrollingText::Prepare(std::string text, unsigned wrapping) {
    text_ = std::move(text);
    boost::algorithm::trim_if(text_, [](char character) { return character == ' '; });
    wrapping_ = wrapping;
    position_ = 0;
    switch (wrapping) {
        case DisplayTextWrapping::Pages:
            step_ = SegmentLength;
            break;
        case DisplayTextWrapping::NoTicker:
            step_ = 0;
            break;
        default:
            step_ = 1;
            text_.append(Gap);
            break;
    }
}

void ScrollingText::Advance() {
    // Not "position < size - step": a text may be shorter than a step.
    position_ = position_ + step_ < text_.size() ? position_ + step_ : 0;
}

std::string ScrollingText::GetSegment() const {
    std::string segment = text_.substr(position_, SegmentLength);
    if (wrapping_ == DisplayTextWrapping::Pages || text_.empty()) {
        return segment;
    }
    while (segment.size() < SegmentLength) {
        segment.append(text_, 0, SegmentLength - segment.size());
    }
    return segment;
}

}  // namespace Zandrel
