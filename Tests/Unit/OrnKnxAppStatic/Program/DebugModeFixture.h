#pragma once

#include <atomic>
#include <boost/thread/scoped_thread.hpp>
#include <functional>
#include <utility>

#include "ProgramFixture.h"
#include "SystemFaults.h"

namespace Program {

inline constexpr const char* On = "2.1:1";
inline constexpr const char* Off = "2.1:0";
inline constexpr const char* Done = "[App] operator() - Set app debug mode done.";

/// A program with a managed app.
class ProgramDebugMode : public ProgramFixture {
protected:
    ProgramDebugMode() {
        for (const char* file :
             {AppSideTools::ConnectorHost, "device/opt/userdata/ornApp/1/App.dll", AppSideTools::ConnectorLibrary}) {
            AppSideTools::WorkingDirectory::MakeFile(file);
        }
        SystemFaults::mono = TEST_CHILD;
        stack_.DownloadApplication("App", 1);
    }
    ~ProgramDebugMode() override { SystemFaults::mono = nullptr; }
    void TearDown() override {
        isReleased_ = true;
        ProgramFixture::TearDown();
    }

    void StartManaged() {
        ASSERT_EQ(sut_->Init(stack_), Started);
        ASSERT_TRUE(WaitForLine("[App] operator() - Thread finished."));
        ASSERT_EQ(GetChildren().size(), 2U);
        Forget();
    }
    void SwitchAndWait(const std::string& value) {
        EXPECT_TRUE(Send(AppDebug, value));
        EXPECT_TRUE(WaitForLine(Done));
    }
    void ExpectLines(const Lines& lines) { EXPECT_EQ(AppSideTools::Comparable(log_.TakeLines()), lines); }

    /// Lets the check of a package wait until `isReleased_`.
    void HoldPackageCheck() {
        packageCheck_ = [this](const auto&) {
            isChecking_ = true;
            WaitUntil([this] { return isReleased_.load(); });
            return Zandrel::VerificationResult::SignatureOk;
        };
    }

    /// Sets `isReleased_` as soon as the calling thread waits for something, or `isPast` holds.
    boost::scoped_thread<> ReleaseOnceThisThreadWaits(std::function<bool()> isPast = [] { return false; }) {
        return boost::scoped_thread<>([this, thread = gettid(), isPast = std::move(isPast)] {
            WaitUntil([&] { return isPast() || TestSupport::IsWaiting(thread); });
            isReleased_ = true;
        });
    }

    std::atomic<bool> isChecking_{false};
    std::atomic<bool> isReleased_{false};
};

}  // namespace Program
