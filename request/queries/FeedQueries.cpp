#include "feed/Feed.h"
#include "foundation/logger/Log.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Strings.h"
#include "foundation/support/Utf.h"
#include "request/RepWorker.h"
#include "request/queries/Queries.h"

#include <algorithm>

namespace halvane {
namespace {

constexpr TextView kBadFrom = L"From is no number";
constexpr TextView kBadSince = L"Since is no time in nanoseconds since 1970";
constexpr TextView kNo = L"0", kYes = L"1";
constexpr TextView kUnreadable = L"the journal cannot be read";

Text Wide(std::string_view utf8) { return FromUtf8(utf8).value_or(L""); }

void WriteRanges(JsonWriter& reply, const JsonKey& key, const std::vector<NumberRange>& ranges) {
    reply.BeginArray(key);
    for (const NumberRange& range : ranges) {
        reply.BeginObject();
        reply.Member(L"From", DecimalDigits(range.from));
        reply.Member(L"To", DecimalDigits(range.to));
        reply.EndObject();
    }
    reply.EndArray();
}

void WritePlace(JsonWriter& reply, const FeedStatus& status) {
    reply.Member(L"Journal", Wide(status.journalId));
    reply.Member(L"Run", Wide(status.run));
    reply.Member(L"First", DecimalDigits(status.First()));
    reply.Member(L"Last", DecimalDigits(status.last));
}

void WriteRow(JsonWriter& reply, const FeedRow& row) {
    reply.BeginObject();
    reply.Member(L"Number", DecimalDigits(row.number));
    reply.Member(L"Run", Wide(row.run));
    reply.Member(L"Time", DecimalDigits(row.timeNs));
    reply.Member(L"Recovered", row.recovered ? kYes : kNo);
    reply.MemberBytes(L"Publication", row.json);
    reply.EndObject();
}

// False when there is a text that is none.
bool ReadNumber(TextView text, std::int64_t& number) {
    if (!std::ranges::all_of(text, IsDigit) || text.size() > 19) return false;
    number = ToInt64(text);
    return true;
}

} // namespace

void TellFeedStatus(RepWorker& worker, const Request& request) {
    const FeedStatus status = worker.TheFeed()->Status();
    JsonWriter reply;
    BeginReply(reply, request.name);
    reply.Member(L"Port", DecimalDigits(status.port));
    WritePlace(reply, status);
    reply.Member(L"Failure", status.failure);
    reply.Member(L"FailingSince", DecimalDigits(status.failingSinceMs * 1'000'000));
    reply.Member(L"Waiting", DecimalDigits(static_cast<std::int64_t>(status.waiting.entries)));
    reply.Member(L"Lost", DecimalDigits(status.lost + status.waiting.lost));
    WriteRanges(reply, L"Missed", status.missed);
    reply.BeginArray(L"Days");
    for (const FeedDay& day : status.days) {
        reply.BeginObject();
        reply.Member(L"Day", day.day);
        reply.Member(L"First", DecimalDigits(day.first));
        reply.Member(L"Last", DecimalDigits(day.last));
        reply.EndObject();
    }
    reply.EndArray();
    worker.SendData(reply.Finish(), true);
}

void ReplayFeed(RepWorker& worker, const Request& request) {
    ReplayWish wish;
    if (!ReadNumber(request.Member(L"From"), wish.from)) return worker.Refuse(request, kBadFrom);
    if (const TextView since = request.Member(L"Since"); !since.empty()) {
        if (!ReadNumber(since, wish.sinceNs.emplace())) return worker.Refuse(request, kBadSince);
    }
    wish.account = ToUtf8(request.Member(L"Account"));
    for (const TextView kind : Split(request.Member(L"Kinds"), L'|')) {
        if (!kind.empty()) wish.kinds.push_back(ToUtf8(kind));
    }
    const FeedStatus status = worker.TheFeed()->Status(); // before: all up to its last will be read
    ReplayPage page;
    try {
        page = worker.TheFeed()->Replay(wish);
    } catch (const SqliteError& error) {
        Log().Error(L"[RepWorker]FEEDREPLAY failed: %s", ReasonOf(error));
        return worker.Refuse(request, kUnreadable);
    }
    JsonWriter reply;
    BeginReply(reply, request.name);
    WritePlace(reply, status);
    reply.Member(L"Next", DecimalDigits(page.next));
    reply.Member(L"More", page.next <= status.last ? kYes : kNo);
    reply.BeginArray(L"Events");
    for (const FeedRow& row : page.rows)
        WriteRow(reply, row);
    reply.EndArray();
    Log().Info(L"[RepWorker]SendData:FEEDREPLAY with %lld events, next %lld",
               static_cast<std::int64_t>(page.rows.size()), page.next);
    worker.SendData(reply.Finish(), false);
}

} // namespace halvane
