#include "foundation/support/Format.h"
#include "foundation/support/Utf.h"
#include "paper/base/Units.h"
#include "paper/file/MarketFile.h"
#include "tests/TempFolder.h"

#include <gtest/gtest.h>

namespace halvane::paper {
namespace {

namespace chrono = std::chrono;

LocalMs At(std::int32_t date, std::int64_t ms) {
    return chrono::local_days(DayOf(date)) + chrono::milliseconds(ms);
}

const LocalMs kNow = At(20261106, 36'000'000);

constexpr std::size_t kMost = std::size_t{16} * 1024 * 1024; // bytes of a file

// A good file: one object of each kind, a line for each list.
const std::string kSmall = R"({
"accounts": [{"brokerId": "B", "account": "1", "balance": 5}],
"exchanges": [{"exchange": "X", "sessions": [{"opens": "09:00", "closes": "12:00"}]}],
"stocks": [{"security": "S", "exchange": "X", "price": 100, "tick": 0.5}],
"futures": [{"security": "F", "exchange": "X", "price": 200, "tick": 1, "multiplier": 10}],
"options": [{"future": "F", "strikes": [100, 200], "tick": 1}],
"incidents": [{"kind": "closeMarket", "at": "10:00:00", "for": 5, "exchange": "X"}]
})";

// The small file with the first `from` replaced.
std::string Edited(const std::string& from, const std::string& to) {
    std::string text = kSmall;
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// What people copy has to work.
std::string ExampleOfTheDocuments() {
    const std::string page = ReadFile(HALVANE_PAPER_PAGE);
    const std::size_t begin = page.find("```json\n") + 8;
    return page.substr(begin, page.find("```", begin) - begin);
}

// All mistakes, one on a line.
std::string MistakesOf(const MarketReading& reading) {
    EXPECT_EQ(reading.plan.has_value(), reading.mistakes.empty());
    std::string lines;
    for (const Text& mistake : reading.mistakes)
        lines += (lines.empty() ? "" : "\n") + ToUtf8(mistake);
    return lines;
}

std::string MistakesIn(const std::string& text) { return MistakesOf(ReadMarketText(text, kNow)); }

struct Case {
    std::string from, to, mistakes;
};

void ExpectMistakes(const std::vector<Case>& cases) {
    for (const Case& each : cases)
        EXPECT_EQ(MistakesIn(Edited(each.from, each.to)), each.mistakes) << each.to.substr(0, 200);
}

TEST(MarketFile, TellsOfMembersAndLists) {
    ExpectMistakes({
        // clang-format off
        {kSmall, "[]", "line 1: must be an object, not a list"},
        {"[{\"brokerId\"", "[7, {\"brokerId\"", "line 2: accounts[0]: must be an object, not a number"},
        {"[100, 200]", "{}", "line 6: options[0].strikes: must be a list, not an object"},
        {"100", "\"100\"", "line 4: stocks[0].price: must be a number, not a text"},
        {"\"S\"", "1", "line 4: stocks[0].security: must be a text, not a number"},
        {"\"09:00\"", "null", "line 3: exchanges[0].sessions[0].opens: must be a text, not null"},
        {"0.5", "true", "line 4: stocks[0].tick: must be a number, not true or false"},
        {"\"tick\"", "\"tikc\"", "line 4: stocks[0]: tick is missing\nline 4: stocks[0].tikc: unknown"},
        {"\"price\"", "\n\"\\n\\u001b[2Jpreis\": 1,\n\"price\"", "line 5: stocks[0].??[2Jpreis: unknown"},
        {"\"price\"", "\"tick\": 1, \"price\"", "line 4: stocks[0].tick: given twice"},
        {"\"accounts\"", "\"Accounts\"", "line 1: accounts is missing\nline 2: Accounts: unknown"},
        {"[100, 200]", "[]", "line 6: options[0].strikes: must not be empty"},
        {"[{\"brokerId\": \"B\", \"account\": \"1\", \"balance\": 5}]", "[]", "line 2: accounts: must not be empty"},
        {"\"tick\": 1, \"multiplier\": 10}", "\"tick\": 1, \"multiplier\": 10, \"expiries\": []}", "line 5: futures[0].expiries: must not be empty"},
        {kSmall, R"({"accounts": [{"brokerId": "B", "account": "1", "balance": 5}], "exchanges": [{"exchange": "X"}], "stocks": []})", "line 1: there must be a stock or a future"},
        // clang-format on
    });
}

TEST(MarketFile, TellsOfNumbersThatAreNoGood) {
    ExpectMistakes({
        // clang-format off
        {"100", "1e2", "line 4: stocks[0].price: 1e2 has an exponent"},
        {"100", "-100", "line 4: stocks[0].price: -100 is not above 0 and at most 100000000"},
        {"100", "100000000.5", "line 4: stocks[0].price: 100000000.5 is not above 0 and at most 100000000"},
        {"100", "99999999999999999999", "line 4: stocks[0].price: 99999999999999999999 is not above 0 and at most 100000000"},
        {"100", "0.12345678901", "line 4: stocks[0].price: 0.12345678901 has more than 10 decimals"},
        {"0.5", "0.0000001", "line 4: stocks[0].tick: 0.0000001 has more than 6 decimals"},
        {"\"balance\": 5", "\"balance\": 1000000000000.000001", "line 2: accounts[0].balance: 1000000000000.000001 is not in 0..1000000000000"},
        {"10}", "1.0}", "line 5: futures[0].multiplier: 1.0 is not a whole number"},
        {"10}", "10, \"carry\": -0.100001}", "line 5: futures[0].carry: -0.100001 is not in -0.1..0.1"},
        {"10}", "10, \"volatility\": 5.1}", "line 5: futures[0].volatility: 5.1 is not in 0..5"},
        {"10}", "10, \"margin\": 0.1234567}", "line 5: futures[0].margin: 0.1234567 has more than 6 decimals"},
        {"10}", "10, \"limit\": 0}", "line 5: futures[0].limit: 0 is not in 0.001..0.5"},
        {"100, 200", "0, 100000001", "line 6: options[0].strikes[0]: 0 is not in 1..100000000\nline 6: options[0].strikes[1]: 100000001 is not in 1..100000000"},
        {"{", "{\"seed\": 18446744073709551616,", "line 1: seed: 18446744073709551616 is not a whole number in 0..18446744073709551615"},
        {"{", "{\"seed\": -1,", "line 1: seed: -1 is not a whole number in 0..18446744073709551615"},
        {"\"for\": 5", "\"for\": 0", "line 7: incidents[0].for: 0 is not above 0 and at most 10000000"},
        // clang-format on
    });
}

TEST(MarketFile, TellsOfTextsThatAreNoGood) {
    ExpectMistakes({
        // clang-format off
        {"\"1\"", "\"1-1\"", "line 2: accounts[0].account: \"1-1\" is not 1 to 16 letters, digits and \"_\""},
        {"\"S\"", "\"\"", "line 4: stocks[0].security: \"\" is not 1 to 16 letters, digits, \"_\" and \"-\""},
        {"\"S\"", "\"" + std::string(60, 'x') + "\"", "line 4: stocks[0].security: \"" + std::string(40, 'x') + "...\" is not 1 to 16 letters, digits, \"_\" and \"-\""},
        {"{", "{\"currency\": \"Xts\",", "line 1: currency: \"Xts\" is not 3 capital letters"},
        {"{", "{\"serviceKeys\": [{\"key\": \"\\u0000\", \"systemName\": \"A\"}],", "line 1: serviceKeys[0].key: \"?\" is not 1 to 100 printable characters"},
        {"09:00", "9:00", "line 3: exchanges[0].sessions[0].opens: \"9:00\" is no time \"hh:mm\" or \"hh:mm:ss\""},
        {"09:00", "24:00", "line 3: exchanges[0].sessions[0].opens: \"24:00\" is no time \"hh:mm\" or \"hh:mm:ss\""},
        {"12:00", "24:00:01", "line 3: exchanges[0].sessions[0].closes: \"24:00:01\" is no time \"hh:mm\" or \"hh:mm:ss\""},
        {"10:00:00", "10:60:00", "line 7: incidents[0].at: \"10:60:00\" is no time \"hh:mm\" or \"hh:mm:ss\""},
        {"{", "{\"start\": \"2026-11-20\",", "line 1: start: \"2026-11-20\" is no moment \"yyyy-mm-dd hh:mm:ss\" of 2000 to 2199"},
        {"{", "{\"start\": \"2026-11-20 24:00:00\",", "line 1: start: \"2026-11-20 24:00:00\" is no moment \"yyyy-mm-dd hh:mm:ss\" of 2000 to 2199"},
        {"10}", "10, \"expiries\": [\"2026-02-30\", \"2200-01-01\"]}", "line 5: futures[0].expiries[0]: \"2026-02-30\" is no day \"yyyy-mm-dd\" of 2000 to 2199\nline 5: futures[0].expiries[1]: \"2200-01-01\" is no day \"yyyy-mm-dd\" of 2000 to 2199"},
        {"\"closeMarket\"", "\"CloseMarket\"", "line 7: incidents[0].kind: \"CloseMarket\" is none of delayAnswers, refuseRows, rejectOrders, disconnect, closeMarket, resetReports, rollDay"},
        {"5}", "5, \"permissions\": [\"stocks\", \"bonds\", \"stocks\"]}", "line 2: accounts[0].permissions[1]: \"bonds\" is none of stocks, futures, options\nline 2: accounts[0].permissions[2]: given twice"},
        // clang-format on
    });
}

TEST(MarketFile, TellsWhatIsThereTwiceOrNotAtAll) {
    ExpectMistakes({
        // clang-format off
        {"5}", "5}, {\"brokerId\": \"B\", \"account\": \"1\", \"balance\": 6}", "line 2: accounts[1].account: is there already"},
        {"}]}]", "}]}, {\"exchange\": \"X\"}]", "line 3: exchanges[1].exchange: is there already"},
        {"\"F\"", "\"S\"", "line 5: futures[0].security: S on X is there already\nline 6: options[0].future: F is none of the futures"},
        {"{", "{\"serviceKeys\": [{\"key\": \"a\", \"systemName\": \"A\"},\n{\"key\": \"a\", \"systemName\": \"B\"}],", "line 2: serviceKeys[1].key: is there already"},
        {"\"X\", \"price\": 100", "\"Y\", \"price\": 100", "line 4: stocks[0].exchange: Y is none of the exchanges"},
        {"5, \"exchange\": \"X\"", "5, \"exchange\": \"Z\"", "line 7: incidents[0].exchange: Z is none of the exchanges"},
        {"1}]", "1}, {\"future\": \"F\", \"strikes\": [1], \"tick\": 1}]", "line 6: options[1].future: F has options already"},
        {"}]}],\n\"stocks\": [", "}]}, {\"exchange\": \"Y\"}],\n\"futures\": [{\"security\": \"F\", \"exchange\": \"Y\", \"price\": 200, \"tick\": 1, \"multiplier\": 10}, {\"security\": \"F\", \"exchange\": \"X\", \"price\": 200, \"tick\": 1, \"multiplier\": 10}],\n\"stocks\": [",
         "line 6: futures: given twice\nline 7: options[0].future: F is on several exchanges"},
        // clang-format on
    });
}

TEST(MarketFile, TellsWhatDoesNotGoTogether) {
    ExpectMistakes({
        // clang-format off
        {"12:00", "09:00", "line 3: exchanges[0].sessions[0].closes: is not after opens"},
        {"}]}]", "}, {\"opens\": \"11:59:59\", \"closes\": \"13:00\"}]}]", "line 3: exchanges[0].sessions[1].opens: is before the end of the session before"},
        {"100", "100.25", "line 4: stocks[0].price: 100.25 is not a multiple of the tick 0.5"},
        {"0.5", "20", "line 4: stocks[0]: the limit 0.1 of the price 100 is less than the tick 20"},
        {"0.5", "1, \"limit\": 0.009999", "line 4: stocks[0].limit: the limit 0.009999 of the price 100 is less than the tick 1"},
        {"\"tick\": 1}", "\"tick\": 21}", "line 6: options[0]: the limit 0.1 of the price 200 is less than the tick 21"},
        {"10}", "1000000, \"maxQuantity\": 2501}", "line 5: futures[0].maxQuantity: an order of 2501 may come to an amount above 1000000000000"},
        {"200], ", "100000000], \"maxQuantity\": 501, ", "line 6: options[0].maxQuantity: an order of 501 may come to an amount above 1000000000000"},
        {"5}", "5, \"marginRate\": 100, \"commissionRate\": 100}", ""},
        {"0.5", "0.5, \"commissionPerLot\": 1000000, \"maxQuantity\": 1000001", "line 4: stocks[0].maxQuantity: an order of 1000001 may come to a commission above 1000000000000"},
        {"10}", "10, \"quarters\": 1, \"expiries\": [\"2026-12-16\"]}", "line 5: futures[0]: quarters and expiries are both given"},
        {"10}", "10, \"expiries\": [\"2026-11-05\", \"2027-01-20\", \"2026-12-16\"]}", "line 5: futures[0].expiries[0]: 2026-11-05 is before the market's first day\nline 5: futures[0].expiries[2]: 2026-12-16 is not after the day before it"},
        {"10}", "10, \"expiries\": [\"2026-11-06\", \"2026-11-30\"]}", "line 5: futures[0].expiries[1]: 2026-11-30 is in the month of the day before it"},
        {"10}", "10, \"carry\": -0.1, \"expiries\": [\"2027-01-01\",\"2027-02-01\",\"2027-03-01\",\"2027-04-01\",\"2027-05-01\",\"2027-06-01\",\"2027-07-01\",\"2027-08-01\",\"2027-09-01\",\"2027-10-01\"]}", "line 5: futures[0].carry: leaves nothing of the price of contract 10"},
        {"200], ", "200], \"months\": 3, ", "line 6: options[0].months: 3 is more than F has contracts"},
        {"100, 200", "100, 200, 200", "line 6: options[0].strikes[2]: 200 is not above the one before"},
        {"\"at\"", "\"after\": 1, \"at\"", "line 7: incidents[0]: after and at are both given"},
        {"\"at\": \"10:00:00\", ", "", "line 7: incidents[0]: after or at is missing"},
        {"\"for\": 5, ", "", "line 7: incidents[0]: for is missing"},
        {"closeMarket", "rollDay", "line 7: incidents[0].for: does not go with rollDay\nline 7: incidents[0].exchange: does not go with rollDay"},
        {"\"closeMarket\"", "\"delayAnswers\", \"every\": 2", "line 7: incidents[0]: delayMs is missing\nline 7: incidents[0].every: does not go with delayAnswers\nline 7: incidents[0].exchange: does not go with delayAnswers"},
        // clang-format on
    });
}

TEST(MarketFile, TellsWhyItIsNoJson) {
    ExpectMistakes({
        // clang-format off
        {"100, 200", "100 200", "line 6: Missing a comma or ']' after an array element."},
        {"],\n", "]\n", "line 3: Missing a comma or '}' after an object member."},
        {"\"S\"", "\"S\\udc00\"", "line 4: The surrogate pair in string is invalid."},
        {"\"S\"", "\"\\ud83d\\ud83d\"", "line 4: The surrogate pair in string is invalid."},
        {"100", "01", "line 4: Missing a comma or '}' after an object member."},
        {"100", "1e999", "line 4: Number too big to be stored in double."},
        {kSmall, "", "line 1: The document is empty."},
        {kSmall, kSmall + "\n{}", "line 9: The document root must not be followed by other values."},
        {kSmall, kSmall + "\n" + std::string(1, '\0') + "{}", "line 9: Invalid value."},
        {"\"S\"", "\"\xFF\"", "the file is not UTF-8"},
        // clang-format on
    });
}

// What a product has, in the units of the plan.
std::string Line(const ProductPlan& product) {
    return ToUtf8(Format(L"%s %s tick %lld size %d most %d limit %lld margin %lld cost %lld + %lld",
                         product.security, product.exchange, product.tickE10, product.quoteSize,
                         product.maxQuantity, product.limitPpm, product.marginPpm,
                         product.commissionPpm, product.commissionLotE6));
}

std::string Line(const AccountSetup& account) {
    return ToUtf8(account.brokerId + L"|" + account.brokerName + L"|" + account.account + L"|" +
                  account.accountName + L"|" + account.loginId + L"|" + account.userName);
}

TEST(MarketFile, TheCompleteFileIsRead) {
    const MarketReading reading = ReadMarketText(ExampleOfTheDocuments(), kNow);
    ASSERT_EQ(MistakesOf(reading), "");
    const MarketPlan& plan = *reading.plan;
    EXPECT_EQ(plan.seed, 20'261'120u);
    EXPECT_EQ(plan.speed, 60);
    EXPECT_EQ(plan.stepMs, 500);
    EXPECT_EQ(plan.start, At(20261120, 30'600'000));
    EXPECT_EQ(plan.currency, L"XTS");
    EXPECT_EQ(plan.serviceKeys.at(1).key, L"second-key");
    EXPECT_EQ(plan.serviceKeys.at(1).systemName, L"SECOND");

    const AccountSetup& account = plan.accounts.at(1);
    EXPECT_EQ(Line(account),
              "PAPER|Broker on paper|1000002|Futures only|second|Zo\xC3\xAB of the desk");
    EXPECT_EQ(account.balanceE6, 2'500'000'500'001);
    EXPECT_EQ(account.rates.commissionPpm, 500'000);
    EXPECT_EQ(account.rates.marginPpm, 1'250'000);
    EXPECT_EQ(account.mayTrade, (std::array{false, true, true}));

    EXPECT_EQ(plan.exchanges.at(2).exchange, L"PAPO");
    EXPECT_TRUE(plan.exchanges.at(2).sessions.empty());
    const std::vector<Session>& sessions = plan.exchanges.at(1).sessions;
    EXPECT_EQ(sessions.at(0).opensMs, 31'500'000);
    EXPECT_EQ(sessions.at(0).closesMs, 49'530'000);
    EXPECT_EQ(sessions.at(1).closesMs, 86'400'000);

    ASSERT_EQ(plan.incidents.size(), 7u);
    for (std::size_t i = 0; i < 7; ++i)
        EXPECT_EQ(plan.incidents[i].kind, static_cast<IncidentKind>(i));
    EXPECT_EQ(plan.incidents[0].afterMs, 90'500);
    EXPECT_EQ(plan.incidents[0].atMs, std::nullopt);
    EXPECT_EQ(plan.incidents[0].delayMs, 2'000);
    EXPECT_EQ(plan.incidents[1].every, 3);
    EXPECT_EQ(plan.incidents[2].atMs, 37'800'000);
    EXPECT_EQ(plan.incidents[2].afterMs, std::nullopt);
    EXPECT_EQ(plan.incidents[2].forMs, 15'250);
    EXPECT_EQ(plan.incidents[4].exchange, L"PAPX");

    const StockPlan& stock = plan.stocks.at(1);
    EXPECT_EQ(Line(stock), "BETU PAPO tick 10000 size 9000 most 500000 limit 200000 margin 450000 "
                           "cost 1425 + 10000");
    EXPECT_EQ(stock.name, L"Betu on paper");
    EXPECT_EQ(stock.priceE10, 455'000'000'000);
    EXPECT_EQ(stock.volatilityPpm, 350'000);

    const FuturePlan& future = plan.futures.at(0);
    EXPECT_EQ(Line(future), "IDX PAPF tick 10000000000 size 100 most 1000 limit 100000 margin "
                            "60000 cost 0 + 2000000");
    EXPECT_EQ(future.multiplier, 50);
    EXPECT_EQ(future.carryPpm, 500);
    EXPECT_EQ(future.quarters, 4);
    EXPECT_EQ(plan.futures.at(1).carryPpm, -10'000);
    EXPECT_EQ(plan.futures.at(1).expiries,
              (std::vector{DayOf(20261120), DayOf(20261216), DayOf(20270120)}));

    const OptionPlan& chain = plan.options.at(0);
    EXPECT_EQ(Line(chain), "IDX PAPF tick 10000000000 size 20 most 200 limit 100000 margin 100000 "
                           "cost 20 + 1000000");
    EXPECT_EQ(chain.months, 2);
    EXPECT_EQ(chain.strikes, (std::vector<std::int64_t>{18'000, 19'000, 20'000, 21'000, 22'000}));
}

TEST(MarketFile, WhatIsLeftOutHasItsDefault) {
    // No permissions are none, and no member of that name is all.
    const MarketReading reading =
        ReadMarketText(Edited("5}", "5}, {\"brokerId\": \"B\", \"account\": \"2\", \"balance\": 0, "
                                    "\"permissions\": []}"),
                       kNow);
    ASSERT_EQ(MistakesOf(reading), "");
    const MarketPlan& plan = *reading.plan;
    EXPECT_EQ(plan.seed, 20'250'101u);
    EXPECT_EQ(plan.start, std::nullopt);
    EXPECT_EQ(Line(plan.accounts[0]), "B|B|1|1|paper|PAPER user");
    EXPECT_EQ(plan.accounts[0].rates.marginPpm, kE6);
    EXPECT_EQ(plan.accounts[0].mayTrade, (std::array{true, true, true}));
    EXPECT_EQ(plan.accounts[1].mayTrade, (std::array{false, false, false}));
    const std::string others = " size 100 most 1000 limit 100000 margin 100000 cost 0 + 0";
    EXPECT_EQ(Line(plan.stocks[0]), "S X tick 5000000000 size 1000 most 1000000 limit 100000 "
                                    "margin 400000 cost 0 + 0");
    EXPECT_EQ(Line(plan.futures[0]), "F X tick 10000000000" + others);
    EXPECT_EQ(Line(plan.options[0]), "F X tick 10000000000" + others);
    EXPECT_EQ(plan.futures[0].quarters, 2);
    EXPECT_EQ(plan.incidents[0].every, 1);
}

TEST(MarketFile, NumbersAreExact) {
    const auto plan = [](const std::string& from, const std::string& to) {
        MarketReading reading = ReadMarketText(Edited(from, to), kNow);
        EXPECT_EQ(MistakesOf(reading), "") << to;
        return reading.plan.value_or(MarketPlan{});
    };
    const struct {
        std::string price, tick;
        std::int64_t priceE10, tickE10;
    } kPrices[] = {
        {"1.3", "0.1", 13'000'000'000, 1'000'000'000},
        {"99999999.999999", "0.000001", 999'999'999'999'990'000, 10'000},
        {"0.0000100000", "0.000001", 100'000, 10'000},
        {"100000000", "0.01", 1'000'000'000'000'000'000, 100'000'000},
    };
    for (const auto& each : kPrices) {
        const MarketPlan market = plan(
            "100, \"tick\": 0.5", each.price + ", \"maxQuantity\": 5000, \"tick\": " + each.tick);
        ASSERT_EQ(market.stocks.size(), 1u) << each.price;
        EXPECT_EQ(market.stocks[0].priceE10, each.priceE10) << each.price;
        EXPECT_EQ(market.stocks[0].tickE10, each.tickE10) << each.tick;
    }
    EXPECT_EQ(plan("{", "{\"seed\": 18446744073709551615,").seed, UINT64_MAX);
    EXPECT_EQ(plan("{", "{\"seed\": 9007199254740993,").seed, 9'007'199'254'740'993u);
    EXPECT_EQ(plan("\"balance\": 5", "\"balance\": 1000000000000").accounts[0].balanceE6,
              1'000'000'000'000'000'000);
    // The most that an order may come to; with a high margin it is too much.
    const std::string largest = "1000000, \"maxQuantity\": 2500";
    EXPECT_EQ(plan("10}", largest + "}").futures[0].maxQuantity, 2'500);
    std::string pledged = Edited("10}", largest + ", \"margin\": 1}");
    pledged.replace(pledged.find("5}"), 2, "5, \"marginRate\": 1.000001}");
    EXPECT_EQ(MistakesIn(pledged), "line 5: futures[0].maxQuantity: an order of 2500 may come to a "
                                   "margin above 1000000000000");
}

TEST(MarketFile, TheFirstDayIsThatOfTheFileOrToday) {
    const std::string text = Edited("10}", "10, \"expiries\": [\"2026-11-20\"]}").substr(1);
    const std::string late =
        "line 5: futures[0].expiries[0]: 2026-11-20 is before the market's first day";
    const struct {
        std::string start;
        std::int32_t today;
        std::string mistakes;
    } kCases[] = {
        {"", 20261120, ""},
        {"", 20261121, late},
        {"\"start\": \"2026-11-20 23:59:59\",", 20261121, ""},
        {"\"start\": \"2026-11-21 00:00:00\",", 20261106, late},
        {"\"start\": 5,", 20261121, "line 1: start: must be a text, not a number"},
    };
    for (const auto& each : kCases)
        EXPECT_EQ(MistakesOf(ReadMarketText("{" + each.start + text, At(each.today, 0))),
                  each.mistakes);
}

TEST(MarketFile, MistakesComeInTheOrderOfLinesAndAtMostFifty) {
    std::string text = Edited("\"10:00:00\"", "25");
    text.replace(text.find("\"B\""), 3, "\"\"");
    text.replace(text.find("0.5"), 3, "0.3");
    EXPECT_EQ(MistakesIn(text),
              "line 2: accounts[0].brokerId: \"\" is not 1 to 16 letters, digits and \"_\"\n"
              "line 4: stocks[0].price: 100 is not a multiple of the tick 0.3\n"
              "line 7: incidents[0].at: must be a text, not a number");

    const auto many = [](int count) {
        std::string members;
        for (int i = 0; i < count; ++i)
            members += "\"a" + std::to_string(i) + "\": 0,\n";
        return ReadMarketText(Edited("}],\n\"exchanges\"", "}],\n" + members + "\"exchanges\""),
                              kNow)
            .mistakes;
    };
    EXPECT_EQ(many(50).size(), 50u);
    EXPECT_EQ(many(50).back(), L"line 52: a49: unknown");
    ASSERT_EQ(many(60).size(), 51u);
    EXPECT_EQ(many(60)[49], L"line 52: a49: unknown");
    EXPECT_EQ(many(60)[50], L"and more");
}

std::string Repeat(const std::string& text, std::size_t times) {
    std::string out;
    for (; times > 0; --times)
        out += text;
    return out;
}

TEST(MarketFile, HugeTextsAreRefusedNotRead) {
    const struct {
        std::string text, mistakes;
    } kCases[] = {
        {Repeat("[", 32) + Repeat("]", 32), "line 1: must be an object, not a list"},
        {Repeat("[", 33) + Repeat("]", 33), "line 1: More than 32 levels."},
        {Repeat("[\n", 500'000), "line 33: More than 32 levels."},
        {Repeat("{\"a\":", 300'000), "line 1: More than 32 levels."},
        {"[0" + Repeat(",0", 1'000'000) + "]", "line 1: More than 1000000 values."},
        {std::string(kMost, ' '), "line 1: The document is empty."},
        {std::string(kMost + 1, ' '), "the file has more than 16 MiB"},
    };
    for (const auto& each : kCases)
        EXPECT_EQ(MistakesIn(each.text), each.mistakes);
    EXPECT_EQ(ReadMarketText("{\"a\":" + std::string(8'000'000, '9'), kNow).mistakes.size(), 1u);
}

TEST(MarketFile, ComesFromAFile) {
    const TempFolder folder;
    const auto read = [&](const std::string& name) {
        return MistakesOf(ReadMarketFile(folder / name, kNow));
    };
    WriteFile(folder / "good", "\xEF\xBB\xBF" + kSmall);
    WriteFile(folder / "large", std::string(kMost + 1, ' '));
    WriteFile(folder / "lines", "{\r\n\"accounts\": 1,\r\n\"a\": [\r\n0]}");
    EXPECT_EQ(read("good"), "");
    EXPECT_EQ(read("none"), "the file is missing");
    EXPECT_EQ(read("."), "the file cannot be read");
    EXPECT_EQ(read("large"), "the file has more than 16 MiB");
    EXPECT_EQ(read("lines"), "line 1: exchanges is missing\n"
                             "line 1: there must be a stock or a future\n"
                             "line 2: accounts: must be a list, not a number\n"
                             "line 3: a: unknown");
}

} // namespace
} // namespace halvane::paper
