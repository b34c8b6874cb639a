#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <memory>

namespace halvane {

// The platform's objects that Halvane creates and hands to it: rows to read, parameters to fill in.
// Properties go by dispatch id. Prices are in units of 1e-10, amounts in millionths. An object is
// used by one thread at a time; any call may throw a TradeApiError.

enum class ItemClass {
    Account,
    Margin,
    Position,
    ExecutionReport,
    Fill,
    CombinationOrder,
    ReportList,
    StockOrder,
    FutOptOrder,
    ReplaceOrder,
    PositionTracker,
};

// The name under which the platform registers the class.
const wchar_t* ProgIdOf(ItemClass itemClass);

// The marks for a value that is missing.
inline constexpr std::int32_t kNoInt = INT32_MIN;
inline constexpr std::int64_t kNoInt64 = INT64_MIN;

// One row of a list or one report, filled by TradeApi::GetDataItem or QueryReport. A text that it
// gives holds until the next call that concerns it.
class Item {
  public:
    virtual ~Item() = default;

    virtual TextView GetText(std::int32_t id) = 0;
    virtual std::int32_t GetInt(std::int32_t id) = 0;
    virtual std::int64_t GetInt64(std::int32_t id) = 0;

    // The read by name that most rows offer; a name that the platform does not know gives what it
    // pleases, usually "".
    virtual TextView GetNamed(TextView name) = 0;

    // A method that takes an index and gives a text: report lists and execution reports have one.
    virtual TextView GetIndexed(std::int32_t id, std::int32_t index) = 0;
};

// The parameters of an order, put one by one.
class OrderParameters {
  public:
    virtual ~OrderParameters() = default;

    virtual void PutText(std::int32_t id, TextView value) = 0;
    virtual void PutInt(std::int32_t id, std::int32_t value) = 0;
    virtual void PutInt64(std::int32_t id, std::int64_t value) = 0;
};

// The tracker's figures, per entry ("<BrokerID>-<Account>:<SubKey>") and instrument.
class PositionTracker {
  public:
    virtual ~PositionTracker() = default;

    virtual Text Entries() = 0;                   // separated by ";"
    virtual Text Instruments(TextView entry) = 0; // separated by ";"
    virtual std::int64_t Figure(TextView entry, TextView instrument, TextView name) = 0;
};

} // namespace halvane
