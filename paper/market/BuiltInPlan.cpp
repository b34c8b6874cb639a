#include "paper/base/Units.h"
#include "paper/market/MarketPlan.h"

namespace halvane::paper {
namespace {

constexpr const wchar_t* kStockExchange = L"PAPX";
constexpr const wchar_t* kFutureExchange = L"PAPF";

struct StockRow {
    const wchar_t* security;
    const wchar_t* name;
    std::int64_t priceE4, tickE4;
    std::int32_t quoteSize;
    std::int64_t volatilityPpm;
};

struct FutureRow {
    StockRow price;
    std::int64_t multiplier, marginPpm, carryPpm;
};

// clang-format off
constexpr StockRow kStocks[] = {     // price     tick  size  volatility
    {L"ALFA", L"Alfa on paper",      1'200'000,    500,  4'000, 300'000},
    {L"BETU", L"Betu on paper",        455'000,    500,  9'000, 350'000},
    {L"CERU", L"Ceru on paper",      4'800'000,  5'000,  1'200, 250'000},
    {L"DOLI", L"Doli on paper",        183'000,    100, 20'000, 450'000},
    {L"EMBO", L"Embo on paper",      9'500'000, 10'000,    600, 280'000},
};
constexpr FutureRow kFutures[] = {   // price        tick  size  volatility     mult.  margin  carry
    {{L"IDX", L"Paper index",      200'000'000, 10'000,  30, 150'000},  50,  60'000,  500},
    {{L"ORE", L"Paper ore",         18'500'000,  1'000,  20, 250'000}, 100,  80'000,  700},
    {{L"GRN", L"Paper grain",        5'602'500,  2'500,  25, 220'000},  50,  70'000,  900},
};
// clang-format on

void Fill(StockPlan& plan, const StockRow& row) {
    plan.security = row.security;
    plan.name = row.name;
    plan.priceE10 = row.priceE4 * kE6;
    plan.tickE10 = row.tickE4 * kE6;
    plan.quoteSize = row.quoteSize;
    plan.volatilityPpm = row.volatilityPpm;
}

StockPlan Stock(const StockRow& row) {
    StockPlan stock;
    Fill(stock, row);
    stock.exchange = kStockExchange;
    stock.maxQuantity = 1'000'000;
    stock.marginPpm = 400'000;
    stock.commissionPpm = 1'000;
    return stock;
}

FuturePlan Future(const FutureRow& row) {
    FuturePlan future;
    Fill(future, row.price);
    future.exchange = kFutureExchange;
    future.multiplier = row.multiplier;
    future.marginPpm = row.marginPpm;
    future.carryPpm = row.carryPpm;
    future.commissionLotE6 = 2 * kE6;
    return future;
}

OptionPlan ChainOn(const FuturePlan& future) {
    OptionPlan options;
    static_cast<ProductPlan&>(options) = future;
    options.marginPpm = 100'000;
    options.commissionLotE6 = kE6;
    options.strikes = {18'000, 19'000, 20'000, 21'000, 22'000};
    return options;
}

AccountSetup OnPaper(const wchar_t* number) {
    AccountSetup account;
    account.brokerId = L"PAPER";
    account.brokerName = L"PAPER broker";
    account.account = number;
    account.accountName = L"PAPER account " + account.account;
    account.loginId = L"paper";
    account.userName = L"PAPER user";
    account.balanceE6 = 10'000'000 * kE6;
    return account;
}

} // namespace

MarketPlan BuiltInPlan() {
    MarketPlan plan;
    plan.serviceKeys = {{L"demo-key", L"DEMO"}};
    plan.accounts = {OnPaper(L"1000001"), OnPaper(L"1000002")};
    plan.exchanges = {{kStockExchange, {}}, {kFutureExchange, {}}};
    for (const StockRow& row : kStocks)
        plan.stocks.push_back(Stock(row));
    for (const FutureRow& row : kFutures)
        plan.futures.push_back(Future(row));
    plan.options = {ChainOn(plan.futures.front())};
    return plan;
}

} // namespace halvane::paper
