#include "tests/host/TestHost.h"

#include <gtest/gtest.h>

#include <thread>

namespace halvane {
namespace {

const std::string kNoJson = R"({"Reply":"Req","Success":"Fail","SessionKey":"","ErrMsg":""})";
const std::string kUndefined =
    R"({"Reply":"Req","Success":"Fail","SessionKey":"","ErrMsg":"Undefined"})";

std::string Nested(std::size_t depth) {
    return R"({"Request":"PONG","a":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
}

TEST(Envelope, EveryTextGetsItsOneReply) {
    const struct {
        std::string request;
        std::string reply;
    } cases[] = {
        {"not json", kNoJson},
        {"", kNoJson},
        {"{}", kNoJson},
        {"[]", kNoJson},
        {"\"LOGIN\"", kNoJson},
        {R"(["Request"])", kNoJson},
        {R"({"Request":7})", kNoJson},
        {R"({"Request":null})", kNoJson},
        {R"({"Request":"PONG"} x)", kNoJson},
        {"{\"Request\":\"\xFF\"}", kNoJson},         // not UTF-8
        {"{\"Request\":\"\xED\xA0\x80\"}", kNoJson}, // half of a pair
        {R"({"Request":"\udc00"})", kNoJson},        // the same, escaped
        {R"({"Request":"PONG","n":17976931348623159e292})", kNoJson},
        {"\xEF\xBB\xBF{\"Request\":\"PONG\"}", kNoJson}, // a byte-order mark
        {Nested(1'000'000), kNoJson},
        {std::string(1'000'000, '['), kNoJson},
        {Nested(999),
         R"({"Reply":"PONG","Success":"Fail","SessionKey":"","ErrMsg":"the Session is illegal"})"},
        {R"({"Request":"FOO","SessionKey":"k"})", kUndefined},
        {R"({"Request":"login"})", kUndefined},
        {R"({"Request":"%s%n%s%n","SessionKey":"%s%n"})", kUndefined},
        {R"({"Request":"FOO\r\n00:00:00.000"})", kUndefined},
        {R"({"Request":"LOGIN\u0000"})", kUndefined},
        {std::string("{\"Request\":\"FOO\"}\0", 18), kUndefined},
        {std::string("{\"Request\":\"FOO\"}\0{", 19), kUndefined},
        {R"({"Request":"FOO","x":")" + std::string(8 << 20, 'x') + "\"}", kUndefined},
        {R"({"Request":"LOGIN"})",
         R"({"Reply":"LOGIN","Success":"Fail","SessionKey":"","ErrMsg":""})"},
        {R"({"Request":"LOGIN","Param":7})",
         R"({"Reply":"LOGIN","Success":"Fail","SessionKey":"","ErrMsg":""})"},
        {R"({"Request":"LOGIN","Param":{"SystemName":"demo","ServiceKey":"demo-key"}})",
         R"({"Reply":"LOGIN","Success":"Fail","SessionKey":"","ErrMsg":""})"},
        {R"({"Request":"LOGIN","Param":{"SystemName":"","ServiceKey":"unknown"}})",
         R"({"Reply":"LOGIN","Success":"Fail","SessionKey":"","ErrMsg":""})"},
        {R"({"Request":"LOGOUT"})", R"({"Reply":"LOGOUT","Success":"OK"})"},
        {R"({"Request":"LOGOUT","SessionKey":"nobody"})", R"({"Reply":"LOGOUT","Success":"OK"})"},
        {R"({"Request":"PONG","SessionKey":7})",
         R"({"Reply":"PONG","Success":"Fail","SessionKey":"","ErrMsg":"the Session is illegal"})"},
        {R"({"Request":"ACCOUNTS","SessionKey":"a\u0000b\ud83d\ude00/\"\u001f"})",
         "{\"Reply\":\"ACCOUNTS\",\"Success\":\"Fail\",\"SessionKey\":\"a\\u0000b\xF0\x9F\x98\x80/"
         "\\\"\\u001F\","
         "\"ErrMsg\":\"the Session is illegal\"}"},
    };
    TestHost host;
    host.Serve();
    for (const auto& [request, reply] : cases)
        EXPECT_EQ(host.AskText(request), reply) << request.substr(0, 100);
    EXPECT_GT(host.log.Count("FATAL parse failed for json data"), 0);
}

TEST(Envelope, SessionAndParamAreChecked) {
    TestHost host;
    host.Serve();
    const std::string key = host.LogIn();
    for (const std::string name :
         {"RESTOREREPORT", "ACCOUNTS", "NEWORDER", "REPLACEORDER", "CANCELORDER", "MARGINS",
          "POSITIONS", "QUERYALLINSTRUMENT", "QUERYINSTRUMENTINFO", "PONG", "RESTOREFILLREPORT",
          "OPTCOMB", "QUERYOPTCOMBORDER", "QUERYOPTCOMBPOSITION", "POSITIONTRACKER", "SENDMESSAGE",
          "NEWSTRATEGYORDER"}) {
        EXPECT_EQ(
            host.AskText(R"({"SessionKey":"stranger","Request":")" + name + "\"}"),
            R"({"Reply":")" + name +
                R"(","Success":"Fail","SessionKey":"stranger","ErrMsg":"the Session is illegal"})");
    }
    for (const std::string name : {"NEWORDER", "REPLACEORDER", "CANCELORDER", "OPTCOMB",
                                   "SENDMESSAGE", "NEWSTRATEGYORDER"}) {
        EXPECT_EQ(
            host.AskText(R"({"Param":[],"SessionKey":")" + key + R"(","Request":")" + name + "\"}"),
            R"({"Reply":")" + name + R"(","Success":"Fail","SessionKey":")" + key +
                R"(","ErrMsg":"cannot find the Param field"})");
    }
}

TEST(Envelope, AMessageOfManyFramesRunsNothingAndGetsOneReply) {
    TestHost host;
    host.Serve();
    const ZmqSocket client = host.Client();
    const std::string logOut = R"({"Request":"LOGOUT"})";
    for (int n = 0; n < 8; ++n) { // every worker has been dealt one
        for (int more = 1 + n % 2; more > 0; --more)
            zmq_send(client.get(), logOut.data(), logOut.size(), ZMQ_SNDMORE);
        zmq_send(client.get(), logOut.data(), logOut.size(), 0);
        ZmqMessage reply;
        ASSERT_TRUE(reply.Receive(client.get()));
        EXPECT_EQ(reply.Bytes(), kNoJson + '\0');
    }
    EXPECT_EQ(host.AskText(logOut), R"({"Reply":"LOGOUT","Success":"OK"})");
}

TEST(Envelope, AHandlerThatThrowsLeavesOneReplyAndAnErrorLine) {
    TestHost host;
    host.Serve();
    const std::string key = host.LogIn();
    host.Api().throwing = {"order", "command"};
    const std::string order =
        R"({"Request":"NEWORDER","SessionKey":")" + key + R"(","Param":{"Symbol":"OV.S.X.A"}})";
    for (int n = 0; n < 8; ++n) {
        EXPECT_EQ(host.AskText(order), R"({"Reply":"NEWORDER","Success":"Fail","SessionKey":")" +
                                           key + R"(","ErrMsg":"internal error"})");
    }
    EXPECT_EQ(host.log.Count("ERROR [RepWorker]NEWORDER failed: the platform is out of order"), 8);
    host.Api().throwing.clear();
    EXPECT_EQ(host.AskText(order), R"({"Reply":"NEWORDER","Success":"OK"})");
}

// What four clients have sent in one go, each gets back, every reply once and none of another's.
TEST(Envelope, PipelinedClientsGetTheirOwnReplies) {
    constexpr int kRequests = 500;
    TestHost host;
    host.Serve();
    const auto talk = [&host](int client) {
        const ZmqSocket dealer(zmq_socket(host.Context(), ZMQ_DEALER));
        SetZmqOption(dealer.get(), ZMQ_RCVTIMEO, 60000);
        const std::string endpoint = "tcp://127.0.0.1:" + std::to_string(host.RequestPort());
        zmq_connect(dealer.get(), endpoint.c_str());
        std::multiset<std::string> expected;
        for (int n = 0; n < kRequests; ++n) {
            const std::string key = std::to_string(client) + "-" + std::to_string(n);
            const std::string text = R"({"Request":"PONG","SessionKey":")" + key + "\"}";
            expected.insert(R"({"Reply":"PONG","Success":"Fail","SessionKey":")" + key +
                            R"(","ErrMsg":"the Session is illegal"})" + '\0');
            zmq_send(dealer.get(), "", 0, ZMQ_SNDMORE);
            zmq_send(dealer.get(), text.data(), text.size(), 0);
        }
        std::multiset<std::string> received;
        for (int n = 0; n < kRequests; ++n) {
            ZmqMessage empty;
            ZmqMessage reply;
            if (!empty.Receive(dealer.get()) || !reply.Receive(dealer.get())) break;
            received.insert(std::string(reply.Bytes()));
        }
        EXPECT_EQ(received, expected);
    };
    std::vector<std::jthread> clients;
    for (int client = 0; client < 4; ++client)
        clients.emplace_back(talk, client);
}

} // namespace
} // namespace halvane
