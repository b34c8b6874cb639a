#pragma once

#include "foundation/support/Mutex.h"
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

    Text GetText(std::int32_t id) override {
        Note(std::to_wstring(id));
        if (const auto found = texts.find(id); found != texts.end()) return found->second;
        return missing_ ? Text() : L"t" + std::to_wstring(id);
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
    Text GetNamed(TextView name) override {
        Note(Text(name));
        if (missing_) return {};
        int sum = 0;
        for (const wchar_t letter : name)
            sum += static_cast<int>(letter);
        return std::to_wstring(sum) + L":" + Text(name);
    }
    Text GetIndexed(std::int32_t id, std::int32_t index) override {
        Note(std::to_wstring(id) + L"#" + std::to_wstring(index));
        return std::to_wstring(id) + L"#" + std::to_wstring(index);
    }

    std::map<std::int32_t, Text> texts; // instead of what the id would give
    std::map<std::int32_t, std::int32_t> ints;

  private:
    void Note(const Text& read);

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
    bool Advise(HostEvents& sink) override;
    bool Advise(TradeEvents& sink) override;
    std::int32_t Connect(TextView hostAddress, TextView systemName, TextView serviceKey,
                         std::int32_t mode) override;
    void GeneralCommand(std::int32_t kind, std::int32_t subKind, TextView source,
                        std::optional<Text>& inOut) override;
    std::int32_t GetDataItem(std::int32_t kind, std::int32_t index, TextView accountMask,
                             Item& item) override;
    std::int32_t ReplaceOrder(OrderParameters& parameters) override;
    std::int32_t CancelOrder(TextView reportId, TextView key) override;
    std::int32_t QueryReport(std::int32_t kind, TextView id, Item& item) override;
    Text GetPlatformValue(TextView name) override;
    void SubscribeTopic(TextView topic) override;
    void SendTopicCommand(TextView topic, std::int32_t value, TextView text,
                          std::optional<Text> data) override;
    void SendRequest(std::int32_t kind, TextView name, TextView command, std::int32_t option,
                     TextView accountKey) override;
    Text GetInstrumentData(TextView name, TextView symbol) override;
    void SetMode(std::int32_t mode) override;
    std::int32_t NewOrder(std::int32_t kind, OrderParameters& parameters) override;
    Text GetExpirationDate(TextView symbol) override;
    void AttachPositionTracker(PositionTracker& tracker) override;
    std::int32_t GetTradingDays(TextView symbol, std::int32_t expiration) override;
    void NewStrategyOrder(TextView text) override;

    // Writes a call down; for the parameters, which report their puts here. Throws when the
    // operation is to fail.
    void Note(const std::string& operation, const Text& arguments);

  private:
    Mutex lock_;
    std::vector<std::string> calls_;
};

} // namespace halvane
