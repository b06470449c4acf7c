#include "Zandrel/DscAsyncRequestMessenger.h"

#include <gtest/gtest.h>

#include <atomic>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread_only.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CapturingAppender.h"
#include "Zandrel/RequestMessengerDeviceStack.h"

namespace {

using namespace std::string_literals;
namespace posix_time = boost::posix_time;
using Ostra::IDeviceStackClient;
using TestSupport::LogLine;
using Zandrel::Docket;
using Zandrel::DscAsyncRequestMessenger;
using Zandrel::ZANVALUE;

/// A road whose far end the test plays.
class FakeRoad : public Zandrel::RequestMessengerDeviceStack {
public:
    bool Send(const std::string& json) override {
        {
            const boost::lock_guard<boost::mutex> lock(mutex_);
            sent.push_back(json);
        }
        if (answer && handler != nullptr) {
            handler->OnResponse(LastNumber(), !refuse, *answer);
        }
        return connected;
    }
    void SendAtEveryConnect(const std::string& json) override { session.push_back(json); }
    void SetResponseHandler(IDeviceStackClient::IResponseHandler* newHandler) override { handler = newHandler; }

    unsigned long LastNumber() {
        const std::string json = LastSent();
        const std::string head = "{\"request\":";
        return json.compare(0, head.size(), head) == 0 ? std::stoul(json.substr(head.size())) : 0;
    }
    std::string LastSent() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return sent.empty() ? std::string() : sent.back();
    }
    /// The last request without its number.
    std::string LastMembers() {
        const std::string json = LastSent();
        const std::string head = "{\"request\":" + std::to_string(LastNumber()) + ",";
        EXPECT_EQ(json.substr(0, head.size()), head);
        return json.substr(head.size());
    }

    std::atomic<bool> connected{true};
    std::optional<std::string> answer;  ///< comes at once
    bool refuse = false;
    std::vector<std::string> sent;
    std::vector<std::string> session;
    IDeviceStackClient::IResponseHandler* handler = nullptr;

private:
    boost::mutex mutex_;
};

class Messenger : public testing::Test {
protected:
    static constexpr unsigned int WarnAfterTimeouts = 3;

    Messenger() { sut->SetAsResponseHandler(); }

    std::unique_ptr<DscAsyncRequestMessenger> MakeMessenger(boost::posix_time::time_duration timeout) {
        return std::make_unique<DscAsyncRequestMessenger>(road, timeout, WarnAfterTimeouts, log.GetLogger());
    }
    void LetTimeOut() { EXPECT_FALSE(sut->Request(R"({"command":"X"})", posix_time::milliseconds(1)).IsAnswered()); }

    TestSupport::LogCapture log;
    FakeRoad road;
    std::unique_ptr<DscAsyncRequestMessenger> sut = MakeMessenger(posix_time::seconds(60));
};

void ExpectFailure(const Docket& docket, const std::string& error) {
    EXPECT_FALSE(docket.IsReplyValid());
    EXPECT_TRUE(docket.IsAnswered());
    EXPECT_EQ(docket.ReadReply(), "");
    EXPECT_EQ(docket.ReadDeliveryError(), error);
}

TEST_F(Messenger, PutsTheNumberFirstAndKeepsTheRestByteForByte) {
    sut->Request(" \n{ \"command\" : \"EmitEvent\",\"eventType\":\"\\\x01\xFF\"} ", {});
    EXPECT_EQ(road.LastSent(), "{\"request\":" + std::to_string(road.LastNumber()) +
                                   ", \"command\" : \"EmitEvent\",\"eventType\":\"\\\x01\xFF\"} ");
}

TEST_F(Messenger, RefusesWhatIsNoObjectWithMembers) {
    for (const char* const json : {"", " ", "{}", " { } ", "{", "[1]", "\"text\"", "7"}) {
        ExpectFailure(sut->Request(json, {}), "The request is not a JSON object with members.");
    }
    EXPECT_TRUE(road.sent.empty());
}

TEST_F(Messenger, GivesEachRequestAnotherNumber) {
    const auto other = MakeMessenger(posix_time::seconds(60));
    other->SetAsResponseHandler();
    sut->SetAsResponseHandler();
    sut->Request(R"({"command":"X"})", {});
    const auto first = road.LastNumber();
    other->Request(R"({"command":"X"})", {});
    const auto second = road.LastNumber();
    sut->Request(R"({"command":"X"})", {});
    EXPECT_GT(first, 0UL);
    EXPECT_NE(second, first);
    EXPECT_NE(road.LastNumber(), first);
    EXPECT_NE(road.LastNumber(), second);
}

TEST_F(Messenger, AcceptedAnswerGoesToItsDocketWhole) {
    const Docket first = sut->Request(R"({"command":"GetDeviceConfig"})", {});
    const auto number = road.LastNumber();
    const Docket second = sut->Request(R"({"command":"GetDeviceConfig"})", {});
    road.handler->OnResponse(road.LastNumber(), true, "second");
    road.handler->OnResponse(number, true, "first");
    EXPECT_TRUE(first.IsReplyValid());
    EXPECT_EQ(first.ReadReply(), "first");
    EXPECT_TRUE(second.IsReplyValid());
    EXPECT_EQ(second.ReadReply(), "second");
}

TEST_F(Messenger, AnswerMayComeBeforeSendReturns) {
    road.answer = "{}";
    EXPECT_TRUE(sut->Request(R"({"command":"X"})", {}).IsReplyValid());
}

TEST_F(Messenger, RefusedAnswerGivesTheReason) {
    const Docket docket = sut->Request(R"({"command":"X"})", {});
    road.handler->OnResponse(road.LastNumber(), false, "unknown command");
    ExpectFailure(docket, "unknown command");
}

TEST_F(Messenger, RequestTimesOut) {
    const Docket docket = sut->Request(R"({"command":"X"})", posix_time::milliseconds(5));
    EXPECT_FALSE(docket.IsReplyValid());
    EXPECT_FALSE(docket.IsAnswered());
    EXPECT_EQ(docket.ReadDeliveryError(), "");
}

TEST_F(Messenger, TimeOutOfZeroIsTheDefaultOne) {
    sut = MakeMessenger(posix_time::milliseconds(5));
    sut->SetAsResponseHandler();
    EXPECT_FALSE(sut->Request(R"({"command":"X"})", {}).IsAnswered());
    EXPECT_FALSE(sut->SetConfiguration("{}", {}).IsAnswered());
    EXPECT_FALSE(sut->GetValue(1, true).IsAnswered());
}

TEST_F(Messenger, EndlessTimeOutStillGetsItsAnswer) {
    for (const boost::posix_time::time_duration timeout :
         {boost::posix_time::time_duration(boost::posix_time::pos_infin),
          boost::posix_time::time_duration(boost::posix_time::hours(24 * 365 * 1000))}) {
        const Docket docket = sut->Request(R"({"command":"X"})", timeout);
        road.handler->OnResponse(road.LastNumber(), true, "{}");
        EXPECT_TRUE(docket.IsReplyValid());
    }
}

TEST_F(Messenger, DropsALateAnswerWithOneDebugLine) {
    const Docket docket = sut->Request(R"({"command":"X"})", posix_time::milliseconds(1));
    EXPECT_FALSE(docket.IsAnswered());
    const auto number = road.LastNumber();
    log.TakeLines();
    road.handler->OnResponse(number, true, "{}");
    EXPECT_FALSE(docket.IsReplyValid());
    EXPECT_FALSE(docket.IsAnswered());
    EXPECT_EQ(log.TakeLines(),
              (std::vector<LogLine>{{"DEBUG", "Late answer to request " + std::to_string(number) + " dropped."}}));
}

TEST_F(Messenger, DropsALateAnswerThatNobodyAskedFor) {
    const Docket docket = sut->Request(R"({"command":"X"})", posix_time::milliseconds(-1));
    road.handler->OnResponse(road.LastNumber(), true, "{}");
    EXPECT_EQ(
        log.TakeLines(),
        (std::vector<LogLine>{{"DEBUG", "Late answer to request " + std::to_string(road.LastNumber()) + " dropped."}}));
    EXPECT_FALSE(docket.IsAnswered());
}

TEST_F(Messenger, WarnsOnceAfterTimeOutsInARow) {
    LetTimeOut();
    LetTimeOut();
    EXPECT_EQ(log.TakeLines(), std::vector<LogLine>{});
    LetTimeOut();
    EXPECT_EQ(log.TakeLines(),
              (std::vector<LogLine>{{"WARN", "The device stack left 3 requests in a row without an answer."}}));
    LetTimeOut();
    EXPECT_EQ(log.TakeLines(), std::vector<LogLine>{});
}

TEST_F(Messenger, AnswerEndsTheRowOfTimeOuts) {
    LetTimeOut();
    LetTimeOut();
    sut->Request(R"({"command":"X"})", {});
    road.handler->OnResponse(road.LastNumber(), false, "no");
    LetTimeOut();
    LetTimeOut();
    EXPECT_EQ(log.TakeLines(), std::vector<LogLine>{});
}

TEST_F(Messenger, NoticesTimeOutsOfAbandonedDockets) {
    for (unsigned int i = 0; i < WarnAfterTimeouts; ++i) {
        sut->Request(R"({"command":"X"})", posix_time::milliseconds(-1));
    }
    EXPECT_EQ(log.TakeLines(), std::vector<LogLine>{});
    sut->Request(R"({"command":"X"})", {});
    EXPECT_EQ(log.TakeLines(),
              (std::vector<LogLine>{{"WARN", "The device stack left 3 requests in a row without an answer."}}));
}

TEST_F(Messenger, WithoutConnectionARequestFailsAtOnce) {
    road.connected = false;
    ExpectFailure(sut->Request(R"({"command":"X"})", {}), "Not connected to device stack.");
    ExpectFailure(sut->GetValue(1, true), "Not connected to device stack.");
    EXPECT_FALSE(sut->SetValueAndIgnoreResponse(1, ZANVALUE::FromBoolean(true)));
    EXPECT_FALSE(sut->EnableNativeFormat());
}

TEST_F(Messenger, LostConnectionEndsOpenRequests) {
    const Docket first = sut->Request(R"({"command":"X"})", {});
    const Docket second = sut->Request(R"({"command":"X"})", {});
    road.handler->OnConnectionLost();
    ExpectFailure(first, "Connection to device stack lost.");
    ExpectFailure(second, "Connection to device stack lost.");
}

TEST_F(Messenger, UnsetEndsOpenRequestsAndLeavesTheRoad) {
    const Docket open = sut->Request(R"({"command":"X"})", {});
    sut->UnsetAsResponseHandler();
    ExpectFailure(open, "Messenger closed.");
    EXPECT_EQ(road.handler, nullptr);

    const auto sentBefore = road.sent;
    ExpectFailure(sut->Request(R"({"command":"X"})", {}), "Messenger closed.");
    ExpectFailure(sut->RegisterApplication("a", "b", "c"), "Messenger closed.");
    EXPECT_FALSE(sut->EnableNativeFormat());
    EXPECT_FALSE(sut->SetValueAndIgnoreResponse(1, ZANVALUE::FromBoolean(true)));
    EXPECT_EQ(road.sent, sentBefore);
    EXPECT_TRUE(road.session.empty());
}

TEST_F(Messenger, DestructionEndsOpenRequests) {
    const Docket open = sut->Request(R"({"command":"X"})", {});
    sut.reset();
    ExpectFailure(open, "Messenger closed.");
    EXPECT_EQ(road.handler, nullptr);
}

TEST_F(Messenger, AfterUnsetTheRoadMayGo) {
    auto shortRoad = std::make_unique<FakeRoad>();
    DscAsyncRequestMessenger messenger(*shortRoad, posix_time::seconds(60), WarnAfterTimeouts, log.GetLogger());
    messenger.SetAsResponseHandler();
    messenger.UnsetAsResponseHandler();
    shortRoad.reset();
    ExpectFailure(messenger.Request(R"({"command":"X"})", {}), "Messenger closed.");
    messenger.UnsetAsResponseHandler();
}

TEST_F(Messenger, AfterUnsetNobodyIsOnTheRoad) {
    constexpr int Rounds = 50;
    for (int round = 0; round < Rounds; ++round) {
        auto shortRoad = std::make_unique<FakeRoad>();
        DscAsyncRequestMessenger messenger(*shortRoad, posix_time::seconds(60), WarnAfterTimeouts, log.GetLogger());
        messenger.SetAsResponseHandler();
        std::atomic<bool> ready{false};
        boost::thread sender([&] {
            while (messenger.SetValueAndIgnoreResponse(1, ZANVALUE::FromInteger(1))) {
                ready = true;
            }
            ExpectFailure(messenger.SetValue(1, ZANVALUE::FromInteger(1)), "Messenger closed.");
        });
        while (!ready) {
            boost::this_thread::yield();
        }
        messenger.UnsetAsResponseHandler();
        shortRoad.reset();
        sender.join();
    }
}

TEST_F(Messenger, RequestsNeedAResponseHandler) {
    const auto deaf = MakeMessenger(posix_time::seconds(60));
    ExpectFailure(deaf->Request(R"({"command":"X"})", {}), "Messenger closed.");
    EXPECT_TRUE(road.sent.empty());
}

TEST_F(Messenger, DestructionLeavesAnothersHandlerAlone) {
    MakeMessenger(posix_time::seconds(60)).reset();
    EXPECT_NE(road.handler, nullptr);
}

TEST_F(Messenger, RegistersNowAndAfterEachReconnect) {
    road.answer = R"({"request":1,"response":{}})";
    EXPECT_TRUE(sut->RegisterApplication("OrnKnxAppPrg", "field", "KNX").IsReplyValid());
    const std::string members =
        R"("command":"RegisterApplication","name":"OrnKnxAppPrg","type":"field","domain":"KNX"})";
    EXPECT_EQ(road.LastMembers(), members);
    EXPECT_EQ(road.session, std::vector<std::string>{"{" + members});
}

TEST_F(Messenger, EscapesTexts) {
    sut->RegisterApplication("a\"b\\c\n", "\xFC", "ü");
    EXPECT_EQ(road.LastMembers(), R"("command":"RegisterApplication","name":"a\"b\\c\n","type":"ü","domain":"ü"})");
}

TEST_F(Messenger, EnablesNativeFormatNowAndAfterEachReconnect) {
    road.answer = R"({"request":1,"response":{}})";
    EXPECT_TRUE(sut->EnableNativeFormat());
    EXPECT_EQ(road.LastMembers(), R"("command":"EnableNativeFormat"})");
    EXPECT_EQ(road.session, std::vector<std::string>{R"({"command":"EnableNativeFormat"})"});
}

TEST_F(Messenger, ReportsARefusedNativeFormat) {
    road.answer = "no";
    road.refuse = true;
    EXPECT_FALSE(sut->EnableNativeFormat());
}

TEST_F(Messenger, EmbedsTheDocumentByteForByte) {
    const std::string document = "{\"devices\":[\"\\\x02\x01\xFF\"]}\n";
    const Docket docket = sut->SetConfiguration(document, posix_time::seconds(25));
    const std::string head = "{\"request\":";
    const std::string tail = R"(,"command":"SetConfiguration","configuration":)" + document + "}";
    const std::string json = road.LastSent();
    EXPECT_EQ(json.substr(0, head.size()), head);
    ASSERT_GT(json.size(), tail.size());
    EXPECT_EQ(json.substr(json.size() - tail.size()), tail);
}

TEST_F(Messenger, RefusesADocumentThatIsNoObject) {
    ExpectFailure(sut->SetConfiguration("", {}), "The configuration is not a JSON object.");
    ExpectFailure(sut->SetConfiguration("[]", {}), "The configuration is not a JSON object.");
    EXPECT_TRUE(road.sent.empty());
}

TEST_F(Messenger, SetsPropertiesOfOneObject) {
    using Type = IDeviceStackClient::PropertyType;
    sut->SetConfiguration(65536, {{Type::Enabled, false}});
    EXPECT_EQ(road.LastMembers(), R"("command":"SetConfiguration","id":65536,"properties":{"enabled":false}})");
    sut->SetConfiguration(1, {{Type::Visible, true},
                              {Type::Name, std::string("K\xFC"
                                                       "che")},
                              {Type::Enabled, true}});
    EXPECT_EQ(road.LastMembers(),
              R"("command":"SetConfiguration","id":1,"properties":{"name":"Küche","enabled":true,"visible":true}})");
    sut->SetConfiguration(1, {});
    EXPECT_EQ(road.LastMembers(), R"("command":"SetConfiguration","id":1,"properties":{}})");
}

TEST_F(Messenger, WritesPlainValuesBeforeNativeFormat) {
    sut->SetValue(7, ZANVALUE::FromInteger(42));
    EXPECT_EQ(road.LastMembers(), R"("command":"SetValue","id":7,"value":"42"})");
}

class NativeMessenger : public Messenger {
protected:
    NativeMessenger() {
        road.answer = "{}";
        EXPECT_TRUE(sut->EnableNativeFormat());
        road.answer.reset();
    }
};

TEST_F(NativeMessenger, WritesSerialisedValues) {
    const Docket docket = sut->SetValue(4294967295UL, ZANVALUE::FromInteger(42));
    EXPECT_EQ(road.LastMembers(), R"("command":"SetValue","id":4294967295,"value":"3.1:42"})");
    road.handler->OnResponse(road.LastNumber(), true, "{}");
    EXPECT_TRUE(docket.IsReplyValid());
}

TEST_F(NativeMessenger, MarksAValueThatAnswersAReadRequest) {
    sut->SetValue(1, ZANVALUE::FromBoolean(true), true);
    EXPECT_EQ(road.LastMembers(), R"("command":"SetValue","id":1,"value":"2.1:1","response":true})");
}

TEST_F(NativeMessenger, WithoutInterestInTheAnswerAWriteHasNoNumber) {
    EXPECT_TRUE(sut->SetValueAndIgnoreResponse(1, ZANVALUE::FromBoolean(false)));
    EXPECT_EQ(road.LastSent(), R"({"command":"SetValue","id":1,"value":"2.1:0"})");
    EXPECT_TRUE(sut->SetValueAndIgnoreResponse(1, ZANVALUE::FromBoolean(true), true));
    EXPECT_EQ(road.LastSent(), R"({"command":"SetValue","id":1,"value":"2.1:1","response":true})");
}

TEST_F(NativeMessenger, EscapesValues) {
    sut->SetValue(1, ZANVALUE::FromText("a\"b\\c\r\n\t€\0"s));
    EXPECT_EQ(road.LastMembers(), R"("command":"SetValue","id":1,"value":"5.1:a\"b\\c\r\n\t€\u0000"})");
}

TEST_F(NativeMessenger, CarriesBytesThatAreNotUtf8AsLatin1) {
    sut->SetValue(1, ZANVALUE::FromText("\xE4\"\x80\xFF"));
    EXPECT_EQ(road.LastMembers(),
              "\"command\":\"SetValue\",\"id\":1,\"value\":\"5.1:ä\\\"\xC2\x80ÿ\",\"encoding\":\"latin-1\"}");
}

TEST_F(NativeMessenger, ReadsValues) {
    const Docket docket = sut->GetValue(9, true);
    EXPECT_EQ(road.LastMembers(), R"("command":"GetValue","id":9})");
    road.handler->OnResponse(road.LastNumber(), true, R"({"request":1,"response":{"value":"4.1:21.5"}})");
    EXPECT_TRUE(docket.IsReplyValid());
    EXPECT_EQ(docket.ReadReply(), "4.1:21.5");
}

TEST_F(NativeMessenger, RestoresTheBytesOfReadValues) {
    const Docket docket = sut->GetValue(9, false);
    road.handler->OnResponse(road.LastNumber(), true,
                             R"({"request":1,"response":{"value":"5.1:ä€","encoding":"latin-1"}})");
    EXPECT_TRUE(docket.IsReplyValid());
    EXPECT_EQ(docket.ReadReply(), "5.1:\xE4?");
}

TEST_F(NativeMessenger, ValueThatHasNoneIsARefusal) {
    const Docket docket = sut->GetValue(9, true);
    road.handler->OnResponse(road.LastNumber(), false, "no value");
    ExpectFailure(docket, "no value");
}

TEST_F(NativeMessenger, AnswerWithoutValueIsARefusal) {
    for (const char* const answer : {"{", "[]", "{}", R"({"response":7})", R"({"response":{}})",
                                     R"({"response":{"value":7}})", R"({"response":{"value":"x","encoding":"x"}})"}) {
        const Docket docket = sut->GetValue(9, true);
        road.handler->OnResponse(road.LastNumber(), true, answer);
        ExpectFailure(docket, "The answer has no value.");
    }
}

}  // namespace
