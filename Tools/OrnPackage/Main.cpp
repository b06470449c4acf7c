#include <boost/filesystem/exception.hpp>
#include <csignal>
#include <exception>
#include <iostream>
#include <string>

#include "Install.h"
#include "Keygen.h"
#include "MessageOutput.h"
#include "PackageError.h"
#include "PackageOptions.h"
#include "PrintableText.h"
#include "Show.h"
#include "Sign.h"
#include "StartFailure.h"
#include "Verify.h"

namespace LocalDevice {

namespace {

using Zandrel::VerificationResult;

/// The others are those of a check.
constexpr int ExitUsage = 2;

VerificationResult RunCommand(const PackageOptions& options) {
    switch (options.command) {
        case PackageOptions::Command::Help:
            std::cout << GetUsage();
            break;
        case PackageOptions::Command::Keygen:
            RunKeygen(options);
            break;
        case PackageOptions::Command::Sign:
            RunSign(options);
            break;
        case PackageOptions::Command::Verify:
            return RunVerify(options);
        case PackageOptions::Command::Install:
            return RunInstall(options);
        case PackageOptions::Command::Show:
            RunShow(options);
            break;
    }
    return VerificationResult::SignatureOk;
}

/// One line, whatever names of files it holds.
void PrintError(const std::string& message) {
    std::cerr << "ornpackage: " << MakePrintable(message) << '\n';
}

int Run(int argc, char** argv) {
    // A file that grows too large is an error like another one.
    std::signal(SIGXFSZ, SIG_IGN);  // NOLINT(cert-err33-c): it cannot fail
    try {
        const MessageOutput output;
        const VerificationResult result = RunCommand(ParseCommandLine({argv + 1, argv + argc}));
        std::cout.flush();
        if (!std::cout) {
            throw Unexpected("cannot write to standard output");
        }
        return static_cast<int>(result);
    } catch (const UsageError& error) {
        PrintError(std::string(error.what()) + "; see --help");
        return ExitUsage;
    } catch (const PackageError& error) {
        PrintError(error.what());
        return static_cast<int>(error.GetResult());
    } catch (const boost::filesystem::filesystem_error& error) {
        PrintError("cannot look at " + error.path1().string() + ": " + error.code().message());
        return static_cast<int>(VerificationResult::Unverifiable);
    } catch (const std::exception& error) {
        PrintError(error.what());
        return static_cast<int>(VerificationResult::Unverifiable);
    }
}

}  // namespace

int GetStartFailureCode() noexcept {
    return static_cast<int>(VerificationResult::Unverifiable);
}

}  // namespace LocalDevice

int main(int argc, char** argv) {
    return LocalDevice::Run(argc, argv);
}
