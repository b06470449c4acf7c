#pragma once

#include <string>
#include <utility>
#include <vector>

/// A reader of the document that knows nothing of its writer.
namespace DocumentReader {

/// A JSON value.
struct Node {
    enum class Kind { Object, List, String, Bare };

    Kind kind = Kind::Bare;
    std::string text;                                   ///< of a string, without quotes and escapes, or a bare word
    std::vector<std::pair<std::string, Node>> members;  ///< of an object, in the order of the document
    std::vector<Node> items;                            ///< of a list

    /// The member `key`. Throws `std::out_of_range` where there is none.
    const Node& operator[](const std::string& key) const;
    /// The keys, joined with blanks.
    std::string GetKeys() const;
};

/// Throws `std::runtime_error` at the first byte that the document's form does not allow, blanks included.
Node Read(const std::string& document);

}  // namespace DocumentReader
