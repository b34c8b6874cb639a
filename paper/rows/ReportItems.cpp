#include "paper/rows/ReportItems.h"

#include "foundation/support/Numbers.h"
#include "paper/accounts/Account.h"
#include "paper/base/Codes.h"
#include "paper/base/NamedValues.h"
#include "paper/base/PaperItem.h"
#include "paper/orders/Book.h"
#include "tradeapi/PropertyIds.h"

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

void PutTicket(PaperItem& item, const Order& order) {
    const KeptTicket& ticket = order.ticket;
    const Text symbol = ticket.Get(&Ticket::symbol);
    item.Put(report_id::kAccount, order.account.Setup().account);
    item.Put(report_id::kBrokerId, order.account.Setup().brokerId);
    item.Put(report_id::kSymbol, symbol.empty() ? order.book.TheInstrument().symbol : symbol);
    item.Put(report_id::kSide, ticket.side);
    item.Put(report_id::kOrderType, ticket.orderType);
    item.Put(report_id::kTradeType, ticket.tradeType);
    item.Put(report_id::kExCode, ticket.exCode);
    item.Put(report_id::kPositionEffect, ticket.positionEffect);
    item.Put(report_id::kDayTrade, ticket.dayTrade);
    item.Put(report_id::kTimeInForce, ticket.timeInForce);
    item.Put(report_id::kTrailingAmount, GivenNumber(ticket.trailingAmount));
    item.Put(report_id::kTouchCondition, GivenNumber(ticket.touchCondition));
    item.Put(report_id::kGroup, ticket.Get(&Ticket::group));
    item.Put(report_id::kStrategy, ticket.Get(&Ticket::strategy));
    item.Put(report_id::kUserKey1, ticket.Get(&Ticket::userKey1));
    item.Put(report_id::kUserKey2, ticket.Get(&Ticket::userKey2));
    item.Put(report_id::kOrgSource, ticket.Get(&Ticket::source));
    const Text commands = ticket.Get(&Ticket::extCommands);
    for (const TextView name : {L"HedgeFlag", L"SetPRIADJ", L"DelayTransPosition"}) {
        item.PutNamed(name, NamedValue(commands, L';', name));
    }
}

std::vector<Text> FillIds(const Order& order, std::size_t count) {
    std::vector<Text> ids;
    for (std::size_t at = 0; at < count; ++at)
        ids.push_back(order.fills[at]->FillId());
    return ids;
}

} // namespace

void PutReport(PaperItem& item, const Order& order, const OrderState& state) {
    PutTicket(item, order);
    item.Put(report_id::kReportId, order.ReportId());
    item.Put(report_id::kOrderId, order.OrderId());
    item.Put(report_id::kOriginalQty, order.ticket.quantity);
    item.Put(report_id::kOrderQty, state.quantity);
    item.Put(report_id::kPrice, state.priceE10);
    item.Put(report_id::kStopPrice, state.stopE10);
    item.Put(report_id::kCumQty, state.filled);
    item.Put(report_id::kLeavesQty, state.leaves);
    item.Put(report_id::kExecType, state.execType);
    item.Put(report_id::kErrorCode, state.errorCode);
    item.Put(report_id::kTriggeredPrice, state.triggeredE10);
    item.Put(report_id::kTransactDate, state.stamp.date);
    item.Put(report_id::kTransactTime, state.stamp.time);
    item.Put(report_id::kAvgPrice, state.AveragePriceE10());
    item.Put(report_id::kExecTypeText, ExecTypeText(state));
    item.Put(report_id::kFilledOrdersCount, static_cast<std::int32_t>(state.fillCount));
    item.Put(report_id::kIsRestoreData,
             0); // nothing outlives the process, so no report comes out of a store
    item.Put(report_id::kTradeDate, order.tradeDate);
    item.Put(report_id::kExecHistory, state.History());
    item.PutNamed(L"SlicedType", GivenNumber(order.ticket.slicedType));
    item.PutNamed(L"SliceID", GivenNumber(order.slice));
    item.PutIndexed(report_id::kFillEntry, FillIds(order, state.fillCount));
}

void PutFill(PaperItem& item, const Fill& fill) {
    const KeptTicket& ticket = fill.order.ticket;
    const AccountSetup& owner = fill.order.account.Setup();
    item.Put(fill_id::kReportId, fill.FillId());
    item.Put(fill_id::kAccount, owner.account);
    item.Put(fill_id::kBrokerId, owner.brokerId);
    item.Put(fill_id::kSymbol, fill.book.TheInstrument().symbol);
    item.Put(fill_id::kSide, fill.side);
    item.Put(fill_id::kOrderId, fill.order.OrderId());
    item.Put(fill_id::kMatchedPrice, fill.priceE10);
    item.Put(fill_id::kMatchedQty, fill.quantity);
    item.Put(fill_id::kPositionEffect, ticket.positionEffect);
    item.Put(fill_id::kTransactDate, fill.stamp.date);
    item.Put(fill_id::kTransactTime, fill.stamp.time);
    item.Put(fill_id::kUserKey1, ticket.Get(&Ticket::userKey1));
    item.Put(fill_id::kUserKey2, ticket.Get(&Ticket::userKey2));
}

void PutReportList(PaperItem& item, std::vector<Text> reportIds) {
    item.Put(list_id::kCount, static_cast<std::int32_t>(reportIds.size()));
    item.PutIndexed(list_id::kEntry, std::move(reportIds));
}

} // namespace halvane::paper
