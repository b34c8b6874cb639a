#include "tradeapi/paper/AccountItems.h"

#include "tradeapi/paper/Account.h"
#include "tradeapi/paper/Book.h"
#include "tradeapi/paper/Codes.h"
#include "tradeapi/paper/PaperItem.h"
#include "tradeapi/paper/Units.h"

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
    item.Put(32, instrument.referenceE10); // PrevSettlementPrice
    item.Put(31, kNoInt64);                // SettlementPrice: none before the day ends
    item.Put(75, instrument.marginPpm * kE4);
    item.Put(76, std::int64_t{0});
}

void PutQuantities(PaperItem& item, const Position& position) {
    const std::int64_t longQty = position.LongQty();
    const std::int64_t shortQty = position.ShortQty();
    // clang-format off
    const Row rows[] = {
        {28, std::abs(position.net)},                    // Quantity
        {60, longQty}, {61, shortQty},                   // Sum...
        {62, longQty}, {63, shortQty},                   // Today...: all of it
        {64, 0}, {65, 0},                                // Yd...
        {68, position.workingBuy}, {69, position.workingSell},
        {77, position.bought}, {78, position.sold}, {79, position.bought + position.sold},
        {37, position.LongFrozen()}, {38, position.ShortFrozen()},
        {81, longQty - position.LongFrozen()}, {82, shortQty - position.ShortFrozen()},
        {41, position.opened}, {42, position.closed},
        {53, 0}, {55, 0}, {56, 0}, {57, 0}, {58, 0}, {59, 0}, {80, 0}, // no exercise, no combining
    };
    // clang-format on
    for (const auto& [id, value] : rows)
        item.Put(id, Narrow(value));
    const std::int32_t side = position.net > 0 ? kBuy : position.net < 0 ? kSell : kNoInt;
    item.Put(25, side);
    item.Put(26, side);
    item.Put(27, kNoInt);
    for (const TextView name : {L"YdOrgNetQty", L"YdOrgLongQty", L"YdOrgShortQty", L"SpreadType"}) {
        item.PutNamed(name, 0);
    }
}

void PutPrices(PaperItem& item, const Position& position) {
    const std::int64_t multiplier = position.book->TheInstrument().multiplier;
    const std::int64_t average = position.AveragePriceE10();
    const std::int64_t longAverage = position.net > 0 ? average : kNoInt64;
    const std::int64_t shortAverage = position.net < 0 ? average : kNoInt64;
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
        {73, open}, {74, open},                            // PositionProfit...
        {35, position.realisedE6},                         // CloseProfit
        {47, position.realisedE6}, {48, position.realisedE6},
        {45, std::abs(position.costE6)}, {46, std::abs(position.costE6)}, // ...Cost
        {43, position.openedE6}, {44, position.closedE6},  // ...Amount
        {39, frozenAmount(position.LongFrozen())}, {40, frozenAmount(position.ShortFrozen())},
        {33, position.MarginE6()}, {34, position.frozen.marginE6}, {49, 0},
        {50, position.frozen.cashE6}, {51, 0},
        {52, position.commissionE6}, {54, 0},
    };
    // clang-format on
    for (const auto& [id, value] : rows)
        item.Put(id, AmountE10(value));
}

void PutNamedAmounts(PaperItem& item, const Position& position) {
    const std::int64_t open = position.OpenProfitE6();
    const std::int64_t longOpen = position.net > 0 ? open : 0;
    const std::int64_t shortOpen = position.net < 0 ? open : 0;
    const NamedRow rows[] = {
        {L"FloatProfitByDate", open},
        {L"FloatProfitByTrade", open},
        {L"LongFloatProfitByDate", longOpen},
        {L"ShortFloatProfitByDate", shortOpen},
        {L"LongFloatProfitByTrade", longOpen},
        {L"ShortFloatProfitByTrade", shortOpen},
        {L"TodayProfit", open + position.realisedE6},
        {L"PNL", open + position.realisedE6},
    };
    for (const auto& [name, value] : rows)
        item.PutNamed(name, AmountE10(value));
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
