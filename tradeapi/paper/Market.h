#pragma once

#include "foundation/support/Text.h"
#include "tradeapi/paper/Calendar.h"

#include <cstdint>
#include <vector>

namespace halvane::paper {

// What a paper market consists of before anything has happened in it.

enum class InstrumentKind { Stock, Future, Option };

struct Instrument {
    Text symbol;  // "OV.F.PAPF.IDX.202612"
    Text shortId; // "IDX202612"
    Text name;    // for people
    InstrumentKind kind;
    Text exchange;
    Text security;
    Text month;   // "yyyymm", "" for a stock
    Text callPut; // "C", "P", "" for all but options
    Day expiry;   // not ok() for a stock
    std::int64_t strikeE10;
    std::int64_t tickE10;
    std::int64_t multiplier;
    std::int32_t maxQuantity; // of one order

    std::size_t driver;              // the walk in PriceProcess that moves it
    std::int64_t carryPpm;           // what a future stands above its driver
    std::int32_t quoteSize;          // the most that the background quotes on one side
    std::int64_t referenceE10;       // the previous day's close
    std::int64_t lowerE10, upperE10; // price limits of the day

    std::int64_t marginPpm;       // see Position.h
    std::int64_t commissionPpm;   // of the amount of a fill
    std::int64_t commissionLotE6; // and per lot
};

// A value that walks at random around its start.
struct Driver {
    std::int64_t startE10;
    std::int64_t volatilityPpm; // standard deviation of one step
};

struct AccountSetup {
    Text brokerId, brokerName, account, accountName, loginId, userName;
    std::int64_t balanceE6;
};

struct ServiceKey {
    Text key, systemName;
};

struct Market {
    std::vector<Instrument> instruments;
    std::vector<Driver> drivers;
    std::vector<AccountSetup> accounts;
    std::vector<ServiceKey> serviceKeys;
    std::uint64_t seed;
    std::uint32_t tickMs;
    Text currency;
};

// Five stocks, three futures with the two next quarter months each, and a chain of options on the
// first month of the index; two accounts and the key "demo-key" of the system "DEMO".
Market BuiltInMarket(Day today);

} // namespace halvane::paper
