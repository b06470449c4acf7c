#include "JsonFile.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <boost/filesystem/operations.hpp>

#include "TemporaryFolder.h"

namespace {

using LocalDevice::JsonFile;
using LocalDevice::JsonFileError;

std::string ErrorOf(const std::string& text) {
    try {
        JsonFile::Parse("f", text);
    } catch (const JsonFileError& error) {
        return error.what();
    }
    return "no error";
}

std::string LoadErrorOf(const std::string& path) {
    try {
        JsonFile::Load(path);
    } catch (const JsonFileError& error) {
        return error.what();
    }
    return "no error";
}

struct BadText {
    std::string text;
    std::string message;
};

class JsonFileRefuses : public testing::TestWithParam<BadText> {};

TEST_P(JsonFileRefuses, NamesPlaceAndReason) {
    EXPECT_EQ(ErrorOf(GetParam().text), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Syntax, JsonFileRefuses,
    testing::Values(
        BadText{"",
                "f:1:1: syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal"},
        BadText{"{\n  \"a\": 1,\n  }",
                "f:3:3: syntax error while parsing object key - unexpected '}'; expected string literal"},
        BadText{"{\n\"a\": tru\n}", "f:2:9: syntax error while parsing value - invalid literal"},
        BadText{"[1,\n2", "f:2:2: syntax error while parsing array - unexpected end of input; expected ']'"},
        BadText{"{} {}", "f:1:4: syntax error while parsing value - unexpected '{'; expected end of input"},
        BadText{"[1e400]", "f:1:6: number overflow parsing '1e400'"},
        BadText{"\"\xFF\"", "f:1:2: syntax error while parsing value - invalid string: ill-formed UTF-8 byte"},
        BadText{std::string("{}\n\0", 4), "f:2: expected text, got a NUL byte"}));

INSTANTIATE_TEST_SUITE_P(Structure, JsonFileRefuses,
                         testing::Values(BadText{"{\n\"a\": 1,\n\"a\": 2}",
                                                 "f:3: /a: stands twice in one object, first on line 2"},
                                         BadText{"{\"l\": [0,\n{\"x\": 1,\n\"x\": 1}]}",
                                                 "f:3: /l/1/x: stands twice in one object, first on line 2"},
                                         BadText{std::string(17, '['),
                                                 "f:1: /0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0: lies deeper than 16 levels"}));

TEST(JsonFile, KeepsTheLineOfEachValue) {
    const JsonFile sut = JsonFile::Parse("f", "{\n\"a\": 1\n,\"b\":\n[\n2,\"x\"\n,{}]}");
    EXPECT_EQ(sut.Root().Line(), 1U);
    EXPECT_EQ(sut.Root().Member("a").Line(), 2U);
    EXPECT_EQ(sut.Root().Member("b").Line(), 4U);
    EXPECT_EQ(sut.Root().Member("b").Elements().at(0).Line(), 5U);
    EXPECT_EQ(sut.Root().Member("b").Elements().at(1).Line(), 5U);
    EXPECT_EQ(sut.Root().Member("b").Elements().at(2).Line(), 6U);
}

TEST(JsonFile, MessageStaysOneShortAsciiLineWhateverTheKey) {
    const std::string key = "\\n\xC3\xBC" + std::string(200, 'k');
    const std::string error = ErrorOf("{\"" + key + "\":1,\"" + key + "\":1}");
    EXPECT_EQ(error, "f:1: /\\n\\u00fc" + std::string(90, 'k') + "...: stands twice in one object, first on line 1");
}

TEST(JsonFile, NestingUpToTheLimitIsRead) {
    EXPECT_EQ(ErrorOf(std::string(16, '[') + std::string(16, ']')), "no error");
}

TEST(JsonFile, MissingFileIsNamed) {
    const TestSupport::TemporaryFolder directory;
    const std::string path = directory.At("none.json");
    EXPECT_EQ(LoadErrorOf(path), path + ": cannot be read: No such file or directory");
}

TEST(JsonFile, FileBelowAFileIsNamed) {
    const TestSupport::TemporaryFolder directory;
    const std::string path = directory.Write("file", "{}") + "/x.json";
    EXPECT_EQ(LoadErrorOf(path), path + ": cannot be read: Not a directory");
}

TEST(JsonFile, DirectoryIsRefused) {
    const TestSupport::TemporaryFolder directory;
    EXPECT_EQ(LoadErrorOf(directory.At("")), directory.At("") + ": is a directory, expected a file");
}

TEST(JsonFile, PipeIsRefusedWithoutWaitingForAWriter) {
    const TestSupport::TemporaryFolder directory;
    const std::string path = directory.At("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(LoadErrorOf(path), path + ": is no regular file");
}

TEST(JsonFile, HundredMegabytesAreRefusedUnread) {
    const TestSupport::TemporaryFolder directory;
    const std::string path = directory.Write("large.json", "");
    boost::filesystem::resize_file(path, 100U << 20U);
    EXPECT_EQ(LoadErrorOf(path), path + ": is larger than 1048576 bytes");
}

TEST(JsonFile, LargestFileIsRead) {
    const TestSupport::TemporaryFolder directory;
    const std::string path = directory.Write("full.json", "{}" + std::string(JsonFile::MaxBytes - 2, ' '));
    EXPECT_EQ(LoadErrorOf(path), "no error");
}

}  // namespace
