#pragma once

#include "foundation/support/Mutex.h"
#include "foundation/support/Numbers.h"
#include "tradeapi/TradeApi.h"
#include "tradeapi/TradeEvents.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace halvane {

class ScriptedTradeApi;

// An item that answers every id and name with a value made from it, or with the marks of a missing
// value. Where reads are to be noted, it reports them to the platform.
class ProbeItem : public Item {
  public:
    ProbeItem(bool missing, ScriptedTradeApi* notes) : missing_(missing), notes_(notes) {}

    TextView GetText(std::int32_t id) override {
        Note(std::to_wstring(id));
        if (const auto found = texts.find(id); found != texts.end()) return found->second;
        return given_ = missing_ ? Text() : L"t" + std::to_wstring(id);
    }
    std::int32_t GetInt(std::int32_t id) override {
        Note(std::to_wstring(id));
        if (const auto found = ints.find(id); found != ints.end()) return found->second;
        return missing_ ? kNoInt : 1000 + id;
    }
    std::int64_t GetInt64(std::int32_t id) override {
        Note(std::to_wstring(id));
        return missing_ ? kNoInt64 : id * 10'000'000'000 + 1'234'567'890;
    }
    // The sum of the letters, so that numbers can be read from it, and the name.
    TextView GetNamed(TextView name) override {
        Note(Text(name));
        if (missing_) return {};
        int sum = 0;
        for (const wchar_t letter : name)
            sum += static_cast<int>(letter);
        return given_ = std::to_wstring(sum) + L":" + Text(name);
    }
    TextView GetIndexed(std::int32_t id, std::int32_t index) override {
        Note(std::to_wstring(id) + L"#" + std::to_wstring(index));
        return given_ = std::to_wstring(id) + L"#" + std::to_wstring(index);
    }

    std::map<std::int32_t, Text> texts; // instead of what the id would give
    std::map<std::int32_t, std::int32_t> ints;

  private:
    void Note(const Text& read);

    Text given_; // the text that holds
    bool missing_;
    ScriptedTradeApi* notes_; // null when they are not wanted
};

// A platform that does as a test tells it and writes down every call. What a test scripts it sets
// before the host is started or between requests.
class ScriptedTradeApi : public TradeApi {
  public:
    std::int32_t connectResult = 1;
    bool takesHostEvents = true;
    bool takesTradeEvents = true;
    std::map<Text, Text> systemOfKey{{L"demo-key", L"DEMO"}};
    std::set<ItemClass> uncreatable;
    bool missingValues = false;
    bool noteReads = false; // and the creation of items
    std::function<std::int32_t(std::int32_t kind, std::int32_t index, ProbeItem& item)> dataItem;
    std::function<std::int32_t(std::int32_t kind, const Text& id, ProbeItem& item)> queryReport;
    std::function<void()> onTopicCommand;
    std::function<void()> onCall; // before each that may fail
    std::int32_t orderResult = 1;
    std::set<std::string> throwing; // operations that fail
    std::map<Text, Text> instrumentData;
    std::map<Text, Text> platformValues;

    HostEvents* hostEvents = nullptr;
    TradeEvents* tradeEvents = nullptr;

    // The calls since the last time, in order, as "<operation> <arguments>".
    std::vector<std::string> TakeCalls();

    std::unique_ptr<Item> CreateItem(ItemClass itemClass) override;
    std::unique_ptr<OrderParameters> CreateParameters(ItemClass itemClass) override;
    std::unique_ptr<PositionTracker> CreatePositionTracker() override;
    bool Advise(HostEvents& sink) override {
        hostEvents = &sink;
        return takesHostEvents;
    }
    bool Advise(TradeEvents& sink) override {
        tradeEvents = &sink;
        return takesTradeEvents;
    }
    std::int32_t Connect(TextView hostAddress, TextView systemName, TextView serviceKey,
                         std::int32_t mode) override {
        Note("connect", Text(hostAddress) + L" " + Text(systemName) + L" " + Text(serviceKey) +
                            L" " + DecimalText(mode));
        return connectResult;
    }
    void GeneralCommand(std::int32_t kind, std::int32_t subKind, TextView source,
                        std::optional<Text>& inOut) override {
        Note("command", DecimalText(kind) + L" " + DecimalText(subKind) + L" " + Text(source) +
                            L" " + inOut.value_or(L"-"));
        const auto found = systemOfKey.find(inOut.value_or(L""));
        inOut = found == systemOfKey.end() ? std::nullopt : std::optional(found->second);
    }
    std::int32_t GetDataItem(std::int32_t kind, std::int32_t index, TextView mask,
                             Item& item) override {
        Note("data", DecimalText(kind) + L" " + DecimalText(index) + L" " + Text(mask));
        return dataItem ? dataItem(kind, index, static_cast<ProbeItem&>(item)) : 1;
    }
    std::int32_t ReplaceOrder(OrderParameters&) override {
        Note("replace", L"");
        return orderResult;
    }
    std::int32_t CancelOrder(TextView reportId, TextView key) override {
        Note("cancel", Text(reportId) + L" " + Text(key));
        return orderResult;
    }
    std::int32_t QueryReport(std::int32_t kind, TextView id, Item& item) override {
        Note("report", DecimalText(kind) + L" " + Text(id));
        return queryReport ? queryReport(kind, Text(id), static_cast<ProbeItem&>(item)) : 1;
    }
    Text GetPlatformValue(TextView name) override {
        if (onCall) onCall();
        return platformValues[Text(name)];
    }
    void SubscribeTopic(TextView topic) override { Note("subscribe", Text(topic)); }
    void SendTopicCommand(TextView topic, std::int32_t value, TextView text,
                          std::optional<Text> data) override {
        Note("topic", Text(topic) + L" " + DecimalText(value) + L" " + Text(text) + L" " +
                          data.value_or(L"-"));
        if (onTopicCommand) onTopicCommand();
    }
    void SendRequest(std::int32_t kind, TextView name, TextView command, std::int32_t option,
                     TextView accountKey) override {
        Note("request", DecimalText(kind) + L" " + Text(name) + L" " + Text(command) + L" " +
                            DecimalText(option) + L" " + Text(accountKey));
    }
    Text GetInstrumentData(TextView name, TextView symbol) override {
        if (noteReads) Note("instrument", Text(name) + L" " + Text(symbol));
        return instrumentData[Text(name) + L" " + Text(symbol)];
    }
    void SetMode(std::int32_t mode) override { Note("mode", DecimalText(mode)); }
    std::int32_t NewOrder(std::int32_t kind, OrderParameters&) override {
        Note("order", DecimalText(kind));
        return orderResult;
    }
    Text GetExpirationDate(TextView symbol) override {
        if (onCall) onCall();
        return symbol.find(L"NONE") == TextView::npos ? L"20261216" : L"";
    }
    void AttachPositionTracker(PositionTracker&) override { Note("attach", L""); }
    std::int32_t GetTradingDays(TextView, std::int32_t expiration) override {
        if (onCall) onCall();
        return expiration == 0 ? 0 : 17;
    }
    void NewStrategyOrder(TextView text) override { Note("strategy", Text(text)); }

    // Writes a call down; for the parameters, which report their puts here. Throws when the
    // operation is to fail.
    void Note(const std::string& operation, const Text& arguments);

  private:
    Mutex lock_;
    std::vector<std::string> calls_;
};

} // namespace halvane
