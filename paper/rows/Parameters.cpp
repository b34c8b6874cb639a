#include "paper/rows/Parameters.h"

#include "paper/base/Codes.h"
#include "paper/base/PaperItem.h"

#include <algorithm>
#include <iterator>

namespace halvane::paper {
namespace {

// The ids of the replace parameters.
enum : std::int32_t { kReplaceReportId = 1, kReplaceQty = 3, kReplacePrice = 4, kReplaceStop = 5 };

// Where the two kinds of parameters object carry a member; 0 where one does not have it.
template <typename T> struct TicketRow {
    T Ticket::*member;
    std::int32_t stockId, futOptId;
};

// clang-format off
constexpr TicketRow<Text> kTexts[] = { //  stock  futures/options
    {&Ticket::brokerId,                        1,  1},
    {&Ticket::account,                         2,  2},
    {&Ticket::symbol,                         17,  3},
    {&Ticket::symbolA,                         0, 27},
    {&Ticket::symbolB,                         0, 28},
    {&Ticket::price,                           6,  4},
    {&Ticket::stopPrice,                       8,  7},
    {&Ticket::touchPrice,                     26, 13},
    {&Ticket::chasePrice,                     29, 21},
    {&Ticket::extCommands,                    12, 22},
    {&Ticket::group,                          21, 20},
    {&Ticket::userKey1,                       14, 24},
    {&Ticket::userKey2,                       15, 25},
    {&Ticket::source,                         16, 26},
    {&Ticket::strategy,                        0, 23},
};
constexpr TicketRow<std::int32_t> kInts[] = {
    {&Ticket::side,                            7,  5},
    {&Ticket::side1,                           0, 38},
    {&Ticket::side2,                           0,  6},
    {&Ticket::orderType,                      10,  9},
    {&Ticket::timeInForce,                     9,  8},
    {&Ticket::quantity,                       11, 16},
    {&Ticket::touchField,                     27, 14},
    {&Ticket::touchCondition,                 28, 15},
    {&Ticket::trailingField,                  23, 10},
    {&Ticket::trailingType,                   24, 11},
    {&Ticket::tradeType,                      18,  0},
    {&Ticket::exCode,                         19,  0},
    {&Ticket::positionEffect,                  0, 17},
    {&Ticket::dayTrade,                        0, 50},
    {&Ticket::slicedType,                      0, 44},
    {&Ticket::discloseQty,                     0, 40},
};
constexpr TicketRow<std::int64_t> kInt64s[] = {
    {&Ticket::trailingAmount,                 25, 12},
};
// Of futures and options alone: whatever is not 0 there changes the way in which an order is sliced
// or tried again.
constexpr std::int32_t kMore[] = {41, 42, 43, 45, 46, 47, 48, 51, 52};
// clang-format on

template <typename T> std::int32_t IdOf(const TicketRow<T>& row, std::int32_t kind) {
    return kind == kStockOrder ? row.stockId : row.futOptId;
}

std::optional<std::int64_t> GivenPrice(const PaperValue* value) {
    return value == nullptr ? std::nullopt : std::optional(AsInt64(value));
}

} // namespace

Ticket ReadTicket(std::int32_t kind, const PaperParameters& parameters) {
    Ticket ticket;
    ticket.kind = kind;
    for (const auto& row : kTexts)
        ticket.*row.member = AsText(parameters.Value(IdOf(row, kind)));
    for (const auto& row : kInts) {
        if (const PaperValue* value = parameters.Value(IdOf(row, kind))) {
            ticket.*row.member = AsInt(value);
        }
    }
    for (const auto& row : kInt64s) {
        if (const PaperValue* value = parameters.Value(IdOf(row, kind))) {
            ticket.*row.member = AsInt64(value);
        }
    }
    const auto given = [&](std::int32_t id) {
        const PaperValue* value = parameters.Value(id);
        return value != nullptr && AsInt(value) != 0;
    };
    ticket.asksForMore =
        !ticket.chasePrice.empty() ||
        (kind == kFutOptOrder && std::any_of(std::begin(kMore), std::end(kMore), given));
    return ticket;
}

Replacement ReadReplacement(const PaperParameters& parameters) {
    const PaperValue* quantity = parameters.Value(kReplaceQty);
    return {.reportId = AsText(parameters.Value(kReplaceReportId)),
            .quantity = quantity == nullptr ? 0 : AsInt(quantity),
            .priceE10 = GivenPrice(parameters.Value(kReplacePrice)),
            .stopE10 = GivenPrice(parameters.Value(kReplaceStop))};
}

} // namespace halvane::paper
