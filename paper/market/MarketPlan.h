#pragma once

#include "foundation/support/Text.h"
#include "paper/base/Calendar.h"
#include "paper/market/Incident.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace halvane::paper {

// A market as its file describes it; Market.h has what follows from it. Prices are in units of
// 1e-10, amounts in millionths, shares in millionths of the whole (Ppm). What has a value here may
// be left out of the file.

enum class InstrumentKind { Stock, Future, Option };

// What is alike in all products of an exchange.
struct ProductPlan {
    Text security; // "IDX"; letters, digits, "_", "-"
    Text exchange; // one of MarketPlan::exchanges
    std::int64_t tickE10 = 0;
    std::int32_t quoteSize = 100;     // the most that the background quotes on one side
    std::int32_t maxQuantity = 1'000; // of one order
    std::int64_t limitPpm = 100'000;  // how far a price may go from the day's reference
    std::int64_t marginPpm = 100'000; // see Position::MarginE6
    std::int64_t commissionPpm = 0;   // of the amount of a fill
    std::int64_t commissionLotE6 = 0; // and per lot
};

struct StockPlan : ProductPlan {
    Text name; // for people; the security when left out
    std::int64_t priceE10 = 0;
    std::int64_t volatilityPpm = 300'000; // of a year
};

struct FuturePlan : StockPlan {
    std::int64_t multiplier = 0;
    std::int64_t carryPpm = 0; // what a contract stands above the price, for each of the months
    std::int32_t quarters = 2; // the contracts: that many of the next quarter months,
    std::vector<Day> expiries; // unless these are given
};

// Calls and puts on the first contracts of a future, whose exchange and multiplier they share.
// `security` and `exchange` are the future's.
struct OptionPlan : ProductPlan {
    std::int32_t months = 1;
    std::vector<std::int64_t> strikes; // whole numbers, not scaled
};

// A part of the day in ms since midnight, from `opens` up to but without `closes`.
struct Session {
    std::int32_t opensMs = 0, closesMs = 0;
};

struct ExchangePlan {
    Text exchange;
    std::vector<Session> sessions; // none: open day and night; otherwise on weekdays only
};

// What an account pays and pledges, of what the instruments say.
struct Rates {
    std::int64_t commissionPpm = 1'000'000;
    std::int64_t marginPpm = 1'000'000;
};

struct AccountSetup {
    Text brokerId, brokerName, account, accountName, loginId, userName;
    std::int64_t balanceE6 = 0;
    Rates rates{};
    std::array<bool, 3> mayTrade{true, true, true}; // by InstrumentKind
};

struct ServiceKey {
    Text key, systemName;
};

struct MarketPlan {
    std::uint64_t seed = 20'250'101;
    std::int32_t speed = 1;       // seconds of the market in one of ours
    std::int32_t stepMs = 250;    // of the market's time, between two prices
    std::optional<LocalMs> start; // of the market's time; nothing: now
    Text currency = L"XTS";       // the code that is kept free for tests
    std::vector<ServiceKey> serviceKeys;
    std::vector<AccountSetup> accounts;
    std::vector<ExchangePlan> exchanges;
    std::vector<StockPlan> stocks;
    std::vector<FuturePlan> futures;
    std::vector<OptionPlan> options;
    std::vector<Incident> incidents;
};

// Five stocks, three futures with the two next quarter months each, and a chain of options on the
// first month of the index; two accounts and the key "demo-key" of the system "DEMO".
MarketPlan BuiltInPlan();

} // namespace halvane::paper
