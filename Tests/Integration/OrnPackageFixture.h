#pragma once

#include <gmock/gmock.h>

#include <boost/filesystem/operations.hpp>
#include <string>
#include <vector>

#include "AppPackage.h"
#include "ChildProcess.h"

namespace OrnPackage {

namespace filesystem = boost::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using TestSupport::ChildProcess;
using TestSupport::ExitStatus;
using TestSupport::ReadFile;
using TestSupport::WriteFile;
using Words = std::vector<std::string>;

/// An RSA key takes long under an emulator.
constexpr ChildProcess::Milliseconds RunLimit{100000};

/// The program in a temporary folder, with an app that is not signed yet.
class OrnPackageTest : public testing::Test {
protected:
    struct Outcome {
        ExitStatus status;
        Words output;
        Words error;
    };

    OrnPackageTest() {
        filesystem::create_directories(folder_ / "app/data");
        WriteFile(folder_ / "app/MyApp.dll", "the app");
        WriteFile(folder_ / "app/data/texts & more.txt", "texts");
    }
    ~OrnPackageTest() override {
        boost::system::error_code ignored;
        filesystem::remove_all(folder_, ignored);
    }

    std::string Path(const std::string& name) const { return (folder_ / name).string(); }
    std::string App() const { return Path("app"); }

    static Outcome Run(const Words& arguments) {
        ChildProcess program(ORN_PACKAGE_PROGRAM, arguments);
        return WaitForOutcome(program);
    }
    static Outcome WaitForOutcome(ChildProcess& program) {
        const auto status = program.WaitForExit(RunLimit);
        return {status.value_or(ExitStatus()), program.GetOutputLines(), program.GetErrorLines()};
    }
    /// Runs the program in a shell that has run `preparation` before.
    static Outcome RunAfter(const std::string& preparation, const Words& arguments) {
        Words words{"-c", preparation + R"( && exec "$0" "$@")", ORN_PACKAGE_PROGRAM};
        words.insert(words.end(), arguments.begin(), arguments.end());
        ChildProcess shell("/bin/sh", words);
        return WaitForOutcome(shell);
    }
    /// The output of a call that must succeed.
    static Words Output(const Words& arguments) {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.status, ExitStatus::Exited(0));
        EXPECT_THAT(outcome.error, IsEmpty());
        return outcome.output;
    }
    /// What a call that must fail writes.
    static Words Errors(int code, const Words& arguments) {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.status, ExitStatus::Exited(code));
        EXPECT_THAT(outcome.output, IsEmpty());
        return outcome.error;
    }
    static std::string Error(int code, const Words& arguments) {
        const Words errors = Errors(code, arguments);
        EXPECT_THAT(errors, SizeIs(1));
        return errors.empty() ? "" : errors.back();
    }

    void MakeKeys(const std::string& type = "ecdsa") const { Output({"keygen", folder_.string(), "--type", type}); }
    Words SignCommand() const {
        return {"sign", App(),         "--key", Path("developer.key"), "--certificate", Path("developer.crt"),
                "--ca", Path("ca.crt")};
    }
    /// To the device below "root".
    Words InstallCommand() const { return {"install", App(), "--ca", Path("ca.crt"), "--root", Path("root")}; }
    Words VerifyCommand() const { return {"verify", App(), "--ca", Path("ca.crt")}; }

    const filesystem::path folder_ =
        filesystem::temp_directory_path() / filesystem::unique_path("orn-tool-%%%%-%%%%-%%%%");
};

}  // namespace OrnPackage
