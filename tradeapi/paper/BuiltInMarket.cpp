#include "foundation/support/Numbers.h"
#include "foundation/support/Strings.h"
#include "tradeapi/paper/Market.h"
#include "tradeapi/paper/PriceProcess.h"
#include "tradeapi/paper/Units.h"

#include <algorithm>

namespace halvane::paper {
namespace {

constexpr const wchar_t* kStockExchange = L"PAPX";
constexpr const wchar_t* kFutureExchange = L"PAPF";
constexpr std::int64_t kLimitPpm = 100'000;

struct StockRow {
    const wchar_t* security;
    const wchar_t* name;
    std::int64_t priceE4, tickE4;
    std::int32_t quoteSize;
};

struct FutureRow {
    const wchar_t* security;
    const wchar_t* name;
    std::int64_t priceE4, tickE4, multiplier;
    std::int32_t quoteSize;
    std::int64_t marginPpm;
};

// clang-format off
constexpr StockRow kStocks[] = {    // price     tick  quote size
    {L"ALFA", L"Alfa on paper",      1'200'000,   500, 4'000},
    {L"BETU", L"Betu on paper",        455'000,   500, 9'000},
    {L"CERU", L"Ceru on paper",      4'800'000, 5'000, 1'200},
    {L"DOLI", L"Doli on paper",        183'000,   100, 20'000},
    {L"EMBO", L"Embo on paper",      9'500'000, 10'000,   600},
};
constexpr FutureRow kFutures[] = {  // price        tick  mult. size  margin
    {L"IDX", L"Paper index",       200'000'000, 10'000,  50,  30,  60'000},
    {L"ORE", L"Paper ore",          18'500'000,  1'000, 100,  20,  80'000},
    {L"GRN", L"Paper grain",         5'602'500,  2'500,  50,  25,  70'000},
};
constexpr std::int64_t kStrikes[] = {18'000, 19'000, 20'000, 21'000, 22'000};
// clang-format on

constexpr std::int64_t kStockVolatilityPpm = 60;
constexpr std::int64_t kFutureVolatilityPpm = 40;
constexpr std::int64_t kCarryPpm[] = {500, 1'500}; // first month, second month

std::int64_t OnTick(const Instrument& instrument, std::int64_t priceE10) {
    return std::max(priceE10 / instrument.tickE10, std::int64_t{1}) * instrument.tickE10;
}

// An option may move by as much as what lies beneath it.
void SetReference(Instrument& instrument, std::int64_t driverE10) {
    const std::int64_t value = FairValue(instrument, driverE10);
    const bool option = instrument.kind == InstrumentKind::Option;
    const std::int64_t reach = Share(option ? driverE10 : value, kLimitPpm, kE6);
    instrument.referenceE10 = OnTick(instrument, value);
    instrument.upperE10 = OnTick(instrument, value + reach);
    instrument.lowerE10 = OnTick(instrument, value - reach);
}

void AddStock(Market& market, const StockRow& row) {
    Instrument stock{};
    stock.kind = InstrumentKind::Stock;
    stock.exchange = kStockExchange;
    stock.security = row.security;
    stock.shortId = row.security;
    stock.symbol = Format(L"OV.S.%s.%s", kStockExchange, row.security);
    stock.name = row.name;
    stock.tickE10 = row.tickE4 * kE6;
    stock.multiplier = 1;
    stock.maxQuantity = 1'000'000;
    stock.driver = market.drivers.size();
    stock.quoteSize = row.quoteSize;
    stock.marginPpm = 400'000;
    stock.commissionPpm = 1'000;
    market.drivers.push_back({row.priceE4 * kE6, kStockVolatilityPpm});
    SetReference(stock, market.drivers.back().startE10);
    market.instruments.push_back(std::move(stock));
}

Instrument Future(const FutureRow& row, std::size_t driver, Day expiry) {
    Instrument future{};
    future.kind = InstrumentKind::Future;
    future.exchange = kFutureExchange;
    future.security = row.security;
    future.month = MonthText(expiry);
    future.shortId = future.security + future.month;
    future.symbol = Format(L"OV.F.%s.%s.%s", kFutureExchange, row.security, future.month.c_str());
    future.name = Format(L"%s %s", row.name, future.month.c_str());
    future.expiry = expiry;
    future.tickE10 = row.tickE4 * kE6;
    future.multiplier = row.multiplier;
    future.maxQuantity = 1'000;
    future.driver = driver;
    future.quoteSize = row.quoteSize;
    future.marginPpm = row.marginPpm;
    future.commissionLotE6 = 2 * kE6;
    return future;
}

void AddFutures(Market& market, const FutureRow& row, Day today) {
    const std::size_t driver = market.drivers.size();
    market.drivers.push_back({row.priceE4 * kE6, kFutureVolatilityPpm});
    for (int month = 0; month < 2; ++month) {
        Instrument future = Future(row, driver, QuarterExpiry(today, month));
        future.carryPpm = kCarryPpm[month];
        SetReference(future, market.drivers[driver].startE10);
        market.instruments.push_back(std::move(future));
    }
}

void AddOption(Market& market, const Instrument& future, std::int64_t strike,
               const wchar_t* callPut) {
    Instrument option = future;
    const Text number = DecimalText(strike);
    option.kind = InstrumentKind::Option;
    option.callPut = callPut;
    option.strikeE10 = strike * kE10;
    option.shortId = future.shortId + callPut + number;
    option.symbol = Format(L"OV.O.%s.%s.%s.%s.%s", kFutureExchange, future.security.c_str(),
                           future.month.c_str(), callPut, number.c_str());
    option.name = Format(L"%s %s %s", future.name.c_str(), callPut, number.c_str());
    option.carryPpm = 0;
    option.marginPpm = 100'000;
    option.commissionLotE6 = kE6;
    SetReference(option, market.drivers[option.driver].startE10);
    market.instruments.push_back(std::move(option));
}

} // namespace

Market BuiltInMarket(Day today) {
    Market market{};
    for (const StockRow& row : kStocks)
        AddStock(market, row);
    for (const FutureRow& row : kFutures)
        AddFutures(market, row, today);
    const Instrument index = market.instruments[std::size(kStocks)];
    for (const wchar_t* callPut : {L"C", L"P"}) {
        for (const std::int64_t strike : kStrikes)
            AddOption(market, index, strike, callPut);
    }
    for (const wchar_t* number : {L"1000001", L"1000002"}) {
        market.accounts.push_back({L"PAPER", L"PAPER broker", number,
                                   Format(L"PAPER account %s", number), L"paper", L"PAPER user",
                                   10'000'000 * kE6});
    }
    market.serviceKeys = {{L"demo-key", L"DEMO"}};
    market.seed = 20'250'101;
    market.tickMs = 250;
    market.currency = L"XTS"; // the currency code that is kept free for tests
    return market;
}

} // namespace halvane::paper
