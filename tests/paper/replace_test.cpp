#include "tests/paper/PaperTests.h"

namespace halvane::paper {
namespace {

class ReplaceTest : public ExchangeTest {
  protected:
    std::int32_t Replace(const Text& reportId, std::int32_t quantity,
                         std::int64_t priceE10 = kNoInt64, std::int64_t stopE10 = kNoInt64) {
        PaperParameters parameters;
        parameters.PutText(replace_id::kReportId, reportId);
        parameters.PutInt(replace_id::kReplaceExecType, 0);
        parameters.PutInt(replace_id::kOrderQty, quantity);
        if (priceE10 != kNoInt64) parameters.PutInt64(replace_id::kPrice, priceE10);
        if (stopE10 != kNoInt64) parameters.PutInt64(replace_id::kStopPrice, stopE10);
        return exchange_.ReplaceOrder(ReadReplacement(parameters));
    }
};

TEST_F(ReplaceTest, RefusesWhatCannotBe) {
    const Text limit = EnterId({kStock, kBuy, kLimit, kDay, 3, 102 * kE10}); // 1 filled
    const Text stop = EnterId({kStock, kSell, kStop, kDay, 3, kNoInt64, 95 * kE10});
    const Text market = EnterId({kFuture, kSell, kMarket, kDay, 3}); // 1 filled
    const struct {
        Text reportId;
        std::int32_t quantity;
        std::int64_t price, stop;
        std::int32_t result;
    } kCases[] = {
        {L"R0", 1, kNoInt64, kNoInt64, kUnknownReport},
        {L"", 1, kNoInt64, kNoInt64, kUnknownReport},
        {limit, 1, kNoInt64, kNoInt64, kBadQuantity}, // no more than is filled
        {limit, -5, kNoInt64, kNoInt64, kBadQuantity},
        {limit, 2'000'000, kNoInt64, kNoInt64, kBadQuantity},
        {limit, 999'999, kNoInt64, kNoInt64, kFundsShort},
        {limit, 0, 0, kNoInt64, kBadPrice},
        {limit, 0, 100 * kE10 + 1, kNoInt64, kOffTick},
        {limit, 0, 200 * kE10, kNoInt64, kOutsidePriceLimits},
        {limit, 0, kNoInt64, 100 * kE10, kBadStopPrice}, // has none
        {stop, 0, 100 * kE10, kNoInt64, kBadPrice},      // has none
        {market, 0, 100 * kE10, kNoInt64, kBadPrice},
        {stop, 0, kNoInt64, 94 * kE10, kAccepted},
        {market, 2, kNoInt64, kNoInt64, kAccepted},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(Replace(each.reportId, each.quantity, each.price, each.stop), each.result);
    }
    EXPECT_EQ(Trace(), "5:0 5:1");
}

TEST_F(ReplaceTest, ABetterPriceTradesAtOnce) {
    const Text order = EnterId({kStock, kBuy, kLimit, kDay, 5, 99 * kE10});
    EXPECT_EQ(Replace(order, 3, 102 * kE10), kAccepted);
    EXPECT_EQ(Trace(), "5:0 1:1 f1");
    EXPECT_EQ(lastReport_.state.quantity, 3);
    EXPECT_EQ(lastReport_.state.leaves, 2);
    EXPECT_EQ(lastReport_.state.priceE10, 102 * kE10);
    EXPECT_EQ(exchange_.CancelOrder(order), kAccepted);
    EXPECT_EQ(Trace(), "4:1");
    EXPECT_EQ(lastReport_.state.leaves, 0);
    EXPECT_EQ(exchange_.CancelOrder(order), kNotWorking);
    EXPECT_EQ(Replace(order, 9), kNotWorking);
    EXPECT_EQ(exchange_.CancelOrder(L"nobody"), kUnknownReport);
}

} // namespace
} // namespace halvane::paper
