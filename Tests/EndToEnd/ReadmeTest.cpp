#include <gmock/gmock.h>

#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <csignal>
#include <iterator>

#include "OwnAppFolder.h"

namespace {

using EndToEnd::ChildProcess;
using EndToEnd::Milliseconds;
using EndToEnd::OwnAppFolder;
using TestSupport::ExitStatus;
using Texts = std::vector<std::string>;
namespace fs = boost::filesystem;

constexpr Milliseconds StartLimit{180000};  // emulated, on a machine that does something else too

/// A section of the README, with its blocks by their language.
class Section {
public:
    explicit Section(const std::string& title) {
        fs::ifstream file(ORN_README);
        std::string text(std::istreambuf_iterator<char>(file), {});
        const auto begin = text.find("\n## " + title + "\n");
        EXPECT_NE(begin, std::string::npos) << title;
        text_ = text.substr(begin + 1, text.find("\n## ", begin + 1) - begin);
    }

    Texts GetBlocks(const std::string& language) const {
        const std::string fence = "\n```" + language + "\n";
        Texts blocks;
        for (auto at = text_.find(fence); at != std::string::npos; at = text_.find(fence, at)) {
            at += fence.size();
            blocks.push_back(text_.substr(at, text_.find("\n```\n", at) + 1 - at));
        }
        return blocks;
    }

private:
    std::string text_;
};

TEST(Readme, LeadsFromAnEmptyFolderToASignedAppThatRuns) {
    if (!OwnAppFolder::IsPossible()) {
        GTEST_SKIP() << "this machine lets nobody mount a folder of his own";
    }
    const Section section("Signing a package");
    const Texts commands = section.GetBlocks("bash");
    const Texts app = section.GetBlocks("csharp");
    const Texts device = section.GetBlocks("json");
    ASSERT_EQ(commands.size(), 2U);
    ASSERT_EQ(app.size(), 1U);
    ASSERT_EQ(device.size(), 1U);
    EXPECT_EQ(std::count(commands[1].begin(), commands[1].end(), '\n'), 6);
    const EndToEnd::TemporaryFolder folder;
    fs::create_directories(folder.GetPath() / "clone/build");
    fs::create_directory_symlink(ORN_BUILD_FOLDER, folder.GetPath() / "clone/build/release");
    fs::create_directory(folder.GetPath() / "own");
    folder.Write("own/MyApp.cs", app[0]);
    folder.Write("own/my.json", device[0]);
    const std::string script = folder.Write("script", "set -e\n" + commands[0] + "cd ../own\n" + commands[1]);
    const OwnAppFolder appFolder;
    Texts words = appFolder.GetRunner();
    words.insert(words.end(), {"/usr/bin/env", "-C", folder.At("clone"), "/bin/bash", script});
    const std::string program = words.front();
    words.erase(words.begin());

    ChildProcess sut(program, words, {{"TMPDIR", folder.GetPath().string()}});

    ASSERT_TRUE(sut.WaitForLine("== run state: running", StartLimit)) << testing::PrintToString(sut.GetErrorLines());
    ChildProcess tool(ORN_ORNCTL_PROGRAM, {"write", "1/0/1", "1"}, {{"TMPDIR", folder.GetPath().string()}});
    EXPECT_EQ(tool.WaitForExit(), ExitStatus::Exited(0));
    EXPECT_THAT(sut.WaitForLine("<- write    1/0/2").value_or(""), testing::HasSubstr(" [00]  sent"));
    EXPECT_EQ(::kill(-sut.GetPid(), SIGINT), 0) << "to the whole group, as Ctrl-C does";
    EXPECT_EQ(sut.WaitForExit(), ExitStatus::Exited(0));
    EXPECT_EQ(sut.GetErrorLines(), Texts{});
}

}  // namespace
