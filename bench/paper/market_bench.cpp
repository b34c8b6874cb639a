#include "foundation/support/Numbers.h"
#include "paper/base/Codes.h"
#include "paper/base/PaperItem.h"
#include "paper/exchange/Exchange.h"
#include "paper/rows/Parameters.h"
#include "tradeapi/PropertyIds.h"

#include <benchmark/benchmark.h>

namespace halvane::paper {
namespace {

// Far below the price of one of the stocks.
void Rest(Exchange& exchange, std::int64_t orders) {
    const Instrument& stock = exchange.Books().front().TheInstrument();
    for (std::int64_t order = 0; order < orders; ++order) {
        PaperParameters parameters;
        parameters.PutText(stock_order_id::kBrokerId, L"PAPER");
        parameters.PutText(stock_order_id::kAccount, L"1000001");
        parameters.PutText(stock_order_id::kSymbol, stock.symbol);
        parameters.PutText(stock_order_id::kPrice,
                           DecimalText(stock.lowerE10 + order % 40 * stock.tickE10));
        parameters.PutInt(stock_order_id::kSide, kBuy);
        parameters.PutInt(stock_order_id::kOrderType, kLimit);
        parameters.PutInt(stock_order_id::kTimeInForce, kDay);
        parameters.PutInt(stock_order_id::kOrderQty, 1);
        exchange.NewOrder(ReadTicket(kStockOrder, parameters));
    }
}

void MarketTick(benchmark::State& state) {
    Exchange exchange(BuildMarket(BuiltInPlan(), Today()));
    Rest(exchange, state.range(0));
    for ([[maybe_unused]] auto tick : state) {
        exchange.Step();
        exchange.TakeNotices();
    }
}
BENCHMARK(MarketTick)->Arg(0)->Arg(100)->Arg(10'000);

} // namespace
} // namespace halvane::paper
