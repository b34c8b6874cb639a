#include "foundation/support/Utf.h"
#include "paper/accounts/Risk.h"
#include "paper/base/BlackScholes.h"
#include "tests/paper/PaperTests.h"

#include <cmath>

namespace halvane::paper {
namespace {

constexpr const wchar_t* kPut = L"OV.O.PAPF.IDX.202612.P.21000";

class RiskTest : public ExchangeTest {
  protected:
    RiskTest() : ExchangeTest(BuiltInMarket(DayOf(20261106))) {}

    void Hold(const wchar_t* symbol, std::int32_t side, std::int32_t quantity) {
        ASSERT_EQ(Send(exchange_, {symbol, side, kMarket, kImmediateOrCancel, quantity}),
                  kAccepted);
    }
    double LastOf(const wchar_t* symbol) {
        return static_cast<double>(exchange_.FindBook(symbol)->LastE10()) / 1e10;
    }
    OptionValues Model(const wchar_t* symbol, double strike, bool call) {
        const Day expiry = exchange_.FindBook(symbol)->TheInstrument().expiry;
        const auto days = std::chrono::sys_days(expiry) - std::chrono::sys_days(Today());
        const double years = static_cast<double>(days.count() + 1) / 365.0;
        return BlackScholes({call, LastOf(kFuture), strike, 0.0, 0.15, years});
    }
};

TEST_F(RiskTest, OptionsInMoneyByTheModel) {
    Hold(kCall, kSell, 1);
    const double net = static_cast<double>(TheAccount().Held()[0]->net);
    const OptionValues model = Model(kCall, 20000, true);
    const double spot = LastOf(kFuture);
    const double lot = 50 * net;
    const double intrinsic = std::max(spot - 20000, 0.0);
    PaperItem row = Row(0);
    const std::pair<const wchar_t*, double> kCases[] = {
        {L"PosDelta", model.delta * net},
        {L"$Delta", model.delta * spot * lot},
        {L"$Gamma", model.gamma * spot * spot * lot},
        {L"1Pct$Gamma", model.gamma * spot * spot * lot / 100},
        {L"1PctTd$Gamma", model.gamma * spot * spot * lot / 100},
        {L"$Theta", model.theta * lot / 365},
        {L"$Charm", model.charm * spot * lot / 365},
        {L"$Vega", model.vega * lot / 100},
        {L"$Rho", model.rho * lot / 100},
        {L"$Vanna", model.vanna * spot * lot},
        {L"1Pct$Vanna", model.vanna * spot * lot / 100},
        {L"$Vomma", model.vomma * lot / 10000},
        {L"$Speed", model.speed * spot * spot * spot * lot / 100},
        {L"$Zomma", model.zomma * spot * spot * lot / 100},
        {L"TimeValue", (LastOf(kCall) - intrinsic) * lot},
        {L"TheoMktVal", model.value * lot},
        {L"TheoPNL", model.value * lot - LastOf(kCall) * lot},
    };
    for (const auto& [name, value] : kCases) {
        const double figure = static_cast<double>(ToInt64(row.GetNamed(name))) / 1e10;
        EXPECT_NEAR(figure, value, std::abs(value) * 1e-9 + 1e-4) << ToUtf8(name);
        EXPECT_NE(figure, 0.0) << ToUtf8(name);
    }
}

// Of every position the tracker and its row tell the same; the parts make the whole; the account's
// funds are the sums.
TEST_F(RiskTest, RowsTrackerAndFundsAgree) {
    Hold(kStock, kBuy, 300);
    Hold(kCall, kBuy, 3);
    Hold(kPut, kSell, 2);
    Hold(kFuture, kSell, 2);
    clock_.Advance(24 * 60 * 60 * 1000);
    exchange_.Step();
    Hold(kCall, kSell, 1);
    Hold(kPut, kSell, 1);
    const wchar_t* const kNames[][3] = {
        {L"$Delta", L"Td$Delta", L"Yd$Delta"}, {L"$Gamma", L"Td$Gamma", L"Yd$Gamma"},
        {L"$Theta", L"Td$Theta", L"Yd$Theta"}, {L"1Pct$Gamma", L"1PctTd$Gamma", L"1PctYd$Gamma"},
        {L"CallOI", L"TdCallOI", L"YdCallOI"}, {L"TimeValue", L"TdTimeValue", L"YdTimeValue"},
        {L"PutOI", L"TdPutOI", L"YdPutOI"},    {L"$Zomma", L"Td$Zomma", L"Yd$Zomma"},
    };
    std::int64_t theoretical = 0;
    for (std::size_t at = 0; at < TheAccount().Held().size(); ++at) {
        PaperItem row = Row(at);
        const Text symbol(row.GetText(position_id::kSymbol));
        theoretical += ToInt64(row.GetNamed(L"TheoMktVal"));
        for (const auto& [whole, today, carried] : kNames) {
            const std::int64_t figure = Figure(symbol, whole);
            EXPECT_EQ(figure, Figure(symbol, today) + Figure(symbol, carried));
            if (const PaperValue named = row.NamedValue(whole); named.index() != 0) {
                EXPECT_EQ(AsInt64(named), figure);
            }
        }
        EXPECT_EQ(Figure(symbol, L"TheoPnL"), ToInt64(row.GetNamed(L"TheoPNL")));
    }
    EXPECT_EQ(Figure(kPut, L"Td$Delta") < 0, Figure(kPut, L"Yd$Delta") < 0);
    PaperItem money = Money();
    EXPECT_EQ(ToInt64(money.GetNamed(L"TheoMktVal")), theoretical / kE4);
    EXPECT_EQ(
        ToInt64(money.GetNamed(L"TheoMktValEquity")) - theoretical / kE4,
        money.GetInt64(margin_id::kEndingBalance) +
            money.GetInt64(margin_id::kOpenTradeEquity)); // cash and what the futures have brought
}

// A lot short that is larger than any amount that fits.
TEST_F(RiskTest, TakesTheNearestLimit) {
    Position position{.book = exchange_.FindBook(kCall)};
    position.net = -1'000'000'000;
    for (const NamedNumber& figure : RiskOf(position)) {
        EXPECT_NE(figure.value, kNoInt64);
        if (figure.name == L"$Gamma") {
            EXPECT_LT(figure.value, -9'223'372'036'854'000'000);
        }
    }
}

} // namespace
} // namespace halvane::paper
