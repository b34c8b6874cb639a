#pragma once

#include "tradeapi/TradeApi.h"
#include "tradeapi/com/Dispatch.h"
#include "tradeapi/com/EventSink.h"

#include <memory>

namespace halvane {

// The trading platform behind its automation component: one late-bound call per operation. Holds no
// lock; the component's object is called from every thread as it is.
class ComTradeApi : public TradeApi {
  public:
    explicit ComTradeApi(ComPtr<IDispatch> object) : object_(std::move(object)) {}

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

  private:
    Dispatch object_;
    std::unique_ptr<EventConnection> hostEvents_;
    std::unique_ptr<EventConnection> tradeEvents_;
};

} // namespace halvane
