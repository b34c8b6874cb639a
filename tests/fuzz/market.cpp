#include "paper/base/Codes.h"
#include "paper/base/PaperItem.h"
#include "paper/exchange/Exchange.h"
#include "paper/file/MarketFile.h"
#include "paper/rows/Parameters.h"
#include "tests/JumpingClock.h"
#include "tests/fuzz/Fuzz.h"
#include "tradeapi/PropertyIds.h"

namespace halvane::paper {
namespace {

// A market that was let in is one to trade on.
void Trade(MarketPlan plan) {
    const Day today = plan.start ? DayOf(*plan.start) : Today();
    Exchange exchange(BuildMarket(std::move(plan), today));
    int orders = 0;
    for (const Book& book : exchange.Books()) {
        if (++orders > 20) break;
        const Instrument& instrument = book.TheInstrument();
        const bool stock = instrument.kind == InstrumentKind::Stock;
        const AccountSetup& account = exchange.Accounts()[0]->Setup();
        PaperParameters order;
        const auto id = [&](std::int32_t ofStock, std::int32_t ofOther) {
            return stock ? ofStock : ofOther;
        };
        order.PutText(fut_opt_order_id::kBrokerId, account.brokerId);
        order.PutText(fut_opt_order_id::kAccount, account.account);
        order.PutText(id(stock_order_id::kSymbol, fut_opt_order_id::kSymbol), instrument.symbol);
        order.PutInt(id(stock_order_id::kSide, fut_opt_order_id::kSide), 1 + orders % 2);
        order.PutInt(id(stock_order_id::kOrderType, fut_opt_order_id::kOrderType), kMarket);
        order.PutInt(id(stock_order_id::kOrderQty, fut_opt_order_id::kOrderQty), orders);
        exchange.NewOrder(ReadTicket(stock ? kStockOrder : kFutOptOrder, order));
    }
    for (int step = 0; step < 5; ++step)
        exchange.Step();
    for (const auto& account : exchange.Accounts())
        Keep(account->Balances(), "the books balance");
}

} // namespace
} // namespace halvane::paper

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace halvane;
    static JumpingClock clock;
    static const ScopedClock scoped(clock);
    const std::string text(reinterpret_cast<const char*>(data), size);
    paper::MarketReading reading = paper::ReadMarketText(text, paper::LocalNow());
    Keep(reading.plan.has_value() == reading.mistakes.empty(), "a market, or what is wrong");
    Keep(reading.mistakes.size() <= 51, "50 mistakes are enough");
    for (const Text& mistake : reading.mistakes)
        Keep(!mistake.empty() && !ToUtf8(mistake).empty(), "a mistake has words");
    if (reading.plan) paper::Trade(*std::move(reading.plan));
    return 0;
}
