#include "paper/rows/AccountItems.h"

#include "paper/accounts/Account.h"
#include "paper/accounts/Risk.h"
#include "paper/base/Codes.h"
#include "paper/base/PaperItem.h"
#include "paper/base/Units.h"
#include "paper/orders/Book.h"
#include "tradeapi/PropertyIds.h"

#include <algorithm>
#include <cstdlib>

namespace halvane::paper {
namespace {

struct Row {
    std::int32_t id;
    std::int64_t value;
};

const wchar_t* SecurityType(InstrumentKind kind) {
    switch (kind) {
    case InstrumentKind::Stock: return L"S";
    case InstrumentKind::Future: return L"F";
    case InstrumentKind::Option: return L"O";
    }
    return L"";
}

void PutInstrument(PaperItem& item, const Instrument& instrument) {
    item.Put(position_id::kSecurityType, SecurityType(instrument.kind));
    item.Put(position_id::kSymbol, instrument.symbol);
    item.Put(position_id::kSymbolA, instrument.symbol);
    item.Put(position_id::kExchange, instrument.exchange);
    item.Put(position_id::kSecurity, instrument.security);
    item.Put(position_id::kMonth, instrument.month);
    item.Put(position_id::kCallPut, instrument.callPut);
    for (const std::int32_t id : {position_id::kSymbolB, position_id::kSecurity2,
                                  position_id::kMonth2, position_id::kCallPut2})
        item.Put(id, Text()); // a second leg's
    const bool option = instrument.kind == InstrumentKind::Option;
    item.Put(position_id::kStrikePrice, option ? instrument.strikeE10 : kNoInt64);
    item.Put(position_id::kStrikePrice2, kNoInt64);
    item.Put(position_id::kSettlementPrice, kNoInt64); // SettlementPrice: none before the day ends
    item.Put(position_id::kMarginRateByMoney, instrument.marginPpm * kE4);
    item.Put(position_id::kMarginRateByVolume, std::int64_t{0});
}

void PutQuantities(PaperItem& item, const Position& position) {
    const std::int64_t longQty = position.LongQty();
    const std::int64_t shortQty = position.ShortQty();
    const auto longPart = [](std::int64_t net) { return std::max<std::int64_t>(net, 0); };
    const auto shortPart = [](std::int64_t net) { return std::max<std::int64_t>(-net, 0); };
    const PositionDay& day = position.day;
    const std::int64_t opened = position.net - day.carried;
    // clang-format off
    const Row rows[] = {
        {position_id::kQuantity,        std::abs(position.net)},
        {position_id::kSumLongQty,      longQty},
        {position_id::kSumShortQty,     shortQty},
        {position_id::kTodayLongQty,    longPart(opened)},
        {position_id::kTodayShortQty,   shortPart(opened)},
        {position_id::kYdLongQty,       longPart(day.carried)},
        {position_id::kYdShortQty,      shortPart(day.carried)},
        {position_id::kWorkingLong,     position.workingBuy},
        {position_id::kWorkingShort,    position.workingSell},
        {position_id::kTdBuyQty,        position.bought},
        {position_id::kTdSellQty,       position.sold},
        {position_id::kTdTotalQty,      position.bought + position.sold},
        {position_id::kLongFrozen,      position.LongFrozen()},
        {position_id::kShortFrozen,     position.ShortFrozen()},
        {position_id::kLongAvailable,   position.Available(kBuy)},
        {position_id::kShortAvailable,  position.Available(kSell)},
        {position_id::kOpenVolume,      position.opened},
        {position_id::kCloseVolume,     position.closed},
        {position_id::kCombPosition,    position.combined},
        {position_id::kStrikeFrozen,    0}, // nothing is exercised before it expires, here and below
        {position_id::kAbandonFrozen,   0},
        {position_id::kCombLongFrozen,  0},
        {position_id::kCombShortFrozen, 0},
        {position_id::kCovered,         0},
        {position_id::kLockExecFrozen,  0},
    };
    // clang-format on
    for (const auto& [id, value] : rows)
        item.Put(id, Narrow(value));
    const std::int32_t side = position.net > 0 ? kBuy : position.net < 0 ? kSell : kNoInt;
    item.Put(position_id::kSide, side);
    item.Put(position_id::kSide1, side);
    item.Put(position_id::kSide2, kNoInt);
    item.PutNamed(L"YdOrgNetQty", Narrow(day.carriedAtStart));
    item.PutNamed(L"YdOrgLongQty", Narrow(longPart(day.carriedAtStart)));
    item.PutNamed(L"YdOrgShortQty", Narrow(shortPart(day.carriedAtStart)));
    item.PutNamed(L"SpreadType", 0);
}

void PutPrices(PaperItem& item, const Position& position) {
    const std::int64_t multiplier = position.book->TheInstrument().multiplier;
    const std::int64_t average = position.AveragePriceE10();
    const std::int64_t longAverage = position.net > 0 ? average : kNoInt64;
    const std::int64_t shortAverage = position.net < 0 ? average : kNoInt64;
    item.Put(position_id::kPrevSettlementPrice,
             position.book->PreviousCloseE10()); // PrevSettlementPrice
    item.Put(position_id::kAvgPrice, average);
    item.Put(position_id::kOpenPrice, average);
    item.Put(position_id::kLongAvgPrice, longAverage);
    item.Put(position_id::kShortAvgPrice, shortAverage);
    const NamedNumber rows[] = {
        {L"LongOpenPrice", longAverage},
        {L"ShortOpenPrice", shortAverage},
        {L"TdBuyAvgPrice", PriceOfE10(position.boughtE6, position.bought * multiplier)},
        {L"TdSellAvgPrice", PriceOfE10(position.soldE6, position.sold * multiplier)},
        {L"TdNetAvgPrice", average},
        {L"MarketPrice", position.book->LastE10() / kE4}, // alone in millionths
        {L"ExchangeRate", kE10},
    };
    for (const auto& [name, value] : rows)
        item.PutNamed(name, value);
}

void PutAmounts(PaperItem& item, const Position& position) {
    const std::int64_t open = position.OpenProfitE6();
    const std::int64_t average = position.AveragePriceE10();
    const std::int64_t multiplier = position.book->TheInstrument().multiplier;
    const auto frozenAmount = [&](std::int64_t quantity) {
        return quantity == 0 ? 0 : AmountE6(average, quantity * multiplier);
    };
    // clang-format off
    const Row rows[] = {
        {position_id::kUnrealizedPl,          open},
        {position_id::kPositionProfitByDate,  position.OpenProfitByDateE6()},
        {position_id::kPositionProfitByTrade, open},
        {position_id::kCloseProfit,           position.realisedE6},
        {position_id::kCloseProfitByDate,     position.day.realisedE6},
        {position_id::kCloseProfitByTrade,    position.realisedE6},
        {position_id::kOpenCost,              std::abs(position.costE6)},
        {position_id::kPositionCost,          std::abs(position.day.costE6)},
        {position_id::kOpenAmount,            position.openedE6},
        {position_id::kCloseAmount,           position.closedE6},
        {position_id::kLongFrozenAmount,      frozenAmount(position.LongFrozen())},
        {position_id::kShortFrozenAmount,     frozenAmount(position.ShortFrozen())},
        {position_id::kUsedMargin,            position.MarginE6()},
        {position_id::kFrozenMargin,          position.frozen.marginE6},
        {position_id::kPreMargin,             position.day.marginAtStartE6},
        {position_id::kFrozenCash,            position.frozen.cashE6},
        {position_id::kCashIn,                0},
        {position_id::kCommission,            position.commissionE6},
        {position_id::kStrikeFrozenAmount,    0},
    };
    // clang-format on
    for (const auto& [id, value] : rows)
        item.Put(id, AmountE10(value));
}

void PutNamedAmounts(PaperItem& item, const Position& position) {
    const std::int64_t byTrade = position.OpenProfitE6();
    const std::int64_t byDate = position.OpenProfitByDateE6();
    const bool isLong = position.net > 0;
    const bool isShort = position.net < 0;
    const NamedNumber rows[] = {
        {L"FloatProfitByDate", byDate},
        {L"FloatProfitByTrade", byTrade},
        {L"LongFloatProfitByDate", isLong ? byDate : 0},
        {L"ShortFloatProfitByDate", isShort ? byDate : 0},
        {L"LongFloatProfitByTrade", isLong ? byTrade : 0},
        {L"ShortFloatProfitByTrade", isShort ? byTrade : 0},
        {L"TodayProfit", position.DayProfitE6()},
        {L"PNL", position.ProfitE6()},
        {L"TheoPNL", position.ProfitE6() + ModelGainE6(position)},
        {L"TheoMktVal", ModelValueE6(position)},
    };
    for (const auto& [name, value] : rows)
        item.PutNamed(name, AmountE10(value));
    for (const auto& [name, value] : RiskOf(position))
        item.PutNamed(name, value);
}

} // namespace

void PutPosition(PaperItem& item, const Account& account, const Position& position,
                 const Text& currency) {
    PutOwner(item, account.Setup());
    item.Put(position_id::kTransactDate, position.stamp.date);
    item.Put(position_id::kTransactTime, position.stamp.time);
    item.Put(position_id::kCurrencyToSystem, currency);
    PutInstrument(item, position.book->TheInstrument());
    PutQuantities(item, position);
    PutPrices(item, position);
    PutAmounts(item, position);
    PutNamedAmounts(item, position);
}

} // namespace halvane::paper
