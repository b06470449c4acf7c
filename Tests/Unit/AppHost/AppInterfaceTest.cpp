#include <boost/thread/thread.hpp>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "AppHostFixture.h"
#include "AppValues.h"

namespace {

using namespace AppHostTests;
using Zandrel::ZANVALUE;
using Texts = std::vector<std::string>;

/// COs 1 (no value), 2 (boolean) and 520 (text); the device stack reports every write to its writer, as it does.
class AppInterfaceTest : public AppHostFixture {
protected:
    AppInterfaceTest() {
        model.cos[1] = {true, std::nullopt};
        model.cos[2] = {true, ZANVALUE::FromBoolean(true)};
        model.cos[520] = {true, ZANVALUE::FromText("abc")};
        deviceStack.onWrite = [this](unsigned long id, const ZANVALUE& value) {
            if (const auto co = Zandrel::KnxOdsMapping::GetCoNumberFromObjModelId(id, LogicalDevice)) {
                sut->OnCoValue(*co, value);
            }
        };
    }

    /// Runs an app that does `body` at its start and is then asked to shut down.
    void RunOnce(const std::function<void()>& body) {
        Run([this, body] {
            body();
            Post([this] { ShutDown(); });
        });
    }
    orn_result Set(std::uint16_t co, const orn_value& value) const { return host->set_value(host, co, &value); }
    std::string Get(std::uint16_t co) const {
        orn_value value{};
        const orn_result result = host->get_value(host, co, &value);
        return result == ORN_OK ? ToText(value) : "result " + std::to_string(result);
    }
};

TEST_F(AppInterfaceTest, describesItself) {
    RunOnce([&] {
        EXPECT_EQ(host->interface_version, ORN_APP_INTERFACE_VERSION);
        EXPECT_EQ(host->logical_device, LogicalDevice);
    });
}

TEST_F(AppInterfaceTest, givesParameters) {
    model.parameters[0][0] = "192.168.1.10";
    model.parameters[1][49] = "4294967295";
    model.parameters[2][1] = "hello";
    RunOnce([&] {
        EXPECT_STREQ(host->ip_parameter(host, 1), "192.168.1.10");
        EXPECT_STREQ(host->ip_parameter(host, 50), "0.0.0.0");
        EXPECT_STREQ(host->text_parameter(host, 2), "hello");
        EXPECT_STREQ(host->text_parameter(host, 1), "");
        std::uint32_t number = 1;
        EXPECT_EQ(host->number_parameter(host, 50, &number), ORN_OK);
        EXPECT_EQ(number, 4294967295U);
        EXPECT_EQ(host->number_parameter(host, 1, &number), ORN_OK);
        EXPECT_EQ(number, 0U);
    });
}

TEST_F(AppInterfaceTest, refusesParametersOutOfRange) {
    RunOnce([&] {
        std::uint32_t number = 0;
        for (const std::uint16_t slot : std::vector<std::uint16_t>{0, 51, 65535}) {
            EXPECT_EQ(host->ip_parameter(host, slot), nullptr);
            EXPECT_EQ(host->text_parameter(host, slot), nullptr);
            EXPECT_EQ(host->number_parameter(host, slot, &number), ORN_BAD_ARGUMENT);
        }
        EXPECT_EQ(host->number_parameter(host, 1, nullptr), ORN_BAD_ARGUMENT);
    });
}

TEST_F(AppInterfaceTest, refusesANumberParameterThatIsNoNumber) {
    for (const char* text : {"x", "-1", "4294967296", "1.5"}) {
        model.parameters[1][0] = text;
        UseHeartbeatPeriod(OneMinute);
        RunOnce([&] {
            std::uint32_t number = 0;
            EXPECT_EQ(host->number_parameter(host, 1, &number), ORN_FAILED);
        });
        EXPECT_EQ(appLog.TakeLines(), (std::vector<TestSupport::LogLine>{
                                          {"ERROR", std::string("Number parameter 1 is no number: '") + text + "'"}}));
    }
}

TEST_F(AppInterfaceTest, givesTheValueOfACo) {
    RunOnce([&] {
        EXPECT_EQ(Get(1), "result 3");
        EXPECT_EQ(Get(2), "boolean 1");
        EXPECT_EQ(Get(520), "text abc");
        EXPECT_EQ(Get(3), "result 2");
        EXPECT_EQ(Get(0), "result 2");
        EXPECT_EQ(Get(521), "result 2");
        EXPECT_EQ(host->get_value(host, 2, nullptr), ORN_BAD_ARGUMENT);
    });
}

TEST_F(AppInterfaceTest, givesTheValueThatTheAppSet) {
    RunOnce([&] {
        EXPECT_EQ(Set(1, Number(0.5)), ORN_OK);
        EXPECT_EQ(Get(1), "number 0.5");
        Post([&] { EXPECT_EQ(Get(1), "number 0.5"); });
    });
}

TEST_F(AppInterfaceTest, givesTheValueThatCameLast) {
    sut->OnCoValue(1, ZANVALUE::FromInteger(7));
    RunOnce([&] {
        EXPECT_EQ(Get(1), "result 3") << "it comes after the start";
        Post([&] { EXPECT_EQ(Get(1), "integer 7"); });
    });
}

TEST_F(AppInterfaceTest, writesEveryTypeOfValueInOrder) {
    RunOnce([&] {
        std::string text = "t\u00e9xt";
        for (const auto& value :
             {Boolean(true), Boolean(false), Integer(-1), Number(0.1), Number(1e300), Text(text.c_str()), Text("")}) {
            EXPECT_EQ(Set(1, value), ORN_OK);
        }
        text = "no more";
    });
    EXPECT_EQ(GetWrites(1), (Texts{"2.1:1", "2.1:0", "3.1:-1", "4.1:0.1", "4.1:1e+300", "5.1:t\u00e9xt", "5.1:"}));
}

TEST_F(AppInterfaceTest, refusesToWriteWhatIsNoValue) {
    RunOnce([&] {
        orn_value noType{};
        EXPECT_EQ(Set(1, noType), ORN_BAD_ARGUMENT);
        noType.type = static_cast<orn_value_type>(5);
        EXPECT_EQ(Set(1, noType), ORN_BAD_ARGUMENT);
        EXPECT_EQ(Set(1, Text(nullptr)), ORN_BAD_ARGUMENT);
        EXPECT_EQ(host->set_value(host, 1, nullptr), ORN_BAD_ARGUMENT);
        for (const std::uint16_t co : std::vector<std::uint16_t>{0, 3, 521, 65535}) {
            EXPECT_EQ(Set(co, Integer(1)), ORN_NO_SUCH_CO);
        }
    });
    EXPECT_EQ(GetWrites(1), Texts{});
}

TEST_F(AppInterfaceTest, saysWhenAValueIsLost) {
    RunOnce([&] {
        deviceStack.SetConnected(false);
        EXPECT_EQ(Set(2, Boolean(false)), ORN_NOT_CONNECTED);
        EXPECT_EQ(Get(2), "boolean 1");
        deviceStack.SetConnected(true);
    });
}

TEST_F(AppInterfaceTest, asksForRoomBeforeEachValue) {
    RunOnce([&] {
        Set(2, Boolean(false));
        Set(2, Boolean(true));
        EXPECT_EQ(deviceStack.askedForRoom, 2);
    });
}

TEST_F(AppInterfaceTest, tellsEveryForeignValueInOrder) {
    for (const int number : {1, 1, 2, 1}) {
        sut->OnCoValue(1, ZANVALUE::FromInteger(number));
    }
    sut->OnCoValue(1, ZANVALUE::FromSingle(0.5F));
    sut->OnCoValue(1, ZANVALUE::FromText("a\u00e4"));
    sut->OnCoValue(2, ZANVALUE::FromBoolean(false));
    Texts heard;
    RunOnce([&] { EXPECT_EQ(OnValue(1, [&](const orn_value& value) { heard.push_back(ToText(value)); }), ORN_OK); });
    EXPECT_EQ(heard, (Texts{"integer 1", "integer 1", "integer 2", "integer 1", "number 0.5", "text a\u00e4"}));
}

TEST_F(AppInterfaceTest, tellsTheAppNothingThatItWroteItself) {
    Texts heard;
    RunOnce([&] {
        OnValue(1, [&](const orn_value& value) { heard.push_back(ToText(value)); });
        Set(1, Integer(1));
        Set(1, Integer(1));
        sut->OnCoValue(1, ZANVALUE::FromInteger(1));
        Set(1, Integer(2));
        sut->OnCoValue(1, ZANVALUE::FromInteger(3));
    });
    EXPECT_EQ(heard, (Texts{"integer 1", "integer 3"}));
}

TEST_F(AppInterfaceTest, anOwnReportDoesNotOvertakeAValueThatTheAppHasNotHeardYet) {
    Texts heard;
    deviceStack.onWrite = nullptr;
    RunOnce([&] {
        OnValue(1, [&](const orn_value& value) { heard.push_back(ToText(value)); });
        sut->OnCoValue(1, ZANVALUE::FromInteger(5));
        Set(1, Integer(7));
        sut->OnCoValue(1, ZANVALUE::FromInteger(7));
        Post([&] { heard.push_back(Get(1)); });
    });
    EXPECT_EQ(heard, (Texts{"integer 5", "integer 7"}));
}

TEST_F(AppInterfaceTest, anOwnReportThatComesAloneIsNotHeardEither) {
    Texts heard;
    deviceStack.onWrite = nullptr;
    RunOnce([&] {
        OnValue(1, [&](const orn_value& value) { heard.push_back(ToText(value)); });
        Set(1, Integer(7));
        sut->OnCoValue(1, ZANVALUE::FromInteger(7));
        sut->OnCoValue(1, ZANVALUE::FromInteger(7));
    });
    EXPECT_EQ(heard, Texts{"integer 7"});
}

TEST_F(AppInterfaceTest, tellsEverythingAfterAReconnect) {
    Texts heard;
    deviceStack.onWrite = nullptr;  // the report is lost with the connection
    RunOnce([&] {
        OnValue(1, [&](const orn_value& value) { heard.push_back(ToText(value)); });
        Set(1, Integer(1));
        sut->OnReconnected();
        sut->OnCoValue(1, ZANVALUE::FromInteger(1));
    });
    EXPECT_EQ(heard, Texts{"integer 1"});
}

TEST_F(AppInterfaceTest, tellsNothingOfACoThatLosesItsValue) {
    Texts heard;
    sut->OnCoValue(2, ZANVALUE{});
    RunOnce([&] {
        OnValue(2, [&](const orn_value& value) { heard.push_back(ToText(value)); });
        Post([&] { EXPECT_EQ(Get(2), "result 3"); });
    });
    EXPECT_EQ(heard, Texts{});
}

TEST_F(AppInterfaceTest, tellsTheLatestHandlerOnly) {
    Texts heard;
    RunOnce([&] {
        OnValue(1, [&](const orn_value&) { heard.emplace_back("old"); });
        OnValue(1, [&](const orn_value&) {
            heard.emplace_back("new");
            EXPECT_EQ(host->on_value(host, 1, nullptr, nullptr), ORN_OK);
        });
        sut->OnCoValue(1, ZANVALUE::FromInteger(1));
        sut->OnCoValue(1, ZANVALUE::FromInteger(2));
    });
    EXPECT_EQ(heard, Texts{"new"});
}

TEST_F(AppInterfaceTest, listensToCosThatExistOnly) {
    RunOnce([&] {
        for (const std::uint16_t co : std::vector<std::uint16_t>{0, 3, 521, 65535}) {
            EXPECT_EQ(OnValue(co, [](const orn_value&) {}), ORN_NO_SUCH_CO);
        }
        EXPECT_EQ(OnValue(520, [](const orn_value&) {}), ORN_OK);
    });
}

TEST_F(AppInterfaceTest, answersAValueWithinItsHandler) {
    sut->OnCoValue(1, ZANVALUE::FromInteger(7));
    RunOnce([&] { OnValue(1, [&](const orn_value& value) { Set(2, value); }); });
    EXPECT_EQ(GetWrites(2), Texts{"3.1:7"});
}

TEST_F(AppInterfaceTest, keepsATimerUntilItIsStopped) {
    int calls = 0;
    bool stoppedOneCalled = false;
    Run([&] {
        const orn_timer stopped = StartTimer(1, false, [&] { stoppedOneCalled = true; });
        EXPECT_EQ(host->stop_timer(host, stopped), ORN_OK);
        EXPECT_EQ(host->stop_timer(host, stopped), ORN_OK);
        EXPECT_EQ(host->stop_timer(host, 0), ORN_OK);
        StartTimer(1, true, [&] {
            if (++calls == 5) {
                ShutDown();
            }
        });
    });
    EXPECT_EQ(calls, 5);
    EXPECT_FALSE(stoppedOneCalled);
}

TEST_F(AppInterfaceTest, refusesTimersThatCannotBe) {
    RunOnce([&] {
        const auto task = [](void*) { FAIL(); };
        orn_timer timer = 0;
        EXPECT_EQ(host->start_timer(host, 1, false, nullptr, nullptr, &timer), ORN_BAD_ARGUMENT);
        EXPECT_EQ(host->start_timer(host, 0, true, task, nullptr, &timer), ORN_BAD_ARGUMENT);
        EXPECT_EQ(host->start_timer(host, ORN_MAX_TIMER_MILLISECONDS + 1, false, task, nullptr, &timer),
                  ORN_BAD_ARGUMENT);
        EXPECT_EQ(host->start_timer(host, std::numeric_limits<std::uint64_t>::max(), false, task, nullptr, &timer),
                  ORN_BAD_ARGUMENT);
        EXPECT_EQ(timer, 0U);
        EXPECT_EQ(host->start_timer(host, ORN_MAX_TIMER_MILLISECONDS, true, task, nullptr, &timer), ORN_OK);
        EXPECT_NE(timer, 0U);
        EXPECT_EQ(host->post(host, nullptr, nullptr), ORN_BAD_ARGUMENT);
    });
}

TEST_F(AppInterfaceTest, callsNothingWhileTheAppStops) {
    bool called = false;
    stop = [&] {
        Post([&] { called = true; });
        EXPECT_EQ(Set(1, Integer(1)), ORN_OK);
    };
    RunOnce([&] { StartTimer(OneMinute, false, [&] { called = true; }); });
    EXPECT_FALSE(called);
    EXPECT_EQ(GetWrites(1), Texts{"3.1:1"});
}

TEST_F(AppInterfaceTest, takesValuesTasksAndLinesFromOtherThreads) {
    boost::thread::id caller;
    boost::thread other;
    stop = [&] { other.join(); };
    Run([&] {
        other = boost::thread([&] {
            for (int i = 0; i < 1000; ++i) {
                EXPECT_EQ(Set(1, Integer(i)), ORN_OK);
            }
            host->log(host, ORN_LOG_INFO, "from a thread");
            Post([&] {
                caller = boost::this_thread::get_id();
                ShutDown();
            });
        });
    });
    EXPECT_EQ(caller, boost::this_thread::get_id());
    EXPECT_EQ(GetWrites(1).size(), 1000U);
    EXPECT_EQ(GetWrites(1).back(), "3.1:999");
    EXPECT_EQ(appLog.GetLines(), (std::vector<TestSupport::LogLine>{{"INFO", "from a thread"}}));
}

TEST_F(AppInterfaceTest, keepsTheOtherFunctionsToTheAppThread) {
    RunOnce([&] {
        boost::thread other([&] {
            std::uint32_t number = 0;
            orn_timer timer = 0;
            EXPECT_EQ(host->ip_parameter(host, 1), nullptr);
            EXPECT_EQ(host->text_parameter(host, 1), nullptr);
            EXPECT_EQ(host->number_parameter(host, 1, &number), ORN_WRONG_THREAD);
            EXPECT_EQ(Get(2), "result 5");
            EXPECT_EQ(host->on_value(host, 1, nullptr, nullptr), ORN_WRONG_THREAD);
            EXPECT_EQ(host->on_communication(host, nullptr, nullptr), ORN_WRONG_THREAD);
            EXPECT_EQ(host->start_timer(
                          host, 1, false, [](void*) {}, nullptr, &timer),
                      ORN_WRONG_THREAD);
            EXPECT_EQ(host->stop_timer(host, 1), ORN_WRONG_THREAD);
        });
        other.join();
    });
}

TEST_F(AppInterfaceTest, writesLinesOfEveryLevel) {
    RunOnce([&] {
        host->log(host, ORN_LOG_DEBUG, "d");
        host->log(host, ORN_LOG_INFO, "i");
        host->log(host, ORN_LOG_WARN, "w");
        host->log(host, ORN_LOG_ERROR, "e");
        host->log(host, static_cast<orn_log_level>(7), "unknown");
        host->log(host, ORN_LOG_INFO, nullptr);
        host->log(host, ORN_LOG_INFO, "\x1B[2J\nno line of its own");
    });
    EXPECT_EQ(appLog.GetLines(), (std::vector<TestSupport::LogLine>{{"DEBUG", "d"},
                                                                    {"INFO", "i"},
                                                                    {"WARN", "w"},
                                                                    {"ERROR", "e"},
                                                                    {"ERROR", "unknown"},
                                                                    {"INFO", ""},
                                                                    {"INFO", "\\u001b[2J\n    no line of its own"}}));
}

}  // namespace
