#pragma once

#include <cstdint>

namespace halvane::paper {

// The integers that the paper platform understands and answers. Clients see them on the wire, so
// a code keeps its meaning for ever.

enum OrderKind : std::int32_t { kStockOrder = 8, kFutOptOrder = 9 };

enum Side : std::int32_t { kBuy = 1, kSell = 2 };

constexpr std::int32_t Opposite(std::int32_t side) { return side == kBuy ? kSell : kBuy; }

// A stop becomes a market order, a stop-limit a limit order, once the last price has reached the
// stop price.
enum OrderType : std::int32_t { kMarket = 1, kLimit = 2, kStop = 3, kStopLimit = 4 };

// An order that names none (0) is a day order.
enum TimeInForce : std::int32_t { kDay = 1, kImmediateOrCancel = 2, kFillOrKill = 3 };

// The price that a touch or a trailing order goes by; one that names none (0) means the last.
enum PriceField : std::int32_t { kLastPrice = 1, kBidPrice = 2, kAskPrice = 3 };

// When a touch price counts as touched; one that names none (0) waits for the better price: a buy
// for one at or below, a sale for one at or above.
enum TouchCondition : std::int32_t { kAtOrAbove = 1, kAtOrBelow = 2 };

// The unit of a trailing amount; one that names none (0) is an amount.
enum TrailingType : std::int32_t { kByAmount = 1, kByTicks = 2 };

// How an order is sliced: DiscloseQty of it is shown at a time.
enum SlicedType : std::int32_t { kIceberg = 1 };

// What the newest report of an order tells.
enum ExecType : std::int32_t {
    kNew = 0,
    kPartlyFilled = 1,
    kFilled = 2,
    kCancelled = 4,
    kReplaced = 5,
    kRejected = 8,
    kTriggered = 9,
    kExpired = 12,
};

// What a new order, a replacement or a cancellation is answered with. Anything but kAccepted leaves
// everything as it was and no report follows.
enum ResultCode : std::int32_t {
    kAccepted = 1,

    kNotConnected = 101,  // before Connect
    kForeignObject = 102, // a parameters object of another platform
    kUnknownOrderKind = 103,

    kUnknownSymbol = 111,
    kUnknownAccount = 112, // "<BrokerID>-<Account>" names none
    kWrongOrderKind = 113, // a stock in a futures/options order, or the other way
    kBadSide = 114,
    kBadOrderType = 115,
    kBadTimeInForce = 116,
    kBadQuantity = 117, // below 1, above what the instrument takes, or not above the filled part
    kBadPrice = 118,    // no whole number of 1e-10 above 0, or a price for a market order
    kBadStopPrice = 119,
    kOffTick = 120, // price or stop price between two ticks
    kContractExpired = 129,
    kUnfitSpread = 121,        // two contracts that make no spread, see Spread.h
    kFeatureUnsupported = 122, // chase, retries, other slices; a spread that waits for a price
    kBadStrategy = 123,        // no such strategy or slicing, or not for this type of order
    kBadTouch = 124,           // touch price, field or condition; or for a stop order
    kBadTrailing = 125,        // trailing amount, field or type; or for an order without a stop

    kUnknownReport = 131,
    kNotWorking = 132, // filled, cancelled or rejected already

    // These also stand as ErrorCode in the report of a new order that was rejected, and of a
    // strategy order that was refused all others may stand there.
    kOutsidePriceLimits = 141,
    kFundsShort = 142,
    kPositionCombined = 143, // it would close what is bound in a combination
    kNotPermitted = 144,     // the account may not trade instruments of this kind
    kMarketClosed = 145,
    kRejectedOnDemand = 146, // by an incident of the market file
};

} // namespace halvane::paper
