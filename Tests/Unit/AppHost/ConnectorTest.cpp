#include "Connector.h"

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <ctime>
#include <deque>
#include <ostream>
#include <stdexcept>

#include "ConnectorProtocol.h"
#include "DescriptorLimit.h"
#include "ScopedEnvironment.h"
#include "TemporaryFolder.h"
#include "ThreadShortage.h"

namespace {

using LocalDevice::Connector;
using testing::ElementsAre;
using tcp = boost::asio::ip::tcp;
using Stream = tcp::iostream;
using Texts = std::vector<std::string>;

constexpr std::uint16_t MissingCo = 3;
constexpr std::uint16_t ThrowingCo = 4;

/// A host without parameters and values that notes what it is told.
class NotingHost : public orn_host {
public:
    NotingHost() : orn_host{} {
        interface_version = ORN_APP_INTERFACE_VERSION;
        ip_parameter = [](const orn_host*, std::uint16_t) { return "0.0.0.0"; };
        number_parameter = [](const orn_host*, std::uint16_t, std::uint32_t*) { return ORN_OK; };
        text_parameter = [](const orn_host*, std::uint16_t) { return ""; };
        get_value = [](const orn_host*, std::uint16_t, orn_value*) { return ORN_NO_VALUE; };
        on_value = [](const orn_host*, std::uint16_t, orn_value_handler, void*) { return ORN_OK; };
        on_communication = [](const orn_host*, orn_communication_handler, void*) { return ORN_OK; };
        set_value = [](const orn_host* host, std::uint16_t co, const orn_value*) {
            if (co == ThrowingCo) {
                throw std::runtime_error("trouble");
            }
            ++Of(host).values_;
            return co == MissingCo ? ORN_NO_SUCH_CO : ORN_OK;
        };
        post = [](const orn_host* host, orn_task task, void* context) {
            const boost::lock_guard<boost::mutex> lock(Of(host).mutex_);
            Of(host).tasks_.emplace_back(task, context);
            Of(host).changed_.notify_all();
            return ORN_OK;
        };
        log = [](const orn_host* host, orn_log_level level, const char* text) {
            Note(host, std::array{"", "DEBUG ", "INFO ", "WARN ", "ERROR "}.at(level) + std::string(text));
        };
        fail = [](const orn_host* host, const char* text) { Note(host, "failed: " + std::string(text)); };
        set_running = [](const orn_host* host, bool running) { Note(host, running ? "running" : "not running"); };
        set_alive = [](const orn_host* host, bool alive) { Note(host, alive ? "alive" : "not alive"); };
    }

    /// Waits until so much was told, and forgets it.
    Texts Take(std::size_t count) const {
        boost::unique_lock<boost::mutex> lock(mutex_);
        changed_.wait_for(lock, boost::chrono::seconds(20), [this, count] { return texts_.size() >= count; });
        return std::exchange(texts_, {});
    }

    std::size_t CountValues() const { return values_; }

    void AwaitTask() const {
        boost::unique_lock<boost::mutex> lock(mutex_);
        ASSERT_TRUE(changed_.wait_for(lock, boost::chrono::seconds(20), [this] { return !tasks_.empty(); }));
    }

    /// The app thread comes to the next task.
    void CallTask() const {
        AwaitTask();
        boost::unique_lock<boost::mutex> lock(mutex_);
        ASSERT_FALSE(tasks_.empty());
        const auto [task, context] = tasks_.front();
        tasks_.pop_front();
        lock.unlock();
        task(context);
    }

private:
    static const NotingHost& Of(const orn_host* host) { return *static_cast<const NotingHost*>(host); }

    static void Note(const orn_host* host, const std::string& text) {
        const auto& self = Of(host);
        const boost::lock_guard<boost::mutex> lock(self.mutex_);
        self.texts_.push_back(text);
        self.changed_.notify_all();
    }

    // The app sees its host as constant.
    mutable std::atomic<std::size_t> values_{0};
    mutable boost::mutex mutex_;  ///< guards what follows
    mutable boost::condition_variable changed_;
    mutable Texts texts_;
    mutable std::deque<std::pair<orn_task, void*>> tasks_;
};

/// A connector whose host, the test, has greeted.
class ConnectorTest : public testing::Test {
protected:
    ConnectorTest() : stream_("127.0.0.1", std::to_string(sut_.GetPort())) {
        stream_.expires_after(std::chrono::seconds(20));
        EXPECT_THAT(host_.Take(1), ElementsAre("not running"));
        stream_ << "orn-connector 1\n" << std::flush;
        for (std::string line; line != "start" && std::getline(stream_, line);) {
        }
    }

    /// Reads the next ones.
    void AwaitPings(std::chrono::milliseconds::rep count) {
        for (std::string line; count > 0 && std::getline(stream_, line);) {
            count -= line == "ping" ? 1 : 0;
        }
        EXPECT_EQ(count, 0);
    }

    TestSupport::TemporaryFolder folder_;
    NotingHost host_;
    const Connector::Durations durations_;
    Connector sut_{host_, folder_.At("port"), durations_};
    Stream stream_;
};

TEST_F(ConnectorTest, HostThatFallsSilentIsNoticedEarlyEnoughToBeReportedWithinTwoSeconds) {
    int pings = 0;
    for (std::string line; std::getline(stream_, line);) {
        pings += line == "ping" ? 1 : 0;
    }

    // By its own clock, however busy the machine is: a host that fell silent behind a ping, and one before a ping.
    EXPECT_LE((pings + 1) * durations_.ping, std::chrono::milliseconds(1700));
    EXPECT_GE(pings * durations_.ping, std::chrono::milliseconds(1500)) << "one that is only slow is given up";
    EXPECT_THAT(host_.Take(2), ElementsAre("not running", "ERROR The connector host does not answer"));
}

TEST_F(ConnectorTest, ValuesAreTakenOnlyAsFastAsTheAppThreadComesAlong) {
    constexpr std::size_t Batch = 256;
    for (std::size_t i = 0; i < 2 * Batch + 1; ++i) {
        stream_ << "set 2 boolean 1\n";
    }
    stream_ << "log info all\n" << std::flush;

    host_.AwaitTask();
    EXPECT_EQ(host_.CountValues(), Batch) << "until the app thread has come along";
    host_.CallTask();
    host_.AwaitTask();
    EXPECT_EQ(host_.CountValues(), 2 * Batch);
    host_.CallTask();

    EXPECT_THAT(host_.Take(1), ElementsAre("INFO all"));
    EXPECT_EQ(host_.CountValues(), 2 * Batch + 1);
}

TEST_F(ConnectorTest, HostThatIsNotListenedToIsNotSilent) {
    for (std::size_t i = 0; i < 256; ++i) {
        stream_ << "set 2 boolean 1\n";
    }
    stream_ << std::flush;
    const auto silence = durations_.silence / durations_.ping + 2;
    AwaitPings(silence);
    host_.CallTask();
    stream_ << "log info here\n" << std::flush;

    EXPECT_THAT(host_.Take(1), ElementsAre("INFO here"));
}

TEST_F(ConnectorTest, HostThatADebuggerMayHaltIsNotSilentUntilTheDebuggerIsGone) {
    stream_ << "pong 0 debugged\nlog info debugged\n" << std::flush;
    EXPECT_THAT(host_.Take(1), ElementsAre("INFO debugged"));
    AwaitPings(durations_.silence / durations_.ping + 2);
    stream_ << "log info here\npong 0\n" << std::flush;
    EXPECT_THAT(host_.Take(1), ElementsAre("INFO here"));

    EXPECT_THAT(host_.Take(2), ElementsAre("not running", "ERROR The connector host does not answer"));
}

TEST_F(ConnectorTest, StrangerWhoGoesIsNoHostThatEnds) {
    stream_.close();
    EXPECT_THAT(host_.Take(2), ElementsAre("not running", "ERROR The connection to the connector host is lost"));

    Stream stranger("127.0.0.1", std::to_string(sut_.GetPort()));
    stranger << "GET / HTTP/1.1\n" << std::flush;

    EXPECT_THAT(host_.Take(1), ElementsAre("ERROR Somebody who is no connector host has connected"));
}

TEST_F(ConnectorTest, StrangerWhoSaysNothingIsNoHostThatFallsSilent) {
    stream_.close();
    EXPECT_THAT(host_.Take(2), ElementsAre("not running", "ERROR The connection to the connector host is lost"));

    const Stream stranger("127.0.0.1", std::to_string(sut_.GetPort()));

    EXPECT_THAT(host_.Take(1), ElementsAre("ERROR The connector host does not answer"));
}

TEST_F(ConnectorTest, SecondHostIsRefusedAndTheFirstGoesOn) {
    const Stream second("127.0.0.1", std::to_string(sut_.GetPort()));
    EXPECT_THAT(host_.Take(1), ElementsAre("WARN A second connector host is refused"));

    stream_ << "log info still here\n" << std::flush;
    EXPECT_THAT(host_.Take(1), ElementsAre("INFO still here"));
}

TEST_F(ConnectorTest, ValueThatIsRefusedIsToldAndTheHostGoesOn) {
    stream_ << "set " << MissingCo << " boolean 1\nlog info still here\n" << std::flush;
    EXPECT_THAT(host_.Take(2), ElementsAre("WARN A value for CO 3 was refused with " + std::to_string(ORN_NO_SUCH_CO),
                                           "INFO still here"));
}

constexpr const char* Hangs = "WARN The managed app hangs in a call: no heartbeat until it returns";

TEST_F(ConnectorTest, AppThatHangsHasNoHeartbeatUntilItGoesOn) {
    const auto hang = std::chrono::duration_cast<std::chrono::milliseconds>(durations_.hang).count();
    stream_ << "pong " << hang - 1 << "\npong " << hang << "\npong " << hang + 1 << "\npong 0\nlog info end\n"
            << std::flush;
    EXPECT_THAT(host_.Take(5), ElementsAre(Hangs, "not alive", "INFO The managed app goes on", "alive", "INFO end"));
}

TEST_F(ConnectorTest, AppHostHasItsHeartbeatBackOnceTheHostOfAHangingAppIsGone) {
    stream_ << "pong 60000\n" << std::flush;
    EXPECT_THAT(host_.Take(2), ElementsAre(Hangs, "not alive"));

    stream_.close();

    EXPECT_THAT(host_.Take(3), testing::UnorderedElementsAre("alive", "not running",
                                                             "ERROR The connection to the connector host is lost"));
}

TEST_F(ConnectorTest, HostIsAcceptedOnceThereIsADescriptorForItAndUntilThenTheProcessRests) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizers look at memory through a pipe, for which there is no descriptor left";
#endif
    boost::asio::io_context context;
    tcp::socket second(context, tcp::v4());
    {
        const TestSupport::DescriptorLimit limit(0);
        second.connect({boost::asio::ip::address_v4::loopback(), sut_.GetPort()});
        EXPECT_THAT(host_.Take(1), ElementsAre("WARN Cannot accept a connector host: Too many open files"));

        const std::clock_t begin = std::clock();
        AwaitPings(3);
        EXPECT_LT(std::clock() - begin, CLOCKS_PER_SEC / 10) << "of 300 ms or more";
    }
    EXPECT_THAT(host_.Take(1), ElementsAre("WARN A second connector host is refused"));
}

TEST_F(ConnectorTest, ThreadThatFailsEndsTheApp) {
    stream_ << "set " << ThrowingCo << " boolean 1\n" << std::flush;
    EXPECT_THAT(host_.Take(1), ElementsAre("failed: trouble"));
}

/// The app host starts the connector library.
class ConnectorStart : public testing::Test {
protected:
    void ExpectNoStart() {
        void* app = nullptr;
        EXPECT_EQ(orn_app_start(&host_, &app), ORN_FAILED);
        EXPECT_EQ(app, nullptr);
    }

    TestSupport::TemporaryFolder folder_;
    const TestSupport::ScopedEnvironment portFile_{"ORN_CONNECTOR_PORT_FILE", folder_.At("port").c_str()};
    NotingHost host_;
};

TEST_F(ConnectorStart, TellsWhatItLacks) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizers look at memory through a pipe, for which there is no descriptor left";
#endif
    const std::string cannotWait = "ERROR Cannot wait for a connector host: ";
    const std::string noFile = cannotWait + folder_.At("port.new") + ": cannot be written";
    Texts lines;
    for (rlim_t spare = 0; lines.empty() || lines.back() != noFile; ++spare) {
        ASSERT_LT(spare, 100U);
        const TestSupport::DescriptorLimit limit(spare);
        ExpectNoStart();
        const Texts told = host_.Take(1);
        ASSERT_EQ(told.size(), 1U);
        lines.push_back(told.front());
    }
    lines.pop_back();
    EXPECT_THAT(lines, testing::Each(
                           testing::AllOf(testing::StartsWith(cannotWait), testing::EndsWith("Too many open files"))));
    EXPECT_THAT(lines, testing::Contains(cannotWait + "open: Too many open files"));
}

TEST_F(ConnectorStart, WithoutAThreadThereIsNone) {
    const TestSupport::ThreadShortage shortage;
    ExpectNoStart();
    EXPECT_THAT(
        host_.Take(2),
        ElementsAre(
            "not running",
            "ERROR Cannot wait for a connector host: boost::thread_resource_error: Resource temporarily unavailable"));
}

struct Nonsense {
    const char* name;
    std::string line;
    std::string reason;

    friend std::ostream& operator<<(std::ostream& stream, const Nonsense& nonsense) { return stream << nonsense.name; }
};

class ConnectorNonsense : public ConnectorTest, public testing::WithParamInterface<Nonsense> {};

TEST_P(ConnectorNonsense, EndsTheConnectionWithItsReason) {
    stream_ << GetParam().line << std::flush;
    EXPECT_THAT(host_.Take(2), ElementsAre("not running", "ERROR " + GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ConnectorNonsense,
    testing::Values(
        Nonsense{"Command", "dance now\n", "The connector host says what nobody understands: dance"},
        Nonsense{"Duration", "pong soon\n", "The connector host says what nobody understands: pong soon"},
        Nonsense{"Word", "pong 0 soon\n", "The connector host says what nobody understands: pong 0 soon"},
        Nonsense{"Value", "set 2 boolean maybe\n", "The connector host sets what is no value: 2 boolean maybe"},
        Nonsense{"Co", "set nowhere boolean 1\n", "The connector host sets what is no value: nowhere boolean 1"},
        Nonsense{"Length", std::string(LocalDevice::ConnectorProtocol::LongestLine + 1, 'x'),
                 "The connector host sends a line that is too long"}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(ConnectorTest, HostThatIsDisconnectedIsNoticedAtOnce) {
    stream_ << "running\n" << std::flush;
    EXPECT_THAT(host_.Take(1), ElementsAre("running"));

    stream_.close();

    EXPECT_THAT(host_.Take(2), ElementsAre("not running", "ERROR The connection to the connector host is lost"));
}

}  // namespace
