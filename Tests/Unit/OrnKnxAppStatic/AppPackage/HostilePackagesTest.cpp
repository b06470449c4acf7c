#include "HostilePackages.h"

#include <malloc.h>
#include <openssl/bio.h>
#include <openssl/pem.h>

#include <algorithm>
#include <boost/chrono/system_clocks.hpp>
#include <boost/chrono/thread_clock.hpp>
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <functional>
#include <set>
#include <string>

#include "AppPackageFixture.h"
#include "QuietTerminal.h"

namespace {

/// Of this thread alone, so that what else runs on the machine does not count.
using ProcessorClock = boost::chrono::thread_clock;

constexpr boost::chrono::seconds TimeLimit{2};

/// Goes on while this thread works, and while it waits for anything but a processor.
struct WaitClock {
    static boost::chrono::nanoseconds Now() {
        boost::chrono::nanoseconds::rep worked = 0;
        boost::chrono::nanoseconds::rep waitedForProcessor = 0;
        boost::filesystem::ifstream("/proc/thread-self/schedstat") >> worked >> waitedForProcessor;
        const auto now = boost::chrono::steady_clock::now().time_since_epoch();
        return now - boost::chrono::nanoseconds(waitedForProcessor);
    }
};

/// With what a busy disk may take.
constexpr boost::chrono::seconds WaitLimit{5};
constexpr long MemoryLimitKilobytes = 32L * 1024;

/// A value of /proc/self/status, in kB.
long StatusValue(const std::string& name) {
    boost::filesystem::ifstream stream("/proc/self/status");
    std::string word;
    while (stream >> word) {
        if (word == name + ":") {
            long value = 0;
            stream >> value;
            return value;
        }
    }
    return 0;
}

/// What a check costs, from here on. The memory is how far the process grows at its peak: the kernel may refuse to
/// forget older peaks; then it is never too little.
class Costs {
public:
    Costs() {
        malloc_trim(0);
        boost::filesystem::ofstream("/proc/self/clear_refs") << "5";
        memoryBefore_ = StatusValue("VmRSS");
        begin_ = ProcessorClock::now();
        waitBegin_ = WaitClock::Now();
    }
    ProcessorClock::duration GetTime() const { return ProcessorClock::now() - begin_; }
    long GetKilobytes() const { return StatusValue("VmHWM") - memoryBefore_; }

    void ExpectSmall() const {
        EXPECT_LT(GetTime(), TimeLimit);
        EXPECT_LT(WaitClock::Now() - waitBegin_, WaitLimit);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        EXPECT_LT(GetKilobytes(), MemoryLimitKilobytes);
#endif
    }

private:
    long memoryBefore_ = 0;
    ProcessorClock::time_point begin_;
    boost::chrono::nanoseconds waitBegin_{};
};

TEST(HostilePackagesTest, ThereAreManyOfManyKinds) {
    std::set<std::string> groups;
    const std::vector<HostilePackage> packages = MakeHostilePackages();
    for (const HostilePackage& package : packages) {
        groups.insert(package.group);
    }
    RecordProperty("packages", static_cast<int>(packages.size()));
    RecordProperty("groups", static_cast<int>(groups.size()));
    EXPECT_GE(packages.size(), 200U);
    EXPECT_GE(groups.size(), 20U);
}

TEST(HostilePackagesTest, NoneIsAcceptedAndNoneIsSlowOrLarge) {
    const TestSupport::GlobalLogCapture log;
    std::vector<HostilePackage> packages = MakeHostilePackages();
    ProcessorClock::duration longest{};
    long largest = 0;
    for (HostilePackage& hostile : packages) {
        SCOPED_TRACE(hostile.group + ": " + hostile.name.substr(0, 80));
        const TestSupport::AppPackage package;
        hostile.make(package);
        hostile.make = nullptr;  // a large one takes memory
        const Costs costs;

        EXPECT_NE(Zandrel::VerifyAppPackage(package.FileList(), package.CaFile()), VerificationResult::SignatureOk);

        costs.ExpectSmall();
        longest = std::max(longest, costs.GetTime());
        largest = std::max(largest, costs.GetKilobytes());
    }
    using boost::chrono::milliseconds;
    RecordProperty("longest in ms", static_cast<int>(boost::chrono::duration_cast<milliseconds>(longest).count()));
    RecordProperty("largest in kB", static_cast<int>(largest));
    for (const LogLine& line : log.GetLines()) {
        EXPECT_EQ(line.level, "ERROR");
    }
}

TEST(HostilePackagesTest, NoneAsksOnATerminal) {
    constexpr unsigned SecondsAtMost = 200;
    const auto verifyAll = [] {
        const TestSupport::GlobalLogCapture log;
        for (const HostilePackage& hostile : MakeHostilePackages()) {
            if (hostile.group == "size" || hostile.group == "directories") {
                continue;  // their lists are large, and all that they have of their own
            }
            const TestSupport::AppPackage package;
            hostile.make(package);
            Zandrel::VerifyAppPackage(package.FileList(), package.CaFile());
        }
        return true;
    };
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(ExitOnAQuietTerminal(SecondsAtMost, verifyAll), testing::ExitedWithCode(0), "");
}

/// The certificate of a PEM text; null where there is none.
TestSupport::Certificate ReadPem(const std::string& pem) {
    BIO* const bio = BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()));
    TestSupport::Certificate certificate(PEM_read_bio_X509(
                                             bio, nullptr, [](char*, int, int, void*) { return -1; }, nullptr),
                                         &X509_free);
    BIO_free(bio);
    return certificate;
}

class FlippedBitTest : public AppPackageFixture {
protected:
    /// Checks the package with one bit of each byte of a file flipped; `isSame` tells a content that means the same.
    void FlipIn(const std::string& file, const std::function<bool(const std::string& content)>& isSame) {
        const std::string good = sut_.Read(file);
        for (std::size_t i = 0; i < good.size(); ++i) {
            std::string flipped = good;
            flipped[i] = static_cast<char>(flipped[i] ^ (1 << (i % 8)));
            sut_.Write(file, flipped);
            SCOPED_TRACE("bit " + std::to_string(i % 8) + " of byte " + std::to_string(i) + " of " + file);
            const Costs costs;
            EXPECT_TRUE(Verify() != VerificationResult::SignatureOk || isSame(flipped));
            costs.ExpectSmall();
        }
        sut_.Write(file, good);
        EXPECT_EQ(Verify(), VerificationResult::SignatureOk);
    }
    static bool Never(const std::string& /*content*/) { return false; }
};

TEST_F(FlippedBitTest, InTheListIsFound) {
    FlipIn("appfiles.xml", &Never);
}

TEST_F(FlippedBitTest, InTheSignatureIsFound) {
    FlipIn("appfiles.xml.SHA256.sig", &Never);
}

TEST_F(FlippedBitTest, InAnRsaSignatureIsFound) {
    sut_.Seal(TestSupport::MakeDeveloper(TestSupport::MakeRsaKey()));
    FlipIn("appfiles.xml.SHA256.sig", &Never);
}

TEST_F(FlippedBitTest, InTheCertificateIsFoundUnlessItIsTheSameOne) {
    const auto good = TestSupport::GetDeveloper().certificate;
    FlipIn("sdk.crt", [&good](const std::string& content) {
        const TestSupport::Certificate certificate = ReadPem(content);
        return certificate != nullptr && X509_cmp(certificate.get(), good.get()) == 0;
    });
}

}  // namespace
