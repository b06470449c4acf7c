#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace Zandrel {

/// How large a document the XML parser is trusted with: it recurses once for each level, and takes up to 96 bytes of
/// memory for each node.
struct XmlLimits {
    std::size_t depth = 100;
    std::size_t nodes = 120000;  ///< elements, attributes and pieces of text
};

/// Why `text` is beyond the limits; none where it is within them up to its end, or up to the first place at which the
/// parser refuses it. Looks at markup as the parser does: a tag inside a comment or a quoted value is none.
std::optional<std::string> FindExcess(const std::string& text, const XmlLimits& limits = {});

}  // namespace Zandrel
