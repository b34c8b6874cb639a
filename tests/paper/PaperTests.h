#pragma once

#include "foundation/support/Numbers.h"
#include "paper/base/Codes.h"
#include "paper/base/PaperItem.h"
#include "paper/base/Units.h"
#include "paper/exchange/Exchange.h"
#include "paper/rows/AccountItems.h"
#include "paper/rows/Parameters.h"
#include "paper/rows/Tracker.h"
#include "tests/JumpingClock.h"
#include "tradeapi/PropertyIds.h"

#include <gtest/gtest.h>

#include <string>

namespace halvane::paper {

// A new order as a client writes it; prices are in units of 1e-10.
struct Wish {
    Text symbol;
    std::int32_t side = kBuy;
    std::int32_t orderType = kMarket;
    std::int32_t timeInForce = kDay;
    std::int32_t quantity = 1;
    std::int64_t priceE10 = kNoInt64;
    std::int64_t stopE10 = kNoInt64;
    Text account = L"1000001";
    std::int64_t touchE10 = kNoInt64;
    std::int32_t touchField = 0, touchCondition = 0;
    std::int64_t trailing = 0;
    std::int32_t trailingField = 0, trailingType = 0;
    std::int32_t shown = 0; // of a sliced order
};

inline bool IsStock(const Text& symbol) { return symbol.find(L".S.") != Text::npos; }
inline std::int32_t KindOf(const Wish& wish) {
    return IsStock(wish.symbol) ? kStockOrder : kFutOptOrder;
}

inline void PutWish(OrderParameters& parameters, const Wish& wish) {
    const bool stock = IsStock(wish.symbol);
    const auto id = [&](std::int32_t stockId, std::int32_t futOptId) {
        return stock ? stockId : futOptId;
    };
    const auto text = [](std::int64_t price) {
        return price == kNoInt64 ? Text(L"0") : DecimalText(price);
    };
    parameters.PutText(fut_opt_order_id::kBrokerId, L"PAPER");
    parameters.PutText(fut_opt_order_id::kAccount, wish.account);
    parameters.PutText(id(stock_order_id::kSymbol, fut_opt_order_id::kSymbol), wish.symbol);
    parameters.PutText(id(stock_order_id::kPrice, fut_opt_order_id::kPrice), text(wish.priceE10));
    parameters.PutText(id(stock_order_id::kStopPrice, fut_opt_order_id::kStopPrice),
                       text(wish.stopE10));
    parameters.PutInt(id(stock_order_id::kSide, fut_opt_order_id::kSide), wish.side);
    parameters.PutInt(id(stock_order_id::kOrderType, fut_opt_order_id::kOrderType), wish.orderType);
    parameters.PutInt(id(stock_order_id::kTimeInForce, fut_opt_order_id::kTimeInForce),
                      wish.timeInForce);
    parameters.PutInt(id(stock_order_id::kOrderQty, fut_opt_order_id::kOrderQty), wish.quantity);
    parameters.PutText(id(stock_order_id::kTouchPrice, fut_opt_order_id::kTouchPrice),
                       text(wish.touchE10));
    parameters.PutInt(id(stock_order_id::kTouchField, fut_opt_order_id::kTouchField),
                      wish.touchField);
    parameters.PutInt(id(stock_order_id::kTouchCondition, fut_opt_order_id::kTouchCondition),
                      wish.touchCondition);
    parameters.PutInt64(id(stock_order_id::kTrailingAmount, fut_opt_order_id::kTrailingAmount),
                        wish.trailing);
    parameters.PutInt(id(stock_order_id::kTrailingField, fut_opt_order_id::kTrailingField),
                      wish.trailingField);
    parameters.PutInt(id(stock_order_id::kTrailingType, fut_opt_order_id::kTrailingType),
                      wish.trailingType);
    if (wish.shown != 0) {
        parameters.PutInt(fut_opt_order_id::kSlicedType, kIceberg);
        parameters.PutInt(fut_opt_order_id::kDiscloseQty, wish.shown);
    }
}

inline std::int32_t Send(Exchange& exchange, const Wish& wish) {
    PaperParameters parameters;
    PutWish(parameters, wish);
    return exchange.NewOrder(ReadTicket(KindOf(wish), parameters));
}

inline Market BuiltInMarket(Day today) { return BuildMarket(BuiltInPlan(), today); }

// A market of one stock and one future whose prices stand still at 100 and 1000, with one piece at
// a time on each side of the quote, a tick (of 1) apart; now and then the bid stands one lower or
// the ask one higher.
inline Market StillMarket() {
    Market market = BuiltInMarket(DayOf(20261106));
    Market still = market;
    still.instruments.clear();
    for (const std::size_t which : {std::size_t{0}, std::size_t{5}}) {
        Instrument instrument = market.instruments[which];
        const std::int64_t price = (which == 0 ? 100 : 1000) * kE10;
        instrument.driver = still.instruments.size();
        instrument.tickE10 = kE10;
        instrument.carryPpm = 0;
        instrument.quoteSize = 1;
        instrument.referenceE10 = price;
        instrument.lowerE10 = price * 9 / 10;
        instrument.upperE10 = price * 11 / 10;
        still.drivers[instrument.driver] = {price, 0, 0};
        still.instruments.push_back(instrument);
    }
    still.drivers.resize(2);
    return still;
}

// Two futures and two options of the index whose prices stand still, quoted as above.
inline Market LegMarket() {
    Market market = BuiltInMarket(DayOf(20261106));
    std::erase_if(market.instruments, [](const Instrument& each) {
        return each.security != L"IDX" || (each.callPut == L"P") ||
               (each.callPut == L"C" && each.strikeE10 != 20'000 * kE10 &&
                each.strikeE10 != 21'000 * kE10);
    });
    for (Instrument& each : market.instruments)
        each.quoteSize = 1;
    for (Driver& each : market.drivers)
        each.volatilityPpb = 0;
    return market;
}

inline constexpr const wchar_t* kStock = L"OV.S.PAPX.ALFA";
inline constexpr const wchar_t* kFuture = L"OV.F.PAPF.IDX.202612";
inline constexpr const wchar_t* kFarFuture = L"OV.F.PAPF.IDX.202703";
inline constexpr const wchar_t* kCall = L"OV.O.PAPF.IDX.202612.C.20000";
inline constexpr const wchar_t* kHighCall = L"OV.O.PAPF.IDX.202612.C.21000";

// An exchange under a clock that stands still, and what it tells as text: "<execution
// type>:<filled>" for a report and "f<quantity>" for a fill.
class ExchangeTest : public ::testing::Test {
  protected:
    explicit ExchangeTest(Market market = StillMarket()) : exchange_(std::move(market)) {}

    std::string Trace() {
        std::string trace;
        for (const Notice& notice : exchange_.TakeNotices()) {
            std::string word;
            if (const auto* report = std::get_if<ReportNotice>(&notice)) {
                lastReport_ = *report;
                word = std::to_string(report->state.execType) + ":" +
                       std::to_string(report->state.filled);
            } else if (const auto* fill = std::get_if<FillNotice>(&notice)) {
                word = "f" + std::to_string(fill->fill->quantity);
            } else {
                continue;
            }
            trace += (trace.empty() ? "" : " ") + word;
        }
        return trace;
    }

    // Sends an order that must be taken; EnterId gives its report's identity.
    const Order& Enter(const Wish& wish) {
        exchange_.TakeNotices();
        EXPECT_EQ(Send(exchange_, wish), kAccepted);
        return *std::get<ReportNotice>(exchange_.TakeNotices().at(0)).order;
    }
    Text EnterId(const Wish& wish) { return Enter(wish).ReportId(); }
    // Sends an order that must be taken; with which code its last report came.
    std::int32_t ErrorOf(const Wish& wish) {
        EXPECT_EQ(Send(exchange_, wish), kAccepted);
        Trace();
        return lastReport_.state.errorCode;
    }
    std::int32_t Replace(const Text& reportId, std::int32_t quantity,
                         std::optional<std::int64_t> priceE10 = {},
                         std::optional<std::int64_t> stopE10 = {}) {
        PaperParameters parameters;
        parameters.PutText(replace_id::kReportId, reportId);
        parameters.PutInt(replace_id::kOrderQty, quantity);
        if (priceE10) parameters.PutInt64(replace_id::kPrice, *priceE10);
        if (stopE10) parameters.PutInt64(replace_id::kStopPrice, *stopE10);
        return exchange_.ReplaceOrder(ReadReplacement(parameters));
    }

    // Of the first account, what it holds at that place, and what the tracker says of it.
    const Account& TheAccount() const { return *exchange_.Accounts()[0]; }
    PaperItem Row(std::size_t at = 0) const {
        PaperItem row(ItemClass::Position);
        PutPosition(row, TheAccount(), *TheAccount().Held()[at], L"XTS");
        return row;
    }
    PaperItem Money() const {
        PaperItem money(ItemClass::Margin);
        PutMargin(money, TheAccount(), L"XTS", Now());
        return money;
    }
    std::int64_t Figure(const Text& symbol, TextView name) const {
        Tracker tracker;
        tracker.Add(TheAccount());
        return tracker.Figure(L"PAPER-1000001:ALL", symbol, name);
    }

    JumpingClock clock_;
    ScopedClock scoped_{clock_};
    Exchange exchange_;
    ReportNotice lastReport_{};
};

} // namespace halvane::paper
