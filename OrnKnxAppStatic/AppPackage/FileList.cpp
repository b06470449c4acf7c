#include "FileList.h"

#include <memory>
#include <rapidxml/rapidxml.hpp>

#include "XmlLimits.h"

namespace Zandrel {

namespace {

using Node = rapidxml::xml_node<char>;

constexpr int ParseFlags =
    rapidxml::parse_validate_closing_tags | rapidxml::parse_no_string_terminators | rapidxml::parse_no_element_values;

/// The text of an element, CDATA sections included; none without an element.
std::optional<std::string> GetText(const Node* element) {
    if (element == nullptr) {
        return std::nullopt;
    }
    std::string text;
    for (const Node* child = element->first_node(); child != nullptr; child = child->next_sibling()) {
        if (child->type() == rapidxml::node_data || child->type() == rapidxml::node_cdata) {
            text.append(child->value(), child->value_size());
        }
    }
    return text;
}

const Node& GetTopElement(const Node& document) {
    const Node* top = nullptr;
    for (const Node* node = document.first_node(); node != nullptr; node = node->next_sibling()) {
        if (node->type() != rapidxml::node_element || top != nullptr) {
            throw FileListError("more than one top element");
        }
        top = node;
    }
    if (top == nullptr) {
        throw FileListError("no top element");
    }
    return *top;
}

}  // namespace

std::vector<FileEntry> ParseFileList(std::string text) {
    // The parser would take it for the end.
    if (text.find('\0') != std::string::npos) {
        throw FileListError("unexpected NUL");
    }
    if (const std::optional<std::string> excess = FindExcess(text)) {
        throw FileListError(*excess);
    }
    // Not on the stack: it brings 64 KiB of its own.
    const auto document = std::make_unique<rapidxml::xml_document<char>>();
    try {
        document->parse<ParseFlags>(text.data());
    } catch (const rapidxml::parse_error& error) {
        throw FileListError(error.what());
    }
    std::vector<FileEntry> entries;
    const Node& top = GetTopElement(*document);
    for (const Node* file = top.first_node("File"); file != nullptr; file = file->next_sibling("File")) {
        entries.push_back({GetText(file->first_node("Name")), GetText(file->first_node("Sha256"))});
    }
    return entries;
}

}  // namespace Zandrel
