#pragma once

#include <gmock/gmock.h>

#include <regex>
#include <string>
#include <vector>

#include "AppPackage.h"
#include "CapturingAppender.h"
#include "VerifyAppPackage.h"

using TestSupport::LogLine;
using Zandrel::VerificationResult;

/// A good package, and what a check of it logs.
class AppPackageFixture : public testing::Test {
protected:
    VerificationResult Verify() { return Zandrel::VerifyAppPackage(sut_.FileList(), sut_.CaFile()); }

    /// The lines since the last call, with "(SOURCE)" for where they come from.
    std::vector<LogLine> TakeLines() {
        static const std::regex source("\\(Orn[A-Za-z/]+:[0-9]+\\)");
        std::vector<LogLine> lines = log_.TakeLines();
        for (LogLine& line : lines) {
            line.text = std::regex_replace(line.text, source, "(SOURCE)");
        }
        return lines;
    }

    static LogLine Error(const std::string& function, const std::string& message) {
        return {"ERROR", function + " (SOURCE) - " + message};
    }

    /// A check comes to `result`, and logs these lines.
    void ExpectResult(VerificationResult result, const std::vector<LogLine>& lines) {
        EXPECT_EQ(Verify(), result);
        EXPECT_EQ(TakeLines(), lines);
    }
    void ExpectOk() { ExpectResult(VerificationResult::SignatureOk, {}); }
    void ExpectCorrupt(const std::vector<LogLine>& lines) { ExpectResult(VerificationResult::Corrupt, lines); }
    void ExpectUnverifiable(const std::vector<LogLine>& lines) {
        ExpectResult(VerificationResult::Unverifiable, lines);
    }

    /// Corrupt, with the lines of the directory walk and the one that follows them. The walk has no order of its own.
    void ExpectAdditional(const std::vector<std::string>& messages) {
        EXPECT_EQ(Verify(), VerificationResult::Corrupt);
        std::vector<LogLine> lines = TakeLines();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back(), Error("VerifyAppPackage",
                                      "The application is considered corrupt due to additional files that are not in "
                                      "the signed file list"));
        lines.pop_back();
        std::vector<LogLine> expected;
        expected.reserve(messages.size());
        for (const std::string& message : messages) {
            expected.push_back(Error("LookForAdditionalFiles", message));
        }
        EXPECT_THAT(lines, testing::UnorderedElementsAreArray(expected));
    }

    TestSupport::GlobalLogCapture log_;
    TestSupport::AppPackage sut_;
};
