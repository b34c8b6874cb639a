#include "tests/host/ScriptedTradeApi.h"

#include "foundation/support/Numbers.h"
#include "foundation/support/Utf.h"

#include <utility>

namespace halvane {
namespace {

class NotedParameters : public OrderParameters {
  public:
    explicit NotedParameters(ScriptedTradeApi& api) : api_(api) {}

    void PutText(std::int32_t id, TextView value) override {
        api_.Note("put", DecimalText(id) + L" string " + Text(value));
    }
    void PutInt(std::int32_t id, std::int32_t value) override {
        api_.Note("put", DecimalText(id) + L" int " + DecimalText(value));
    }
    void PutInt64(std::int32_t id, std::int64_t value) override {
        api_.Note("put", DecimalText(id) + L" int64 " + DecimalText(value));
    }

  private:
    ScriptedTradeApi& api_;
};

// Two entries with one and two instruments; a figure is made from the letters of its name.
class NotedTracker : public PositionTracker {
  public:
    explicit NotedTracker(bool missing) : missing_(missing) {}

    Text Entries() override { return L"F001-12345:K1;;F002-9:K2"; }
    Text Instruments(TextView entry) override {
        return entry.starts_with(L"F001") ? L"OV.O.X.A" : L"OV.F.X.B;OV.F.X.C";
    }
    std::int64_t Figure(TextView, TextView, TextView name) override {
        if (missing_) return kNoInt64;
        std::int64_t sum = 0;
        for (const wchar_t letter : name)
            sum += static_cast<std::int64_t>(letter);
        return sum * 12'345'678'901;
    }

  private:
    bool missing_;
};

} // namespace

void ProbeItem::Note(const Text& read) {
    if (notes_ != nullptr) notes_->Note("read", read);
}

std::vector<std::string> ScriptedTradeApi::TakeCalls() {
    const MutexLock guard(lock_);
    return std::exchange(calls_, {});
}

void ScriptedTradeApi::Note(const std::string& operation, const Text& arguments) {
    const MutexLock guard(lock_);
    calls_.push_back(operation + " " + ToUtf8(arguments));
    if (throwing.contains(operation))
        throw TradeApiError(-2147352567, L"the platform is out of order");
}

std::unique_ptr<Item> ScriptedTradeApi::CreateItem(ItemClass itemClass) {
    if (uncreatable.contains(itemClass)) return nullptr;
    if (noteReads) Note("create", ProgIdOf(itemClass));
    return std::make_unique<ProbeItem>(missingValues, noteReads ? this : nullptr);
}

std::unique_ptr<OrderParameters> ScriptedTradeApi::CreateParameters(ItemClass itemClass) {
    if (uncreatable.contains(itemClass)) return nullptr;
    Note("create", ProgIdOf(itemClass));
    return std::make_unique<NotedParameters>(*this);
}

std::unique_ptr<PositionTracker> ScriptedTradeApi::CreatePositionTracker() {
    if (uncreatable.contains(ItemClass::PositionTracker)) return nullptr;
    return std::make_unique<NotedTracker>(missingValues);
}

bool ScriptedTradeApi::Advise(HostEvents& sink) {
    hostEvents = &sink;
    return takesHostEvents;
}

bool ScriptedTradeApi::Advise(TradeEvents& sink) {
    tradeEvents = &sink;
    return takesTradeEvents;
}

std::int32_t ScriptedTradeApi::Connect(TextView hostAddress, TextView systemName,
                                       TextView serviceKey, std::int32_t mode) {
    Note("connect", Text(hostAddress) + L" " + Text(systemName) + L" " + Text(serviceKey) + L" " +
                        DecimalText(mode));
    return connectResult;
}

void ScriptedTradeApi::GeneralCommand(std::int32_t kind, std::int32_t subKind, TextView source,
                                      std::optional<Text>& inOut) {
    Note("command", DecimalText(kind) + L" " + DecimalText(subKind) + L" " + Text(source) + L" " +
                        inOut.value_or(L"-"));
    const auto found = systemOfKey.find(inOut.value_or(L""));
    inOut = found == systemOfKey.end() ? std::nullopt : std::optional(found->second);
}

std::int32_t ScriptedTradeApi::GetDataItem(std::int32_t kind, std::int32_t index, TextView mask,
                                           Item& item) {
    Note("data", DecimalText(kind) + L" " + DecimalText(index) + L" " + Text(mask));
    return dataItem ? dataItem(kind, index, static_cast<ProbeItem&>(item)) : 1;
}

std::int32_t ScriptedTradeApi::ReplaceOrder(OrderParameters&) {
    Note("replace", L"");
    return orderResult;
}

std::int32_t ScriptedTradeApi::CancelOrder(TextView reportId, TextView key) {
    Note("cancel", Text(reportId) + L" " + Text(key));
    return orderResult;
}

std::int32_t ScriptedTradeApi::QueryReport(std::int32_t kind, TextView id, Item& item) {
    Note("report", DecimalText(kind) + L" " + Text(id));
    return queryReport ? queryReport(kind, Text(id), static_cast<ProbeItem&>(item)) : 1;
}

Text ScriptedTradeApi::GetPlatformValue(TextView name) { return platformValues[Text(name)]; }

void ScriptedTradeApi::SubscribeTopic(TextView topic) { Note("subscribe", Text(topic)); }

void ScriptedTradeApi::SendTopicCommand(TextView topic, std::int32_t value, TextView text,
                                        std::optional<Text> data) {
    Note("topic",
         Text(topic) + L" " + DecimalText(value) + L" " + Text(text) + L" " + data.value_or(L"-"));
    if (onTopicCommand) onTopicCommand();
}

void ScriptedTradeApi::SendRequest(std::int32_t kind, TextView name, TextView command,
                                   std::int32_t option, TextView accountKey) {
    Note("request", DecimalText(kind) + L" " + Text(name) + L" " + Text(command) + L" " +
                        DecimalText(option) + L" " + Text(accountKey));
}

Text ScriptedTradeApi::GetInstrumentData(TextView name, TextView symbol) {
    if (noteReads) Note("instrument", Text(name) + L" " + Text(symbol));
    return instrumentData[Text(name) + L" " + Text(symbol)];
}

void ScriptedTradeApi::SetMode(std::int32_t mode) { Note("mode", DecimalText(mode)); }

std::int32_t ScriptedTradeApi::NewOrder(std::int32_t kind, OrderParameters&) {
    Note("order", DecimalText(kind));
    return orderResult;
}

Text ScriptedTradeApi::GetExpirationDate(TextView symbol) {
    return symbol.find(L"NONE") == TextView::npos ? L"20261216" : L"";
}

void ScriptedTradeApi::AttachPositionTracker(PositionTracker&) { Note("attach", L""); }

std::int32_t ScriptedTradeApi::GetTradingDays(TextView, std::int32_t expiration) {
    return expiration == 0 ? 0 : 17;
}

void ScriptedTradeApi::NewStrategyOrder(TextView text) { Note("strategy", Text(text)); }

} // namespace halvane
