#include "foundation/support/Clock.h"
#include "foundation/support/Process.h"
#include "foundation/support/Utf.h"
#include "paper/Paper.h"
#include "tradeapi/PropertyIds.h"
#include "tradeapi/TradeEvents.h"

#include <benchmark/benchmark.h>

#include <fstream>

namespace halvane {
namespace {

constexpr std::int32_t kStockOrder = 8, kBuy = 1, kLimit = 2, kImmediateOrCancel = 2;

// An order at 110 that meets nobody and is cancelled at once: two reports. All orders here are like
// it.
void PutOrder(OrderParameters& order) {
    order.PutText(stock_order_id::kBrokerId, L"PAPER");
    order.PutText(stock_order_id::kAccount, L"1000001");
    order.PutText(stock_order_id::kSymbol, L"OV.S.PAPX.ALFA");
    order.PutText(stock_order_id::kPrice, L"1100000000000");
    order.PutInt(stock_order_id::kSide, kBuy);
    order.PutInt(stock_order_id::kOrderType, kLimit);
    order.PutInt(stock_order_id::kTimeInForce, kImmediateOrCancel);
    order.PutInt(stock_order_id::kOrderQty, 1);
}

constexpr const char* kFastMarket = R"({
 "speed": 1440, "start": "2026-11-20 00:00:00",
 "accounts": [{"brokerId": "PAPER", "account": "1000001", "balance": 10000000}],
 "exchanges": [{"exchange": "PAPX"}],
 "stocks": [{"security": "ALFA", "exchange": "PAPX", "price": 120, "tick": 0.05}],
 "futures": [{"security": "IDX", "exchange": "PAPX", "price": 20000, "tick": 1, "multiplier": 50}],
 "options": [{"future": "IDX", "strikes": [18000, 19000, 20000, 21000, 22000], "tick": 1}]})";

// A tenth of a second of a day that lasts a minute; `speed` is how fast the market really goes.
void FastMarket(benchmark::State& state) {
    const Text path = ExecutableFolder() + L"FastMarket.json";
    std::ofstream(ToPath(path)) << kFastMarket;
    const std::unique_ptr<TradeApi> api = MakePaperTradeApi();
    if (api->Connect(L"paper:" + path, L"Bench", L"key", 1) != 1)
        return state.SkipWithError("the platform does not start");
    const std::uint32_t start = TheClock().TickCount();
    for ([[maybe_unused]] auto round : state)
        TheClock().Sleep(100);
    const auto row = api->CreateItem(ItemClass::Margin);
    api->GetDataItem(kMargins, 0, L"PAPER-1000001", *row);
    const std::int32_t time = row->GetInt(margin_id::kTransactTime),
                       minutes = time / 100'000; // hhmmssmmm, hhmm
    state.counters["speed"] = ((minutes / 100 * 60 + minutes % 100) * 60'000.0 + time % 100'000) /
                              (TheClock().TickCount() - start);
}
BENCHMARK(FastMarket)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);

constexpr int kOrders = 1'000; // in a round

// Reads the row of each report, as the publisher does, and counts them.
class Reader : public TradeEvents {
  public:
    explicit Reader(TradeApi& api) : api_(api) {}

    void WaitFor(std::int64_t reports) {
        for (std::int64_t now = reports_; now < reports; now = reports_)
            reports_.wait(now);
    }
    void OnExecutionReport(TextView reportId) override {
        api_.QueryReport(kOneReport, reportId, *api_.CreateItem(ItemClass::ExecutionReport));
        ++reports_;
        reports_.notify_one();
    }
    void OnAccountUpdate(std::int32_t, TextView, std::int32_t) override {}
    void OnCommandMsg(std::int32_t, std::int32_t, TextView) override {}
    void OnFilledReport(TextView) override {}
    void OnReportReset() override {}
    void OnSetTopic(TextView, std::int32_t, TextView, const std::optional<Text>&) override {}
    void OnPositionTracker() override {}

  private:
    TradeApi& api_;
    std::atomic<std::int64_t> reports_ = 0;
};

void PlatformOrders(benchmark::State& state) {
    const std::unique_ptr<TradeApi> api = MakePaperTradeApi();
    Reader reader(*api);
    if (!api->Advise(reader) || api->Connect(L"paper:", L"Bench", L"key", 1) != 1)
        return state.SkipWithError("the platform does not start");
    std::int64_t reports = 0;
    for ([[maybe_unused]] auto round : state) {
        for (int order = 0; order < kOrders; ++order) {
            const auto parameters = api->CreateParameters(ItemClass::StockOrder);
            PutOrder(*parameters);
            api->NewOrder(kStockOrder, *parameters);
        }
        reader.WaitFor(reports += 2 * kOrders);
    }
    state.SetItemsProcessed(state.iterations() * kOrders);
}
BENCHMARK(PlatformOrders)->UseRealTime();

} // namespace
} // namespace halvane
