#include "paper/rows/ReportItems.h"

#include "foundation/support/Numbers.h"
#include "paper/accounts/Account.h"
#include "paper/base/Codes.h"
#include "paper/base/NamedValues.h"
#include "paper/base/PaperItem.h"
#include "paper/orders/Book.h"

namespace halvane::paper {
namespace {

struct CodeText {
    std::int32_t code;
    const wchar_t* text;
};

// clang-format off
constexpr CodeText kExecTypeTexts[] = {
    {kNew,                L"New"},
    {kPartlyFilled,       L"Partly filled"},
    {kFilled,             L"Filled"},
    {kCancelled,          L"Cancelled"},
    {kReplaced,           L"Replaced"},
    {kTriggered,          L"Triggered"},
    {kExpired,            L"Expired"},
};
constexpr CodeText kRejections[] = { // by ErrorCode
    {kFundsShort,         L"Rejected: not enough funds"},
    {kOutsidePriceLimits, L"Rejected: outside the price limits of the day"},
    {kPositionCombined,   L"Rejected: the position is combined"},
    {kNotPermitted,       L"Rejected: the account may not trade this kind of instrument"},
    {kMarketClosed,       L"Rejected: the market is closed"},
    {kRejectedOnDemand,   L"Rejected: on demand of the market file"},
};
// clang-format on

Text ExecTypeText(const OrderState& state) {
    for (const CodeText& each : kExecTypeTexts) {
        if (each.code == state.execType) return each.text;
    }
    for (const CodeText& each : kRejections) {
        if (each.code == state.errorCode) return each.text;
    }
    return L"Rejected: error " + DecimalText(state.errorCode);
}

Text GivenNumber(std::int64_t value) { return value == 0 ? Text() : DecimalText(value); }

void PutTicket(PaperItem& item, const Ticket& ticket) {
    item.Put(6, ticket.account);
    item.Put(7, ticket.brokerId);
    item.Put(43, ticket.symbol);
    item.Put(17, ticket.side);
    item.Put(23, ticket.orderType);
    item.Put(24, ticket.tradeType);
    item.Put(48, ticket.exCode);
    item.Put(25, ticket.positionEffect);
    item.Put(59, ticket.dayTrade);
    item.Put(26, ticket.timeInForce);
    item.Put(49, GivenNumber(ticket.trailingAmount));
    item.Put(50, GivenNumber(ticket.touchCondition));
    item.Put(51, ticket.group);
    item.Put(27, ticket.strategy);
    item.Put(28, ticket.userKey1);
    item.Put(29, ticket.userKey2);
    item.Put(60, ticket.source);
    for (const TextView name : {L"HedgeFlag", L"SetPRIADJ", L"DelayTransPosition"}) {
        item.PutNamed(name, Text(NamedValue(ticket.extCommands, L';', name)));
    }
}

std::vector<Text> FillIds(const Order& order, std::size_t count) {
    std::vector<Text> ids;
    for (std::size_t at = 0; at < count; ++at)
        ids.push_back(order.fills[at]->fillId);
    return ids;
}

} // namespace

void PutReport(PaperItem& item, const Order& order, const OrderState& state) {
    PutTicket(item, order.ticket);
    item.Put(5, order.reportId);
    item.Put(42, order.orderId);
    item.Put(19, order.ticket.quantity);
    item.Put(20, state.quantity);
    item.Put(21, state.priceE10);
    item.Put(22, state.stopE10);
    item.Put(31, state.filled);
    item.Put(32, state.leaves);
    item.Put(33, state.execType);
    item.Put(57, state.errorCode);
    item.Put(56, state.triggeredE10);
    item.Put(34, state.stamp.date);
    item.Put(35, state.stamp.time);
    item.Put(36, state.AveragePriceE10());
    item.Put(37, ExecTypeText(state));
    item.Put(39, static_cast<std::int32_t>(state.fillCount));
    item.Put(52,
             0); // nothing outlives the process, so no report comes out of a store
    item.Put(58, order.tradeDate);
    item.Put(61, state.history);
    item.PutNamed(L"SlicedType", GivenNumber(order.ticket.slicedType));
    item.PutNamed(L"SliceID", GivenNumber(order.slice));
    item.PutIndexed(3, FillIds(order, state.fillCount));
}

void PutFill(PaperItem& item, const Fill& fill) {
    const Ticket& ticket = fill.order.ticket;
    item.Put(6, fill.fillId);
    item.Put(2, ticket.account);
    item.Put(4, ticket.brokerId);
    item.Put(28, fill.book.TheInstrument().symbol);
    item.Put(18, fill.side);
    item.Put(13, fill.order.orderId);
    item.Put(15, fill.priceE10);
    item.Put(16, fill.quantity);
    item.Put(17, ticket.positionEffect);
    item.Put(20, fill.stamp.date);
    item.Put(21, fill.stamp.time);
    item.Put(23, ticket.userKey1);
    item.Put(24, ticket.userKey2);
}

void PutReportList(PaperItem& item, std::vector<Text> reportIds) {
    item.Put(2, static_cast<std::int32_t>(reportIds.size()));
    item.PutIndexed(4, std::move(reportIds));
}

} // namespace halvane::paper
