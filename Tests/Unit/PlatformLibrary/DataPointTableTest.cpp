#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "DataPointCodes.h"

namespace {

using namespace DataPointCodes;
using Zandrel::DataPointType;
using Zandrel::FindDataPointType;

std::string DptText(const DataPointType& type) {
    std::string text = std::to_string(type.mainNumber);
    if (type.subNumber == DataPointType::AnySub) {
        return text;
    }
    const std::string sub = std::to_string(type.subNumber);
    return text + "." + std::string(sub.size() < 3 ? 3 - sub.size() : 0, '0') + sub;
}

/// A sub type that the row describes.
std::uint32_t DptOf(const DataPointType& type) {
    constexpr std::uint32_t NoSubOfItsOwn = 65535;
    return Dpt(type.mainNumber,
               type.subNumber == DataPointType::AnySub ? NoSubOfItsOwn : static_cast<std::uint32_t>(type.subNumber));
}

using Rows = std::map<std::string, const DataPointType*>;

/// The rows of a known main type, by the text of their types.
Rows FindRows(std::uint32_t mainNumber) {
    Rows rows;
    const DataPointType* last = nullptr;
    for (std::uint32_t sub = 0; sub <= 65535; ++sub) {
        const DataPointType* const row = FindDataPointType(Dpt(mainNumber, sub));
        if (row != last) {
            rows.emplace(DptText(*row), row);
        }
        last = row;
    }
    return rows;
}

Rows FindAllRows() {
    Rows all;
    for (std::uint32_t mainNumber = 0; mainNumber <= 65535; ++mainNumber) {
        if (FindDataPointType(Dpt(mainNumber, 0)) != nullptr) {
            all.merge(FindRows(mainNumber));
        }
    }
    return all;
}

/// "34,815"; "2^32" for the large powers of two; "about 4.92e33" from a thousand million millions on.
std::string CountText(const Number& number) {
    std::string digits = number.str();
    if (number > 0xFFFFFFFFU && (number & (number - 1)) == 0) {
        return "2^" + std::to_string(boost::multiprecision::msb(number));
    }
    constexpr std::size_t MaxDigits = 15;
    if (digits.size() > MaxDigits) {
        return "about " + digits.substr(0, 1) + "." + digits.substr(1, 2) + "e" + std::to_string(digits.size() - 1);
    }
    for (std::size_t end = digits.size(); end > 3; end -= 3) {
        digits.insert(end - 3, ",");
    }
    return digits;
}

std::string Trim(const std::string& text) {
    const auto begin = text.find_first_not_of(' ');
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

std::vector<std::string> Cells(const std::string& line) {
    std::vector<std::string> cells;
    std::istringstream stream(line.substr(1));
    for (std::string cell; std::getline(stream, cell, '|');) {
        cells.push_back(Trim(cell));
    }
    return cells;
}

/// A line of the documented table: type, size, form, example, and three counts.
struct DocumentedType {
    std::string size;
    std::string example;
    std::string counts;
};

std::map<std::string, DocumentedType> ReadDocument() {
    constexpr std::size_t Columns = 7;
    std::map<std::string, DocumentedType> types;
    std::ifstream file(ORN_DATA_POINT_TYPES_DOCUMENT);
    EXPECT_TRUE(file) << ORN_DATA_POINT_TYPES_DOCUMENT;
    for (std::string line; std::getline(file, line);) {
        if (line.size() < 3 || line[0] != '|' || line[2] < '0' || line[2] > '9') {
            continue;
        }
        const auto cells = Cells(line);
        if (cells.size() != Columns) {
            ADD_FAILURE() << line;
            continue;
        }
        const DocumentedType type{cells[1], cells[3], cells[4] + " | " + cells[5] + " | " + cells[6]};
        EXPECT_TRUE(types.emplace(cells[0], type).second) << "twice: " << line;
    }
    return types;
}

/// The two texts in backticks, "`0C1A` `21`".
std::optional<std::pair<std::string, std::string>> ReadExample(const std::string& text) {
    const auto middle = text.find("` `");
    if (text.size() < 4 || text.front() != '`' || text.back() != '`' || middle == std::string::npos) {
        return std::nullopt;
    }
    return std::pair(text.substr(1, middle - 1), text.substr(middle + 3, text.size() - middle - 4));
}

Bytes FromHex(const std::string& text) {
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

std::string SizeText(const DataPointType& type) {
    const std::map<std::uint32_t, std::string> bits{{1, "1 bit"}, {2, "2 bits"}, {3, "4 bits"}};
    if (const auto found = bits.find(type.mainNumber); found != bits.end()) {
        return found->second;
    }
    if (type.size == DataPointType::VariableSize) {
        return "1 to 252 bytes";
    }
    return std::to_string(type.size) + (type.size == 1 ? " byte" : " bytes");
}

TEST(DataPointTypes, coverTheMainTypesThatTheDocumentNames) {
    std::set<std::uint32_t> mainNumbers;
    for (const auto& [text, row] : FindAllRows()) {
        mainNumbers.insert(row->mainNumber);
    }
    std::set<std::uint32_t> expected{26, 27, 28, 29, 232, 235, 242, 251};
    for (std::uint32_t number = 1; number <= 22; ++number) {
        expected.insert(number);
    }
    EXPECT_EQ(mainNumbers, expected);
}

TEST(DataPointTypes, areDocumentedEachOnce) {
    std::set<std::string> inCode;
    for (const auto& [text, row] : FindAllRows()) {
        inCode.insert(text);
    }
    std::set<std::string> inDocument;
    for (const auto& [text, documented] : ReadDocument()) {
        inDocument.insert(text);
    }
    EXPECT_EQ(inDocument, inCode);
}

TEST(DataPointTypes, haveTheDocumentedSizesAndExamples) {
    const auto rows = FindAllRows();
    for (const auto& [text, documented] : ReadDocument()) {
        SCOPED_TRACE(text);
        const auto row = rows.find(text);
        ASSERT_NE(row, rows.end());
        EXPECT_EQ(documented.size, SizeText(*row->second));
        const auto example = ReadExample(documented.example);
        ASSERT_TRUE(example) << documented.example;
        const std::uint32_t dpt = DptOf(*row->second);
        const auto decoded = Decode(dpt, FromHex(example->first));
        ASSERT_TRUE(decoded) << documented.example;
        EXPECT_EQ(decoded->substr(decoded->find(':') + 1), example->second);
        EXPECT_EQ(Encode(dpt, *decoded), FromHex(example->first));
    }
}

class DocumentedMainType : public testing::TestWithParam<std::uint32_t> {};

TEST_P(DocumentedMainType, hasTheCountsOfCodesThatItHas) {
    const auto document = ReadDocument();
    for (const auto& [text, row] : FindRows(GetParam())) {
        SCOPED_TRACE(text);
        const Counts counts = CountCodes(DptOf(*row), *row);
        const auto documented = document.find(text);
        ASSERT_NE(documented, document.end());
        EXPECT_EQ(documented->second.counts,
                  CountText(counts.canonical) + " | " + CountText(counts.altered) + " | " + CountText(counts.noValue));
    }
}

INSTANTIATE_TEST_SUITE_P(All, DocumentedMainType,
                         testing::Values(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22,
                                         26, 27, 28, 29, 232, 235, 242, 251),
                         testing::PrintToStringParamName());

TEST(DataPointTypes, tellTheFateOfACodeByItsParts) {
    const auto seed = std::random_device{}();
    std::cout << "seed " << seed << '\n';
    std::mt19937_64 random(seed);
    for (const auto& [text, row] : FindAllRows()) {
        if (row->size <= 2 || row->size > 8) {
            continue;
        }
        for (int i = 0; i < 3'000; ++i) {
            const std::uint64_t code = RandomCode(DptOf(*row), *row, random(), random());
            ASSERT_EQ(FateOf(DptOf(*row), BigEndian(code, row->size)), FateByParts(DptOf(*row), *row, code))
                << text << ", " << std::hex << code;
        }
    }
}

TEST(DataPointTypes, haveADefaultThatIsCanonicalText) {
    for (const auto& [text, row] : FindAllRows()) {
        const std::string type = std::to_string(static_cast<unsigned>(row->type)) + ".";
        const std::string serialised = type + std::to_string(row->subtype) + ":" + row->initial;
        const auto bytes = Encode(DptOf(*row), serialised);
        ASSERT_TRUE(bytes) << text;
        const auto decoded = Decode(DptOf(*row), *bytes);
        ASSERT_TRUE(decoded) << text;
        EXPECT_EQ(decoded->substr(decoded->find(':') + 1), row->initial) << text;
    }
}

TEST(DataPointTypes, declareOneTypeForAMainType) {
    for (const auto& [text, row] : FindAllRows()) {
        const DataPointType* const any = FindDataPointType(Dpt(row->mainNumber, 65535));
        EXPECT_EQ(row->type, any->type) << text;
        EXPECT_EQ(row->subtype, any->subtype) << text;
    }
}

}  // namespace
