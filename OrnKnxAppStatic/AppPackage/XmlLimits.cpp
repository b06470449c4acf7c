#include "XmlLimits.h"

#include <algorithm>
#include <string_view>

namespace Zandrel {

namespace {

constexpr std::string_view Whitespace = " \t\r\n";

/// Walks through a document without building it. Each step is one piece of markup or text; a step that fails stands at
/// something that the parser refuses.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {
        SkipIf("\xEF\xBB\xBF");  // the byte-order mark
    }

    std::size_t GetDepth() const noexcept { return depth_; }
    std::size_t GetNodes() const noexcept { return nodes_; }

    /// False at the end.
    bool Step() {
        SkipAny(Whitespace);
        if (position_ == text_.size()) {
            return false;
        }
        if (text_[position_] != '<') {
            ++nodes_;
            position_ = std::min(text_.find('<', position_), text_.size());
            return depth_ > 0;
        }
        ++position_;
        if (SkipIf("?")) {
            return SkipBehind("?>");
        }
        if (SkipIf("!")) {
            return SkipDeclaration();
        }
        if (depth_ > 0 && SkipIf("/")) {
            --depth_;
            return SkipBehind(">");
        }
        return EnterElement();
    }

private:
    void SkipAny(std::string_view characters) {
        position_ = std::min(text_.find_first_not_of(characters, position_), text_.size());
    }
    void SkipUpTo(std::string_view characters) {
        position_ = std::min(text_.find_first_of(characters, position_), text_.size());
    }
    bool SkipIf(std::string_view part) {
        if (text_.substr(position_, part.size()) != part) {
            return false;
        }
        position_ += part.size();
        return true;
    }
    bool SkipBehind(std::string_view end) {
        const std::size_t found = text_.find(end, position_);
        position_ = found == std::string_view::npos ? text_.size() : found + end.size();
        return found != std::string_view::npos;
    }

    bool SkipDeclaration() {
        if (SkipIf("--")) {
            return SkipBehind("-->");
        }
        if (SkipIf("[CDATA[")) {
            ++nodes_;
            return SkipBehind("]]>");
        }
        if (SkipIf("DOCTYPE") && position_ < text_.size() &&
            Whitespace.find(text_[position_]) != std::string_view::npos) {
            return SkipDocumentType();
        }
        return SkipBehind(">");
    }

    /// To the ">" that no square brackets enclose.
    bool SkipDocumentType() {
        std::size_t brackets = 0;
        for (; position_ < text_.size(); ++position_) {
            const char character = text_[position_];
            if (character == '>' && brackets == 0) {
                ++position_;
                return true;
            }
            if (character == '[') {
                ++brackets;
            } else if (character == ']' && brackets > 0) {
                --brackets;
            }
        }
        return false;
    }

    bool EnterElement() {
        ++nodes_;
        SkipUpTo(" \t\r\n/>?");
        SkipAny(Whitespace);
        while (position_ < text_.size() &&
               std::string_view("/>?<=!").find(text_[position_]) == std::string_view::npos) {
            if (!SkipAttribute()) {
                return false;
            }
        }
        if (SkipIf("/>")) {
            return true;
        }
        ++depth_;
        return SkipIf(">");
    }

    bool SkipAttribute() {
        ++nodes_;
        SkipUpTo(" \t\r\n/<>=?!");
        SkipAny(Whitespace);
        if (!SkipIf("=")) {
            return false;
        }
        SkipAny(Whitespace);
        const bool isSkipped = SkipIf("\"") ? SkipBehind("\"") : SkipIf("'") && SkipBehind("'");
        SkipAny(Whitespace);
        return isSkipped;
    }

    const std::string_view text_;
    std::size_t position_ = 0;
    std::size_t depth_ = 0;
    std::size_t nodes_ = 0;
};

}  // namespace

std::optional<std::string> FindExcess(const std::string& text, const XmlLimits& limits) {
    Scanner scanner(text);
    while (scanner.Step()) {
        if (scanner.GetDepth() > limits.depth) {
            return "elements are nested too deeply";
        }
        if (scanner.GetNodes() > limits.nodes) {
            return "too many elements";
        }
    }
    return std::nullopt;
}

}  // namespace Zandrel
