#include "request/status/Status.h"

#include "feed/Feed.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Process.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Utf.h"
#include "publish/Publications.h"
#include "request/Activity.h"
#include "request/Envelope.h"
#include "request/Operations.h"
#include "request/RepWorker.h"
#include "request/Sessions.h"
#include "tradeapi/TradeData.h"

#include <algorithm>

namespace halvane {
namespace {

void Number(JsonWriter& reply, const JsonKey& key, std::uint64_t value) {
    reply.Member(key, DecimalDigits(static_cast<std::int64_t>(value)));
}

void Number(JsonWriter& reply, const JsonKey& key, std::int64_t value) {
    reply.Member(key, DecimalDigits(value));
}

void WriteGateway(JsonWriter& reply) {
    const std::int64_t startedMs = ToInt64(GetSetting(L"StartedMs"));
    reply.Member(L"Version", FileVersion());
    reply.Member(L"Started", UtcText(startedMs));
    Number(reply, L"UptimeMs", TheClock().UnixTimeMs() - startedMs);
    Number(reply, L"MemoryBytes", ResidentBytes());
    Number(reply, L"LogLinesLost", LogLinesLost());
}

void WritePlatform(JsonWriter& reply) {
    const std::int64_t lastMs = LastPlatformEventMs();
    reply.BeginObject(L"Platform");
    reply.Member(L"Address", GetSetting(L"HostAddress"));
    reply.Member(L"Paper", GetSetting(L"Paper"));
    reply.Member(L"Connected", GetSetting(L"Connected"));
    reply.Member(L"TradeDataReady", IsTradeDataReady() ? L"1" : L"0");
    reply.Member(L"LastEvent", lastMs == 0 ? Text() : UtcText(lastMs));
    reply.EndObject();
}

void WriteSessions(JsonWriter& reply) {
    reply.BeginArray(L"Sessions");
    for (const SessionAges& session : AgesOfSessions()) {
        reply.BeginObject();
        Number(reply, L"AgeMs", std::int64_t{session.ageMs});
        Number(reply, L"SilentMs", std::int64_t{session.silentMs});
        reply.EndObject();
    }
    reply.EndArray();
}

// This request is among those under way.
void WriteWorkers(JsonWriter& reply) {
    std::int64_t underWay = 0;
    std::int64_t longestUs = 0;
    reply.BeginArray(L"Workers");
    for (const WorkerSnapshot& worker : WorkerSnapshot::All()) {
        reply.BeginObject();
        reply.Member(L"Request", TextView(worker.request));
        Number(reply, L"RunsMs", worker.runsUs / 1000);
        reply.EndObject();
        if (*worker.request != L'\0') ++underWay;
        longestUs = std::max(longestUs, worker.runsUs);
    }
    reply.EndArray();
    Number(reply, L"UnderWay", underWay);
    Number(reply, L"LongestMs", longestUs / 1000);
}

void WriteOperation(JsonWriter& reply, TextView name, const OperationCounts& counts) {
    const std::uint64_t count = counts.latency.Count();
    if (count == 0) return;
    reply.BeginObject();
    reply.Member(L"Request", name);
    Number(reply, L"Count", count);
    Number(reply, L"Failures", counts.failures);
    Number(reply, L"P50Us", counts.latency.Percentile(0.5));
    Number(reply, L"P90Us", counts.latency.Percentile(0.9));
    Number(reply, L"P99Us", counts.latency.Percentile(0.99));
    Number(reply, L"MaxUs", counts.latency.Longest());
    reply.EndObject();
}

void WriteOperations(JsonWriter& reply) {
    reply.BeginArray(L"Operations");
    for (const Operation& operation : Operations())
        WriteOperation(reply, operation.name, CountsOf(&operation));
    WriteOperation(reply, kNoRequest, CountsOf(nullptr));
    reply.EndArray();
}

void WritePublications(JsonWriter& reply) {
    reply.BeginArray(L"Publications");
    for (const PublicationCount& kind : PublicationCounts()) {
        reply.BeginObject();
        reply.Member(L"DataType", *FromUtf8(kind.dataType));
        Number(reply, L"Count", kind.count);
        reply.EndObject();
    }
    reply.EndArray();
}

void WriteFeed(JsonWriter& reply, Feed* feed) {
    if (feed == nullptr) return;
    const FeedStatus status = feed->Status();
    reply.BeginObject(L"Feed");
    Number(reply, L"Port", std::int64_t{status.port});
    Number(reply, L"Last", status.last);
    Number(reply, L"Waiting", std::uint64_t{status.waiting.entries});
    Number(reply, L"Lost", status.lost + status.waiting.lost);
    reply.Member(L"Failure", status.failure);
    reply.EndObject();
}

} // namespace

void ReportStatus(RepWorker& worker, const Request& request) {
    JsonWriter reply;
    BeginReply(reply, request.name);
    WriteGateway(reply);
    WritePlatform(reply);
    WriteSessions(reply);
    WriteWorkers(reply);
    WriteOperations(reply);
    WritePublications(reply);
    WriteFeed(reply, worker.TheFeed());
    worker.SendData(reply.Finish(), true);
}

} // namespace halvane
