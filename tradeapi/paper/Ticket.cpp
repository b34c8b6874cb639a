#include "tradeapi/paper/Ticket.h"

#include "foundation/support/Numbers.h"
#include "foundation/support/Strings.h"
#include "tradeapi/paper/Codes.h"
#include "tradeapi/paper/PaperItem.h"

#include <algorithm>
#include <optional>

namespace halvane::paper {
namespace {

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
    {&Ticket::orderType,                      10,  9},
    {&Ticket::timeInForce,                     9,  8},
    {&Ticket::quantity,                       11, 16},
    {&Ticket::touchCondition,                 28, 15},
    {&Ticket::tradeType,                      18,  0},
    {&Ticket::exCode,                         19,  0},
    {&Ticket::positionEffect,                  0, 17},
    {&Ticket::dayTrade,                        0, 50},
    {&Ticket::slicedType,                      0, 44},
};
constexpr TicketRow<std::int64_t> kInt64s[] = {
    {&Ticket::trailingAmount,                 25, 12},
};
// clang-format on

template <typename T> std::int32_t IdOf(const TicketRow<T>& row, std::int32_t kind) {
    return kind == kStockOrder ? row.stockId : row.futOptId;
}

bool IsGiven(const Text& price) { return !price.empty() && price != L"0"; }

// A whole number of 1e-10 above 0.
std::optional<std::int64_t> ParsePrice(const Text& text) {
    const bool digits =
        std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
    const std::int64_t price = digits ? ToInt64(text) : 0;
    if (price <= 0 || price == INT64_MAX) return std::nullopt;
    return price;
}

bool WantsUnsupported(const Ticket& ticket) {
    return IsGiven(ticket.touchPrice) || !ticket.chasePrice.empty() || ticket.trailingAmount != 0 ||
           (ticket.slicedType != 0 && ticket.slicedType != kNoInt);
}

std::int32_t CheckCodes(const Ticket& ticket, const Instrument& instrument) {
    const bool stock = instrument.kind == InstrumentKind::Stock;
    if (stock != (ticket.kind == kStockOrder)) return kWrongOrderKind;
    if (ticket.side != kBuy && ticket.side != kSell) return kBadSide;
    if (ticket.orderType < kMarket || ticket.orderType > kStopLimit) return kBadOrderType;
    if (ticket.timeInForce < 0 || ticket.timeInForce > kFillOrKill) return kBadTimeInForce;
    if (ticket.quantity <= 0 || ticket.quantity > instrument.maxQuantity) return kBadQuantity;
    if (WantsUnsupported(ticket)) return kFeatureUnsupported;
    return kAccepted;
}

std::int32_t ReadPrice(const Text& text, const Instrument& instrument, std::int32_t refusal,
                       std::int64_t& priceE10) {
    const std::optional<std::int64_t> price = ParsePrice(text);
    if (!price) return refusal;
    priceE10 = *price;
    return CheckPrice(priceE10, instrument);
}

} // namespace

bool Ticket::NeedsLimit() const { return orderType == kLimit || orderType == kStopLimit; }
bool Ticket::NeedsStop() const { return orderType == kStop || orderType == kStopLimit; }

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
    return ticket;
}

std::int32_t CheckPrice(std::int64_t priceE10, const Instrument& instrument) {
    if (priceE10 <= 0) return kBadPrice;
    return priceE10 % instrument.tickE10 == 0 ? kAccepted : kOffTick;
}

std::int32_t CheckTicket(const Ticket& ticket, const Instrument& instrument, TicketPrices& prices) {
    std::int32_t result = CheckCodes(ticket, instrument);
    if (result == kAccepted && ticket.NeedsLimit()) {
        result = ReadPrice(ticket.price, instrument, kBadPrice, prices.limitE10);
    }
    if (result == kAccepted && ticket.NeedsStop()) {
        result = ReadPrice(ticket.stopPrice, instrument, kBadStopPrice, prices.stopE10);
    }
    return result;
}

bool IsSpread(const Ticket& ticket) {
    return !ticket.symbolB.empty() || ticket.symbol.find_first_of(L"^&") != Text::npos;
}

Text ExtCommand(const Ticket& ticket, TextView name) {
    for (const TextView command : Split(ticket.extCommands, L';')) {
        const std::size_t equals = command.find(L'=');
        if (equals != TextView::npos && command.substr(0, equals) == name) {
            return Text(command.substr(equals + 1));
        }
    }
    return {};
}

} // namespace halvane::paper
