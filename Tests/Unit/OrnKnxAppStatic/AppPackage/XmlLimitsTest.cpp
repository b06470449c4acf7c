#include "XmlLimits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <rapidxml/rapidxml.hpp>

namespace {

using Zandrel::FindExcess;
using Zandrel::XmlLimits;

/// The deepest level of a document and its nodes, as the scan sees them: the least limits that it is within.
std::pair<std::size_t, std::size_t> Measure(const std::string& text) {
    XmlLimits limits{0, 100000};
    while (FindExcess(text, limits)) {
        ++limits.depth;
    }
    limits.nodes = 0;
    while (FindExcess(text, limits)) {
        ++limits.nodes;
    }
    return {limits.depth, limits.nodes};
}

using Size = std::pair<std::size_t, std::size_t>;

TEST(XmlLimitsTest, DepthAndNodesAreThoseOfTheDocument) {
    EXPECT_EQ(Measure(""), Size(0, 0));
    EXPECT_EQ(Measure("<a/>"), Size(0, 1));
    EXPECT_EQ(Measure("<a></a>"), Size(1, 1));
    EXPECT_EQ(Measure("<a><b>text</b><c d='e' f=\"g\"/></a>"), Size(2, 6));
    EXPECT_EQ(Measure("<a><![CDATA[<b><b>]]></a>"), Size(1, 2));
}

TEST(XmlLimitsTest, TagsThatAreNoneDoNotCount) {
    EXPECT_EQ(Measure("<a><!-- </a></a> --><b></b></a>").first, 2U);
    EXPECT_EQ(Measure("<a><b c='/></b>'><d></d></b></a>").first, 3U);
    EXPECT_EQ(Measure("<a>/><b>/><c>/></c></b></a>").first, 3U);
    EXPECT_EQ(Measure("<?x </a> ?><!DOCTYPE a [ <!ENTITY b '</a>'> ]><a><b></b></a>").first, 2U);
    EXPECT_EQ(Measure("<a\"><b\"><c></c></b\"></a\">").first, 3U);
    EXPECT_EQ(Measure("<a><![CDATA[</a>]]><b></b></a>").first, 2U);
}

TEST(XmlLimitsTest, ExcessIsNamed) {
    EXPECT_EQ(FindExcess("<a><b></b></a>", {1, 10}), "elements are nested too deeply");
    EXPECT_EQ(FindExcess("<a><b/><b/></a>", {1, 2}), "too many elements");
    EXPECT_EQ(FindExcess("<a><b/></a>", {1, 2}), std::nullopt);
}

/// The depth and number of nodes that the parser makes of a document, up to an error.
class ParsedSize {
public:
    explicit ParsedSize(std::string text) {
        try {
            document_->parse<rapidxml::parse_no_string_terminators | rapidxml::parse_no_element_values |
                             rapidxml::parse_validate_closing_tags>(text.data());
            Count(*document_, 0);
        } catch (const rapidxml::parse_error&) {
            isParsed = false;
        }
    }

    bool isParsed = true;
    std::size_t depth = 0;
    std::size_t nodes = 0;

private:
    void Count(const rapidxml::xml_node<char>& node, std::size_t level) {
        depth = std::max(depth, level);
        for (auto* attribute = node.first_attribute(); attribute != nullptr; attribute = attribute->next_attribute()) {
            ++nodes;
        }
        for (auto* child = node.first_node(); child != nullptr; child = child->next_sibling()) {
            ++nodes;
            Count(*child, child->first_node() == nullptr ? level : level + 1);
        }
    }

    std::unique_ptr<rapidxml::xml_document<char>> document_ = std::make_unique<rapidxml::xml_document<char>>();
};

TEST(XmlLimitsTest, ScanSeesAtLeastWhatTheParserMakes) {
    const std::vector<std::string> parts{"<a>",        "</a>", "<a", "/>",   ">",   "<!--", "-->",
                                         "<![CDATA[",  "]]>",  "\"", "'",    " b=", "<?x",  "?>",
                                         "<!DOCTYPE ", "[",    "]",  "text", " ",   "<a/>", "<a b='c'>"};
    std::mt19937 random(1);
    int parsed = 0;
    for (int run = 0; run < 20000; ++run) {
        std::string text = "<a>";
        for (std::size_t i = random() % 8; i > 0; --i) {
            text += parts[random() % parts.size()];
        }
        text += "</a>";
        const ParsedSize size(text);
        if (!size.isParsed) {
            continue;
        }
        ++parsed;
        if (size.depth > 0) {
            EXPECT_NE(FindExcess(text, {size.depth - 1, 1000}), std::nullopt) << text;
        }
        EXPECT_NE(FindExcess(text, {1000, size.nodes - 1}), std::nullopt) << text;
    }
    EXPECT_GT(parsed, 500);
}

}  // namespace
