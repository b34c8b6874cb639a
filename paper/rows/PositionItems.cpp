#include "paper/rows/AccountItems.h"

#include "paper/accounts/Account.h"
#include "paper/accounts/Risk.h"
#include "paper/base/Codes.h"
#include "paper/base/PaperItem.h"
#include "paper/base/Units.h"
#include "paper/orders/Book.h"

#include <algorithm>
#include <cstdlib>

namespace halvane::paper {
namespace {

struct Row {
    std::int32_t id;
    std::int64_t value;
};

struct NamedRow {
    TextView name;
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
    item.Put(12, SecurityType(instrument.kind));
    item.Put(13, instrument.symbol);
    item.Put(14, instrument.symbol);
    item.Put(16, instrument.exchange);
    item.Put(17, instrument.security);
    item.Put(19, instrument.month);
    item.Put(21, instrument.callPut);
    for (const std::int32_t id : {15, 18, 20, 22})
        item.Put(id, Text()); // a second leg's
    const bool option = instrument.kind == InstrumentKind::Option;
    item.Put(23, option ? instrument.strikeE10 : kNoInt64);
    item.Put(24, kNoInt64);
    item.Put(31, kNoInt64); // SettlementPrice: none before the day ends
    item.Put(75, instrument.marginPpm * kE4);
    item.Put(76, std::int64_t{0});
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
        {28, std::abs(position.net)},                    // Quantity
        {60, longQty}, {61, shortQty},                   // Sum...
        {62, longPart(opened)}, {63, shortPart(opened)}, // Today...
        {64, longPart(day.carried)}, {65, shortPart(day.carried)}, // Yd...
        {68, position.workingBuy}, {69, position.workingSell},
        {77, position.bought}, {78, position.sold}, {79, position.bought + position.sold},
        {37, position.LongFrozen()}, {38, position.ShortFrozen()},
        {81, position.Available(kBuy)}, {82, position.Available(kSell)},
        {41, position.opened}, {42, position.closed},
        {56, position.combined},                         // CombPosition
        {53, 0}, {55, 0}, {57, 0}, {58, 0}, {59, 0}, {80, 0}, // no exercise
    };
    // clang-format on
    for (const auto& [id, value] : rows)
        item.Put(id, Narrow(value));
    const std::int32_t side = position.net > 0 ? kBuy : position.net < 0 ? kSell : kNoInt;
    item.Put(25, side);
    item.Put(26, side);
    item.Put(27, kNoInt);
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
    item.Put(32, position.book->PreviousCloseE10()); // PrevSettlementPrice
    item.Put(29, average);
    item.Put(71, average);
    item.Put(66, longAverage);
    item.Put(67, shortAverage);
    const NamedRow rows[] = {
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
        {30, open},                                        // UnrealizedPL
        {73, position.OpenProfitByDateE6()}, {74, open},   // PositionProfit...
        {35, position.realisedE6},                         // CloseProfit
        {47, position.day.realisedE6}, {48, position.realisedE6}, // ByDate, ByTrade
        {45, std::abs(position.costE6)}, {46, std::abs(position.day.costE6)}, // ...Cost
        {43, position.openedE6}, {44, position.closedE6},  // ...Amount
        {39, frozenAmount(position.LongFrozen())}, {40, frozenAmount(position.ShortFrozen())},
        {33, position.MarginE6()}, {34, position.frozen.marginE6},
        {49, position.day.marginAtStartE6},
        {50, position.frozen.cashE6}, {51, 0},
        {52, position.commissionE6}, {54, 0},
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
    const NamedRow rows[] = {
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
    item.Put(10, position.stamp.date);
    item.Put(11, position.stamp.time);
    item.Put(36, currency);
    PutInstrument(item, position.book->TheInstrument());
    PutQuantities(item, position);
    PutPrices(item, position);
    PutAmounts(item, position);
    PutNamedAmounts(item, position);
}

} // namespace halvane::paper
