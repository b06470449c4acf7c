#include "Application/PluginLibrary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>

#include "TemporaryFolder.h"

namespace LocalDevice {
namespace {

using testing::HasSubstr;

std::string Plugin(const std::string& name) {
    return std::string(TEST_PLUGIN_FOLDER) + "/lib" + name + ".so";
}

std::string ErrorOf(const std::string& path) {
    try {
        PluginLibrary::Load(path);
    } catch (const PluginError& error) {
        return error.what();
    }
    return "no error";
}

TEST(PluginLibraryTest, APluginIsLoadedAndMakesPrograms) {
    const auto factory = PluginLibrary::Load(Plugin("GoodPlugin"));
    KnxStack::IApplicationProgram* const program = factory.create();
    ASSERT_NE(program, nullptr);
    EXPECT_EQ(program->OnDeviceRestart(), 2);
    factory.destroy(program);
    factory.destroy(nullptr);
}

TEST(PluginLibraryTest, EachMissingExportIsNamed) {
    const std::vector<std::pair<std::string, std::string>> plugins{
        {"PluginWithoutVersion", "getKnxStackApiVersion"},
        {"PluginWithoutCreate", "createApplicationProgram"},
        {"PluginWithoutDelete", "deleteApplicationProgram"},
    };
    for (const auto& [name, missing] : plugins) {
        EXPECT_EQ(ErrorOf(Plugin(name)),
                  Plugin(name) + ": export '" + missing +
                      "' is missing; expected createApplicationProgram, deleteApplicationProgram and "
                      "getKnxStackApiVersion");
    }
}

TEST(PluginLibraryTest, AnotherVersionIsRefused) {
    EXPECT_EQ(ErrorOf(Plugin("PluginOfVersion9")),
              Plugin("PluginOfVersion9") + ": getKnxStackApiVersion() is 9; expected 10");
}

TEST(PluginLibraryTest, AMissingFileIsNamed) {
    EXPECT_THAT(ErrorOf("/nowhere/plugin.so"), HasSubstr("/nowhere/plugin.so: cannot be loaded ("));
    EXPECT_THAT(ErrorOf("/nowhere/plugin.so"), HasSubstr("; expected a KNX stack plug-in library"));
}

TEST(PluginLibraryTest, ABareNameIsAFileInTheWorkingFolder) {
    EXPECT_THAT(ErrorOf("libc.so.6"), HasSubstr("libc.so.6: cannot be loaded ("));
}

TEST(PluginLibraryTest, AFileThatIsNoLibraryIsRefused) {
    const TestSupport::TemporaryFolder folder;
    const auto path = folder.GetPath() / "plugin.so";
    boost::filesystem::ofstream(path) << "text";
    EXPECT_THAT(ErrorOf(path.string()), HasSubstr("cannot be loaded ("));
}

}  // namespace
}  // namespace LocalDevice
