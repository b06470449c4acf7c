// The file of the library, as the dynamic linker sees it: the one that tests load, and the one that is installed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/algorithm/string/join.hpp>
#include <fstream>
#include <iterator>
#include <ostream>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "Interface.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

using Lines = std::vector<std::string>;

/// One of the two libraries that are built.
struct Library {
    const char* name;
    const char* file;
};

std::ostream& operator<<(std::ostream& stream, const Library& library) {
    return stream << library.name;
}

constexpr Library OfBuild{"OfBuild", ORN_PLUGIN_LIBRARY};
constexpr Library OfDevice{"OfDevice", ORN_PLUGIN_LIBRARY_FOR_DEVICE};

/// What a tool of the compiler says of a library.
Lines Inspect(const Library& library, const std::string& tool, Lines options) {
    options.emplace_back(library.file);
    TestSupport::ChildProcess sut(tool, options);
    EXPECT_EQ(sut.WaitForExit(), TestSupport::ExitStatus::Exited(0));
    return sut.GetOutputLines();
}

/// The functions that a library takes from the platform.
std::set<std::string> PlatformFunctions(const Library& library) {
    std::set<std::string> functions;
    for (const std::string& line : Inspect(library, NM_PROGRAM, {"--dynamic", "--undefined-only", "--demangle"})) {
        const std::string name = line.substr(line.find_first_not_of(" Uvw"));
        const std::vector<std::string> namespaces{"KnxStack::", "Ostra::", "Zandrel::"};
        if (std::any_of(namespaces.begin(), namespaces.end(), [&](const auto& n) { return name.rfind(n, 0) == 0; })) {
            functions.insert(name);
        }
    }
    return functions;
}

/// What has no result of its own is told by its symbol alone.
TEST(Interface, NamesTheResultOfEachFunctionOfThePlatform) {
    const std::regex withoutResult(R"((\w+)::~?\1$|::operator<<$)");
    const std::string interface = DescribeInterface();
    for (const std::string& function : PlatformFunctions(OfDevice)) {
        const std::string name = function.substr(0, function.find_first_of("(["));
        if (!std::regex_search(name, withoutResult)) {
            EXPECT_NE(interface.find("\n" + name + ": "), std::string::npos) << function;
        }
    }
}

class LibraryFile : public testing::TestWithParam<Library> {
protected:
    static Lines DynamicSection() { return Inspect(GetParam(), READELF_PROGRAM, {"--wide", "--dynamic"}); }
    static Lines Segments() { return Inspect(GetParam(), READELF_PROGRAM, {"--wide", "--segments"}); }

    /// The libraries that the dynamic linker looks for.
    static std::set<std::string> NeededLibraries() {
        std::set<std::string> names;
        for (const std::string& line : DynamicSection()) {
            if (line.find("(NEEDED)") != std::string::npos) {
                names.insert(line.substr(line.find('[') + 1, line.find(']') - line.find('[') - 1));
            }
        }
        return names;
    }
};

INSTANTIATE_TEST_SUITE_P(Plugin, LibraryFile, testing::Values(OfBuild, OfDevice), testing::PrintToStringParamName());

TEST_P(LibraryFile, HasTheRecordedInterface) {
    const std::string interface = "Libraries\n" + boost::join(NeededLibraries(), "\n") +
                                  "\n\nFunctions of the platform\n" + boost::join(PlatformFunctions(GetParam()), "\n") +
                                  "\n\nTypes and slots\n" + DescribeInterface();
    std::ofstream(ACTUAL_INTERFACE) << interface;

    std::ifstream file(RECORDED_INTERFACE);
    const std::string recorded(std::istreambuf_iterator<char>(file), {});
    EXPECT_EQ(interface, recorded)
        << "The interface is another one than its users were built for. If that is meant: cp " << ACTUAL_INTERFACE
        << " " << RECORDED_INTERFACE;
}

TEST_P(LibraryFile, ExportsThreeFunctionsAndNothingElse) {
    std::set<std::string> functions;
    for (const std::string& line : Inspect(GetParam(), NM_PROGRAM, {"--dynamic", "--defined-only", "--format=posix"})) {
        functions.insert(line.substr(0, line.find(' ')));
    }

    EXPECT_EQ(functions,
              (std::set<std::string>{"createApplicationProgram", "deleteApplicationProgram", "getKnxStackApiVersion"}));
}

TEST_P(LibraryFile, NeedsNoTextRelocations) {
    EXPECT_THAT(DynamicSection(), Not(Contains(HasSubstr("TEXTREL"))));
}

TEST_P(LibraryFile, RelocationsAreDoneAtLoadAndThenReadOnly) {
    EXPECT_THAT(DynamicSection(), Contains(HasSubstr("BIND_NOW")));
    EXPECT_THAT(Segments(), Contains(HasSubstr("GNU_RELRO")));
}

TEST_P(LibraryFile, StackIsNotExecutable) {
    const Lines segments = Segments();
    const auto stack = std::find_if(segments.begin(), segments.end(),
                                    [](const auto& line) { return line.find("GNU_STACK") != std::string::npos; });
    ASSERT_NE(stack, segments.end());
    EXPECT_THAT(*stack, HasSubstr(" RW "));
}

TEST_P(LibraryFile, StackIsProtected) {
    EXPECT_THAT(Inspect(GetParam(), NM_PROGRAM, {"--dynamic", "--undefined-only"}),
                Contains(HasSubstr("__stack_chk_fail")));
}

TEST_P(LibraryFile, IsNeverUnmapped) {
    EXPECT_THAT(DynamicSection(), Contains(HasSubstr("NODELETE")));
}

}  // namespace
