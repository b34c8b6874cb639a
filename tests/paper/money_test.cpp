#include "paper/rows/AccountItems.h"
#include "tests/paper/PaperTests.h"

#include <algorithm>
#include <map>
#include <random>

namespace halvane::paper {
namespace {

// Keeps its own books from what the exchange tells, in the plainest way, and compares.
class Auditor {
  public:
    explicit Auditor(const Exchange& exchange) : exchange_(exchange) {}

    void Read(const std::vector<Notice>& notices) {
        for (const Notice& notice : notices) {
            if (const auto* report = std::get_if<ReportNotice>(&notice)) {
                states_[report->order] = report->state;
                Note(report->order->ReportId(), report->state.execType, report->state.stamp.time);
            } else if (const auto* fill = std::get_if<FillNotice>(&notice)) {
                fills_.push_back(fill->fill);
                CheckFill(*fill->fill);
                Note(fill->fill->FillId(), fill->fill->quantity, fill->fill->priceE10);
            }
        }
    }

    void Check() {
        for (const auto& account : exchange_.Accounts())
            CheckAccount(*account);
        std::map<const Order*, std::int32_t> filled;
        for (const Fill* fill : fills_)
            filled[&fill->order] += fill->quantity;
        for (const auto& [order, state] : states_) {
            ASSERT_EQ(state.filled * (order->second ? 2 : 1), filled[order]);
            const bool working = state.leaves > 0;
            ASSERT_TRUE(!working || state.filled + state.leaves == state.quantity);
        }
    }

    std::vector<Text> Working() const {
        std::vector<Text> ids;
        for (const auto& [order, state] : states_) {
            if (state.leaves > 0) ids.push_back(order->ReportId());
        }
        std::sort(ids.begin(), ids.end()); // not in the order of addresses
        return ids;
    }

    std::size_t Fills() const { return fills_.size(); }
    const Text& Journal() const { return journal_; }

  private:
    void Note(const Text& id, std::int64_t a, std::int64_t b) {
        journal_ += id + L" " + DecimalText(a) + L" " + DecimalText(b) + L"\n";
    }

    void CheckFill(const Fill& fill) {
        const std::int64_t limit = states_[&fill.order].priceE10;
        if (limit == kNoInt64 || fill.order.second) return;
        ASSERT_TRUE(fill.order.IsBuy() ? fill.priceE10 <= limit : fill.priceE10 >= limit);
    }

    // Cash and positions at market are what was there at first and what the fills have brought.
    void CheckAccount(const Account& account) {
        std::int64_t equity = account.Setup().balanceE6;
        std::map<const Book*, std::int64_t> net;
        for (const Fill* fill : fills_) {
            if (&fill->order.account != &account) continue;
            const Book& book = fill->book;
            const std::int64_t signedQty = fill->side == kBuy ? fill->quantity : -fill->quantity;
            const std::int64_t gain = (book.LastE10() - fill->priceE10) / kE4;
            equity += gain * signedQty * book.TheInstrument().multiplier;
            net[&book] += signedQty;
        }
        PaperItem money(ItemClass::Margin);
        PutMargin(money, account, L"XTS", Now());
        ASSERT_EQ(money.GetInt64(margin_id::kAccountValueAtMarket),
                  equity - money.GetInt64(margin_id::kCommissions));

        std::int64_t commission = 0;
        Frozen frozen;
        ASSERT_EQ(account.Held().size(), net.size());
        for (const Position* position : account.Held()) {
            ASSERT_EQ(position->net, net[position->book]);
            commission += position->commissionE6;
        }
        ASSERT_EQ(commission, money.GetInt64(margin_id::kCommissions));
        for (const auto& [order, state] : states_) {
            if (&order->account == &account)
                (frozen += order->frozen.first) += order->frozen.second;
        }
        ASSERT_EQ(frozen.Total(), account.Reckon().frozen.Total());
    }

    const Exchange& exchange_;
    std::map<const Order*, OrderState> states_;
    std::vector<const Fill*> fills_;
    Text journal_;
};

// Orders as a restless crowd would send them, some of them absurd.
class Crowd {
  public:
    explicit Crowd(Exchange& exchange) : exchange_(exchange) {}

    std::int32_t SendOne() {
        if (Draw(8) == 0) return SendSpread();
        const auto& instruments = exchange_.TheMarket().instruments;
        const Instrument& instrument = instruments[Draw(instruments.size())];
        const Quote& quote = exchange_.FindBook(instrument.symbol)->CurrentQuote();
        Wish wish{instrument.symbol};
        wish.side = Draw(2) == 0 ? kBuy : kSell;
        wish.orderType = static_cast<std::int32_t>(1 + Draw(4));
        wish.timeInForce = static_cast<std::int32_t>(Draw(10) < 7 ? 0 : 1 + Draw(3));
        wish.quantity = static_cast<std::int32_t>(1 + Draw(Draw(20) == 0 ? 100'000 : 8));
        wish.account = Draw(2) == 0 ? L"1000001" : L"1000002";
        const auto near = [&] {
            return quote.bidE10 + (static_cast<std::int64_t>(Draw(12)) - 6) * instrument.tickE10;
        };
        if (wish.orderType == kLimit || wish.orderType == kStopLimit) wish.priceE10 = near();
        if (wish.orderType >= kStop) wish.stopE10 = near();
        return Send(exchange_, wish);
    }

    std::int32_t SendSpread() {
        PaperParameters parameters;
        PutWish(parameters, {L"OV.F2.PAPF.IDX.202612^IDX.202703", Draw(2) == 0 ? kBuy : kSell,
                             Draw(2) == 0 ? kMarket : kLimit, static_cast<std::int32_t>(Draw(4)),
                             static_cast<std::int32_t>(1 + Draw(40)),
                             -(10 + static_cast<std::int64_t>(Draw(20))) * kE10});
        return exchange_.NewOrder(ReadTicket(kFutOptOrder, parameters));
    }

    void Disturb(const Text& reportId) {
        if (Draw(2) == 0) {
            exchange_.CancelOrder(reportId);
            return;
        }
        PaperParameters parameters;
        parameters.PutText(replace_id::kReportId, reportId);
        parameters.PutInt(replace_id::kOrderQty, static_cast<std::int32_t>(Draw(80)));
        exchange_.ReplaceOrder(ReadReplacement(parameters));
    }

    std::size_t Draw(std::size_t below) { return static_cast<std::size_t>(random_() % below); }

  private:
    Exchange& exchange_;
    std::mt19937_64 random_{7};
};

// A day of `orders` random orders; the journal of all that happened.
Text TradeADay(int orders, int checkEvery) {
    JumpingClock clock;
    const ScopedClock scoped(clock);
    Exchange exchange(BuiltInMarket(DayOf(20261106)));
    Auditor auditor(exchange);
    Crowd crowd(exchange);
    int accepted = 0;
    for (int order = 0; order < orders; ++order) {
        accepted += crowd.SendOne() == kAccepted ? 1 : 0;
        if (order % 3 == 0) exchange.Step();
        clock.Advance(17);
        auditor.Read(exchange.TakeNotices());
        if (order % checkEvery != 0) continue;
        const std::vector<Text> working = auditor.Working();
        if (!working.empty()) crowd.Disturb(working[crowd.Draw(working.size())]);
        auditor.Read(exchange.TakeNotices());
        auditor.Check();
        if (::testing::Test::HasFatalFailure()) return {};
    }
    for (const Text& id : auditor.Working())
        EXPECT_EQ(exchange.CancelOrder(id), kAccepted);
    auditor.Read(exchange.TakeNotices());
    auditor.Check();
    for (const auto& account : exchange.Accounts()) {
        EXPECT_EQ(account->Reckon().frozen.Total(), 0);
        for (const Position* position : account->Held()) {
            EXPECT_EQ(position->workingBuy + position->workingSell, 0);
        }
    }
    EXPECT_GT(accepted, orders * 9 / 10);
    EXPECT_GT(auditor.Fills(), static_cast<std::size_t>(orders) / 3);
    return auditor.Journal();
}

TEST(Money, EveryUnitIsAccountedForAfterRandomOrders) { TradeADay(5'000, 25); }

TEST(Money, TheSameDayHappensTwice) {
    const Text day = TradeADay(600, 5);
    EXPECT_FALSE(day.empty());
    EXPECT_EQ(day, TradeADay(600, 5));
}

} // namespace
} // namespace halvane::paper
