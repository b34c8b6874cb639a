// The limits of requests: the gateway's structure and nothing in it. A ROUTER in front, a DEALER
// behind it, four REP workers with contexts of their own over loopback TCP; links, buffers and
// high-water marks as the library gives them.
//
//     echo own            one message each way a poll, a fixed reply
//     echo full LOG       64 messages each way a poll, the request parsed, a reply document, three
//                         lines in the log
//     echo full LOG FILE  the same, but the reply is what the file holds
//
// Prints the front's port, and serves until its input ends.

#include "bench/BatchLogger.h"
#include "foundation/support/Zmq.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdio>
#include <iostream>
#include <iterator>
#include <optional>
#include <vector>

namespace halvane::bench {
namespace {

using Wide = rapidjson::UTF16<wchar_t>;
using Narrow = rapidjson::UTF8<>;

constexpr int kWorkers = 4;

struct Kind {
    int messagesPerPoll = 1;
    BatchLogger* log = nullptr;
    std::string reply = R"({"Reply":"PONG","Success":"OK"})";
    bool document = false; // the reply is made
};

std::string MakeReply(const rapidjson::GenericDocument<Wide>& request) {
    rapidjson::GenericStringBuffer<Narrow> buffer;
    rapidjson::Writer<decltype(buffer), Wide, Narrow> reply(buffer);
    reply.StartObject();
    reply.Key(L"Reply");
    reply.String(request[L"Request"].GetString());
    reply.Key(L"Success");
    reply.String(L"OK");
    reply.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

std::string Answer(const Kind& kind, std::string_view bytes) {
    if (kind.log == nullptr) return kind.reply;
    kind.log->Line("[RepWorker]DoWork:", bytes);
    rapidjson::MemoryStream stream(bytes.data(), bytes.size());
    rapidjson::GenericDocument<Wide> request;
    request.ParseStream<0, Narrow>(stream);
    if (request.HasParseError()) return "{}";
    kind.log->Line("UpdatePingTime() SessionKey:0123456789abcdef0123456789abcdef, PingTime:12345");
    std::string reply = kind.document ? MakeReply(request) : kind.reply;
    kind.log->Line("[RepWorker]SendData:", reply);
    return reply;
}

void Work(const Kind& kind, const std::string& endpoint, std::stop_token stop) {
    const ZmqContext context = MakeZmqContext();
    const ZmqSocket socket(zmq_socket(context.get(), ZMQ_REP));
    zmq_connect(socket.get(), endpoint.c_str());
    const std::stop_callback end(stop, [&] { zmq_ctx_shutdown(context.get()); });
    for (ZmqMessage request; request.Receive(socket.get());)
        SendWithTrailingZero(socket.get(), Answer(kind, request.Bytes()));
}

bool Move(void* from, void* to) {
    for (bool more = true; more;) {
        ZmqMessage part;
        if (!part.Receive(from, ZMQ_DONTWAIT)) return false;
        more = part.HasMore();
        part.Send(to, more ? ZMQ_SNDMORE : 0);
    }
    return true;
}

std::string Bind(void* socket) {
    zmq_bind(socket, "tcp://127.0.0.1:*");
    char endpoint[64];
    std::size_t size = sizeof endpoint;
    zmq_getsockopt(socket, ZMQ_LAST_ENDPOINT, endpoint, &size);
    return endpoint;
}

void Serve(const Kind& kind) {
    const ZmqContext context = MakeZmqContext();
    const ZmqSocket front(zmq_socket(context.get(), ZMQ_ROUTER)),
        back(zmq_socket(context.get(), ZMQ_DEALER));
    const std::string frontEnd = Bind(front.get()), backEnd = Bind(back.get());
    std::vector<std::jthread> workers;
    for (int n = 0; n < kWorkers; ++n)
        workers.emplace_back([&](std::stop_token stop) { Work(kind, backEnd, stop); });
    std::printf("%s\n", frontEnd.substr(frontEnd.rfind(':') + 1).c_str());
    std::fflush(stdout);
    zmq_pollitem_t items[] = {{back.get(), 0, ZMQ_POLLIN, 0},
                              {front.get(), 0, ZMQ_POLLIN, 0},
                              {nullptr, fileno(stdin), ZMQ_POLLIN, 0}};
    while (zmq_poll(items, 3, -1) >= 0 && items[2].revents == 0) {
        for (int n = 0; n < kind.messagesPerPoll && Move(back.get(), front.get());)
            ++n;
        for (int n = 0; n < kind.messagesPerPoll && Move(front.get(), back.get());)
            ++n;
    }
}

} // namespace
} // namespace halvane::bench

int main(int count, char** arguments) {
    using namespace halvane::bench;
    const std::string name = count > 1 ? arguments[1] : "";
    if (name == "own") {
        Serve({});
    } else if (name == "full" && count > 2) {
        BatchLogger log(arguments[2]);
        Kind kind{.messagesPerPoll = 64, .log = &log, .document = count == 3};
        if (count > 3) {
            std::ifstream file(arguments[3], std::ios::binary);
            kind.reply.assign(std::istreambuf_iterator<char>(file), {});
        }
        Serve(kind);
    } else {
        return 2;
    }
}
