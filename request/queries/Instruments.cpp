#include "foundation/logger/Log.h"
#include "foundation/support/Event.h"
#include "foundation/support/IniFile.h"
#include "foundation/support/Numbers.h"
#include "foundation/support/Process.h"
#include "foundation/support/Settings.h"
#include "foundation/support/Strings.h"
#include "request/RepWorker.h"
#include "request/queries/ContractList.h"
#include "request/queries/Queries.h"
#include "tradeapi/TradeApi.h"

namespace halvane {
namespace {

constexpr std::uint32_t kRecoverTimeoutMs = 30000;
constexpr std::int64_t kLatestBareDate = 30'000'000; // a larger number carries a time of day

// A list may hold every instrument there is: such replies are logged by name only.
void ReplyUnlogged(RepWorker& worker, const Request& request, const JsonKey& member,
                   const JsonValue& value) {
    JsonWriter reply;
    BeginReply(reply, request.name);
    reply.MemberJson(member, WriteJson(value));
    worker.SendData(reply.Finish(), false);
    Log().Info(L"%s sent", request.name);
}

// False when the request has been refused.
bool LoadList(RepWorker& worker, const Request& request, const Text& path, JsonDocument& list) {
    Text text;
    if (!ReadContractListFile(path, text)) {
        Log().Error(L"ReqGetContractList open file failed. FileName:%s", path);
        worker.Refuse(request, L"open file fail");
        return false;
    }
    if (!ParseJson(text, list)) {
        Log().Error(L"ReqGetContractList parse failed. Data:%s", text);
        worker.Refuse(request, L"parse failed");
        return false;
    }
    return true;
}

void ReplyCurrentList(RepWorker& worker, const Request& request, const Text& alias) {
    const Text module = worker.Platform().GetPlatformValue(L"ModulePath");
    const Text custom = module + L"ComShared" + kPathSeparator + L"CustomSetting.ini";
    const Text enrich = ReadIniText(custom, L"Vantor", L"MARDVANT", L"0").substr(0, 9);
    const TextView prefix = worker.LoginType() == L"9" ? L"RepContractList_" : L"ContractList_";
    const Text path =
        (module + L"Configs" + kPathSeparator).append(prefix).append(alias).append(L".ini");
    Log().Info(L"ReqGetContractList() Alias:%s, FileName:%s, MARDVANT:%s", alias, path, enrich);
    JsonDocument list;
    if (!LoadList(worker, request, path, list)) return;
    // Without nodes there is nothing to enrich; a list that is enriched in part is sent so.
    if (enrich == L"1") EnrichNode(list, list.GetAllocator(), 1, worker.Platform());
    ReplyUnlogged(worker, request, L"Instruments", list);
}

std::int64_t DateOf(TextView dateTime) {
    std::int64_t date = ToInt64(dateTime);
    if (date > kLatestBareDate) date /= 1'000'000;
    return date;
}

// The platform recovers the list of a day past and tells the publish worker where it lies, which
// stores the path under the event's name and signals it. With a time of day in the request the two
// names differ: then the wait is in vain.
void ReplyPastList(RepWorker& worker, const Request& request, const Text& alias,
                   const Text& dateTime) {
    const Text key = alias + L"_" + dateTime;
    auto recovered = NamedEvent::Open(key);
    const std::int64_t date = DateOf(dateTime);
    Log().Info(L"ReqGetContractList() strEventKey:%s, llDate:%lld", key, date);
    worker.Platform().SendTopicCommand(L"VANTOR.RECOVER", static_cast<std::int32_t>(date), alias,
                                       std::nullopt);
    if (recovered) recovered->Wait(kRecoverTimeoutMs, worker.StopToken());
    const Text path = GetSetting(key);
    Log().Info(L"ReqGetContractList() Alias:%s, FileName:%s", alias, path);
    JsonDocument list;
    if (LoadList(worker, request, path, list)) ReplyUnlogged(worker, request, L"Instruments", list);
}

} // namespace

void QueryAllInstrument(RepWorker& worker, const Request& request) {
    const Text alias = worker.ContractAlias(request.Member(L"Type"));
    const Text dateTime(request.Member(L"DateTime"));
    if (alias.empty()) {
        Log().Error(L"ReqGetContractList Alias is empty");
        worker.Refuse(request, L"ContractName failed");
    } else if (dateTime.empty()) {
        ReplyCurrentList(worker, request, alias);
    } else {
        ReplyPastList(worker, request, alias, dateTime);
    }
}

void QueryInstrumentInfo(RepWorker& worker, const Request& request) {
    const TextView symbol = request.Member(L"Symbol");
    if (symbol.empty()) {
        Log().Error(L"ReqGetInstrumentInfo ContractName failed. ContractName:%s", L"");
        return worker.Refuse(request, L"ContractName failed");
    }
    const Text data = worker.Platform().GetInstrumentData(L"ALL", symbol);
    JsonDocument info;
    if (!ParseJson(data, info)) {
        Log().Error(L"ReqGetInstrumentInfo parse failed. Data:%s", data);
        return worker.Refuse(request, L"parse failed");
    }
    ReplyUnlogged(worker, request, L"Info", info);
}

} // namespace halvane
