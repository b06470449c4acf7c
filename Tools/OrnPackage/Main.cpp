#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "Keygen.h"
#include "MessageOutput.h"
#include "PackageContent.h"
#include "PackageError.h"
#include "PackageFiles.h"
#include "PackageOptions.h"
#include "Progress.h"
#include "Show.h"
#include "Sign.h"
#include "VerifyAppPackage.h"

namespace LocalDevice {

namespace {

using Zandrel::VerificationResult;

/// The others are those of a check.
constexpr int ExitUsage = 2;

/// The device's messages and, last, its result.
VerificationResult Verify(const PackageOptions& options) {
    Progress progress(Progress::IsPossible() ? EstimateBytes(options.directory) : 0);
    const VerificationResult result =
        Zandrel::VerifyAppPackage(options.directory / Zandrel::PackageFiles::FileList, options.ca,
                                  [&progress](std::uint64_t bytes) { progress.Add(bytes); });
    (result == VerificationResult::SignatureOk ? std::cout : std::cerr) << result << '\n';
    return result;
}

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
            return Verify(options);
        case PackageOptions::Command::Show:
            RunShow(options);
            break;
    }
    return VerificationResult::SignatureOk;
}

int Run(const std::vector<std::string>& arguments) {
    try {
        const MessageOutput output;
        const VerificationResult result = RunCommand(ParseCommandLine(arguments));
        std::cout.flush();
        if (!std::cout) {
            throw Unexpected("cannot write to standard output");
        }
        return static_cast<int>(result);
    } catch (const UsageError& error) {
        std::cerr << "ornpackage: " << error.what() << "; see --help\n";
        return ExitUsage;
    } catch (const PackageError& error) {
        std::cerr << "ornpackage: " << error.what() << '\n';
        return static_cast<int>(error.GetResult());
    } catch (const std::exception& error) {
        std::cerr << "ornpackage: " << error.what() << '\n';
        return static_cast<int>(VerificationResult::Unverifiable);
    }
}

}  // namespace

}  // namespace LocalDevice

int main(int argc, char** argv) {
    return LocalDevice::Run({argv + 1, argv + argc});
}
