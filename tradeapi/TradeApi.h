#pragma once

#include "foundation/support/Text.h"
#include "tradeapi/Items.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

namespace halvane {

class HostEvents;
class TradeEvents;

// A call that the platform failed: its error code and what it said.
class TradeApiError : public std::runtime_error {
  public:
    TradeApiError(std::int32_t code, TextView text);

    std::int32_t Code() const { return code_; }
    const Text& Description() const { return text_; }

  private:
    std::int32_t code_;
    Text text_;
};

// The first arguments of GetDataItem.
enum DataKind : std::int32_t {
    kAccounts = 1,
    kPositions = 7,
    kDetailPositions = 8,
    kMargins = 9,
    kCombinationOrders = 32,
    kTradeDataLoaded = 100, // in events only
};

// The first arguments of QueryReport.
enum ReportKind : std::int32_t {
    kOneReport = 0,        // of one order or of one fill, as the item's class says
    kReportsWithFills = 2, // into a report list
    kReports = 3,          // into a report list
};

// The identifiers that a report list and an execution report hold, by dispatch id.
inline constexpr std::int32_t kListCount = 2;  // of a list: how many reports
inline constexpr std::int32_t kListEntry = 4;  // of a list: the identifier of report n
inline constexpr std::int32_t kFillCount = 39; // of an execution report: how many fills
inline constexpr std::int32_t kFillEntry = 3;  // of an execution report: the identifier of fill n

// A part of a list of identifiers, and how many there are in all.
struct IdentifierPage {
    std::vector<Text> identifiers;
    std::int32_t count = 0;
};

// The trading platform: one connection, one method per operation, numbered as its automation
// interface numbers them. Used from many threads at once; an implementation keeps itself safe. Any
// call may block and may throw a TradeApiError. Objects that it creates must not outlive it.
class TradeApi {
  public:
    virtual ~TradeApi() = default;

    // Null when the class cannot be created.
    virtual std::unique_ptr<Item> CreateItem(ItemClass itemClass) = 0;
    virtual std::unique_ptr<OrderParameters> CreateParameters(ItemClass itemClass) = 0;
    virtual std::unique_ptr<PositionTracker> CreatePositionTracker() = 0;

    // Events go to the sink until the platform is destroyed, so the sink must live as long. False
    // when the platform does not take it.
    [[nodiscard]] virtual bool Advise(HostEvents& sink) = 0;
    [[nodiscard]] virtual bool Advise(TradeEvents& sink) = 0;

    // 1: below 1 is a failure.
    virtual std::int32_t Connect(TextView hostAddress, TextView systemName, TextView serviceKey,
                                 std::int32_t mode) = 0;
    // 3: `inOut` carries a text there and the answer back; nothing when the answer is no text.
    virtual void GeneralCommand(std::int32_t kind, std::int32_t subKind, TextView source,
                                std::optional<Text>& inOut) = 0;
    // 4: 0 is a failure.
    virtual std::int32_t GetDataItem(std::int32_t kind, std::int32_t index, TextView accountMask,
                                     Item& item) = 0;
    // 6 and 7: 1 means accepted, anything else is the platform's error code.
    virtual std::int32_t ReplaceOrder(OrderParameters& parameters) = 0;
    virtual std::int32_t CancelOrder(TextView reportId, TextView key) = 0;
    // 8
    virtual std::int32_t QueryReport(std::int32_t kind, TextView id, Item& item) = 0;
    // 11
    virtual Text GetPlatformValue(TextView name) = 0;
    // 12
    virtual void SubscribeTopic(TextView topic) = 0;
    // 14
    virtual void SendTopicCommand(TextView topic, std::int32_t value, TextView text,
                                  std::optional<Text> data) = 0;
    // 15
    virtual void SendRequest(std::int32_t kind, TextView name, TextView command,
                             std::int32_t option, TextView accountKey) = 0;
    // 16
    virtual Text GetInstrumentData(TextView name, TextView symbol) = 0;
    // 19
    virtual void SetMode(std::int32_t mode) = 0;
    // 22: kind 8 is a stock order, 9 a futures or options order; 1 means accepted.
    virtual std::int32_t NewOrder(std::int32_t kind, OrderParameters& parameters) = 0;
    // 35
    virtual Text GetExpirationDate(TextView symbol) = 0;
    // 38
    virtual void AttachPositionTracker(PositionTracker& tracker) = 0;
    // 39
    virtual std::int32_t GetTradingDays(TextView symbol, std::int32_t expiration) = 0;
    // 44
    virtual void NewStrategyOrder(TextView text) = 0;

    // Beyond the automation interface, for a platform that can tell it without a walk over all that
    // came before: up to `most` identifiers from `start` on, in the order of the list that
    // QueryReport gives for the kind. kReports: of the reports; kReportsWithFills: of their fills,
    // one report's after the other's. Nothing: the lists are to be walked.
    virtual std::optional<IdentifierPage> QueryPage(std::int32_t kind, std::int32_t start,
                                                    std::int32_t most);
};

} // namespace halvane
