// The file of the library, as the dynamic linker sees it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/algorithm/string/join.hpp>
#include <fstream>
#include <iterator>
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

/// What a tool of the compiler says of the library.
Lines Inspect(const std::string& tool, Lines options) {
    options.emplace_back(ORN_PLUGIN_LIBRARY);
    TestSupport::ChildProcess sut(tool, options);
    EXPECT_EQ(sut.WaitForExit(), TestSupport::ExitStatus::Exited(0));
    return sut.GetOutputLines();
}

Lines DynamicSection() {
    return Inspect(READELF_PROGRAM, {"--wide", "--dynamic"});
}

Lines Segments() {
    return Inspect(READELF_PROGRAM, {"--wide", "--segments"});
}

/// The libraries that the dynamic linker looks for.
std::set<std::string> NeededLibraries() {
    std::set<std::string> names;
    for (const std::string& line : DynamicSection()) {
        if (line.find("(NEEDED)") != std::string::npos) {
            names.insert(line.substr(line.find('[') + 1, line.find(']') - line.find('[') - 1));
        }
    }
    return names;
}

/// The functions that the library takes from the platform.
std::set<std::string> PlatformFunctions() {
    std::set<std::string> functions;
    for (const std::string& line : Inspect(NM_PROGRAM, {"--dynamic", "--undefined-only", "--demangle"})) {
        const std::string name = line.substr(line.find_first_not_of(" Uvw"));
        const std::vector<std::string> namespaces{"KnxStack::", "Ostra::", "Zandrel::"};
        if (std::any_of(namespaces.begin(), namespaces.end(), [&](const auto& n) { return name.rfind(n, 0) == 0; })) {
            functions.insert(name);
        }
    }
    return functions;
}

TEST(Interface, IsTheRecordedOne) {
    const std::string interface = "Libraries\n" + boost::join(NeededLibraries(), "\n") +
                                  "\n\nFunctions of the platform\n" + boost::join(PlatformFunctions(), "\n") +
                                  "\n\nTypes and slots\n" + DescribeInterface();
    std::ofstream(ACTUAL_INTERFACE) << interface;

    std::ifstream file(RECORDED_INTERFACE);
    const std::string recorded(std::istreambuf_iterator<char>(file), {});
    EXPECT_EQ(interface, recorded)
        << "The interface is another one than its users were built for. If that is meant: cp " << ACTUAL_INTERFACE
        << " " << RECORDED_INTERFACE;
}

/// What has no result of its own is told by its symbol alone.
TEST(Interface, NamesTheResultOfEachFunctionOfThePlatform) {
    const std::regex withoutResult(R"((\w+)::~?\1$|::operator<<$)");
    const std::string interface = DescribeInterface();
    for (const std::string& function : PlatformFunctions()) {
        const std::string name = function.substr(0, function.find_first_of("(["));
        if (!std::regex_search(name, withoutResult)) {
            EXPECT_THAT(interface, HasSubstr("\n" + name + ": "));
        }
    }
}

TEST(LibraryFile, NeedsNoTextRelocations) {
    EXPECT_THAT(DynamicSection(), Not(Contains(HasSubstr("TEXTREL"))));
}

TEST(LibraryFile, RelocationsAreDoneAtLoadAndThenReadOnly) {
    EXPECT_THAT(DynamicSection(), Contains(HasSubstr("BIND_NOW")));
    EXPECT_THAT(Segments(), Contains(HasSubstr("GNU_RELRO")));
}

TEST(LibraryFile, StackIsNotExecutable) {
    const Lines segments = Segments();
    const auto stack = std::find_if(segments.begin(), segments.end(),
                                    [](const auto& line) { return line.find("GNU_STACK") != std::string::npos; });
    ASSERT_NE(stack, segments.end());
    EXPECT_THAT(*stack, HasSubstr(" RW "));
}

TEST(LibraryFile, StackIsProtected) {
    EXPECT_THAT(Inspect(NM_PROGRAM, {"--dynamic", "--undefined-only"}), Contains(HasSubstr("__stack_chk_fail")));
}

TEST(LibraryFile, IsNeverUnmapped) {
    EXPECT_THAT(DynamicSection(), Contains(HasSubstr("NODELETE")));
}

}  // namespace
