#include "paper/rows/Parameters.h"

#include "paper/base/Codes.h"
#include "paper/base/PaperItem.h"
#include "tradeapi/PropertyIds.h"

#include <algorithm>
#include <iterator>

namespace halvane::paper {
namespace {

constexpr std::int32_t kNone = 0;

// Where the two kinds of parameters object carry a member; kNone where one does not have it.
template <typename T> struct TicketRow {
    T Ticket::*member;
    std::int32_t stockId, futOptId;
};

// clang-format off
constexpr TicketRow<Text> kTexts[] = { //  stock  futures/options
    {&Ticket::brokerId,        stock_order_id::kBrokerId,         fut_opt_order_id::kBrokerId},
    {&Ticket::account,         stock_order_id::kAccount,          fut_opt_order_id::kAccount},
    {&Ticket::symbol,          stock_order_id::kSymbol,           fut_opt_order_id::kSymbol},
    {&Ticket::symbolA,         kNone,                             fut_opt_order_id::kSymbolA},
    {&Ticket::symbolB,         kNone,                             fut_opt_order_id::kSymbolB},
    {&Ticket::price,           stock_order_id::kPrice,            fut_opt_order_id::kPrice},
    {&Ticket::stopPrice,       stock_order_id::kStopPrice,        fut_opt_order_id::kStopPrice},
    {&Ticket::touchPrice,      stock_order_id::kTouchPrice,       fut_opt_order_id::kTouchPrice},
    {&Ticket::chasePrice,      stock_order_id::kChasePrice,       fut_opt_order_id::kChasePrice},
    {&Ticket::extCommands,     stock_order_id::kExtCommands,      fut_opt_order_id::kExtCommands},
    {&Ticket::group,           stock_order_id::kGroupId,          fut_opt_order_id::kGroupId},
    {&Ticket::userKey1,        stock_order_id::kUserKey1,         fut_opt_order_id::kUserKey1},
    {&Ticket::userKey2,        stock_order_id::kUserKey2,         fut_opt_order_id::kUserKey2},
    {&Ticket::source,          stock_order_id::kSource,           fut_opt_order_id::kSource},
    {&Ticket::strategy,        kNone,                             fut_opt_order_id::kStrategy},
};
constexpr TicketRow<std::int32_t> kInts[] = {
    {&Ticket::side,            stock_order_id::kSide,             fut_opt_order_id::kSide},
    {&Ticket::side1,           kNone,                             fut_opt_order_id::kSide1},
    {&Ticket::side2,           kNone,                             fut_opt_order_id::kSide2},
    {&Ticket::orderType,       stock_order_id::kOrderType,        fut_opt_order_id::kOrderType},
    {&Ticket::timeInForce,     stock_order_id::kTimeInForce,      fut_opt_order_id::kTimeInForce},
    {&Ticket::quantity,        stock_order_id::kOrderQty,         fut_opt_order_id::kOrderQty},
    {&Ticket::touchField,      stock_order_id::kTouchField,       fut_opt_order_id::kTouchField},
    {&Ticket::touchCondition,  stock_order_id::kTouchCondition,   fut_opt_order_id::kTouchCondition},
    {&Ticket::trailingField,   stock_order_id::kTrailingField,    fut_opt_order_id::kTrailingField},
    {&Ticket::trailingType,    stock_order_id::kTrailingType,     fut_opt_order_id::kTrailingType},
    {&Ticket::tradeType,       stock_order_id::kTradeType,        kNone},
    {&Ticket::exCode,          stock_order_id::kExCode,           kNone},
    {&Ticket::positionEffect,  kNone,                             fut_opt_order_id::kPositionEffect},
    {&Ticket::dayTrade,        kNone,                             fut_opt_order_id::kDayTrade},
    {&Ticket::slicedType,      kNone,                             fut_opt_order_id::kSlicedType},
    {&Ticket::discloseQty,     kNone,                             fut_opt_order_id::kDiscloseQty},
};
constexpr TicketRow<std::int64_t> kInt64s[] = {
    {&Ticket::trailingAmount,  stock_order_id::kTrailingAmount,   fut_opt_order_id::kTrailingAmount},
};
// Of futures and options alone: whatever is not 0 there changes the way in which an order is sliced
// or tried again.
constexpr std::int32_t kMore[] = {
    fut_opt_order_id::kVariance,
    fut_opt_order_id::kInterval,
    fut_opt_order_id::kLeftoverAction,
    fut_opt_order_id::kThreshold,
    fut_opt_order_id::kConsecutive,
    fut_opt_order_id::kNumberOfRetries,
    fut_opt_order_id::kRetryInterval,
    fut_opt_order_id::kSlicedPriceField,
    fut_opt_order_id::kSlicedTicks,
};
// clang-format on

template <typename T> std::int32_t IdOf(const TicketRow<T>& row, std::int32_t kind) {
    return kind == kStockOrder ? row.stockId : row.futOptId;
}

bool IsGiven(const PaperValue& value) { return value.index() != 0; }

std::optional<std::int64_t> GivenPrice(const PaperValue& value) {
    return IsGiven(value) ? std::optional(AsInt64(value)) : std::nullopt;
}

} // namespace

Ticket ReadTicket(std::int32_t kind, const PaperParameters& parameters) {
    Ticket ticket;
    ticket.kind = kind;
    for (const auto& row : kTexts)
        ticket.*row.member = AsText(parameters.Value(IdOf(row, kind)));
    for (const auto& row : kInts) {
        const PaperValue value = parameters.Value(IdOf(row, kind));
        if (IsGiven(value)) ticket.*row.member = AsInt(value);
    }
    for (const auto& row : kInt64s) {
        const PaperValue value = parameters.Value(IdOf(row, kind));
        if (IsGiven(value)) ticket.*row.member = AsInt64(value);
    }
    const auto given = [&](std::int32_t id) {
        const PaperValue value = parameters.Value(id);
        return IsGiven(value) && AsInt(value) != 0;
    };
    ticket.asksForMore =
        !ticket.chasePrice.empty() ||
        (kind == kFutOptOrder && std::any_of(std::begin(kMore), std::end(kMore), given));
    return ticket;
}

Replacement ReadReplacement(const PaperParameters& parameters) {
    const PaperValue quantity = parameters.Value(replace_id::kOrderQty);
    return {.reportId = AsText(parameters.Value(replace_id::kReportId)),
            .quantity = IsGiven(quantity) ? AsInt(quantity) : 0,
            .priceE10 = GivenPrice(parameters.Value(replace_id::kPrice)),
            .stopE10 = GivenPrice(parameters.Value(replace_id::kStopPrice))};
}

} // namespace halvane::paper
