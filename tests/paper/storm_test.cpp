#include "paper/accounts/Risk.h"
#include "tests/paper/PaperTests.h"
#include "tradeapi/Symbols.h"

#include <map>
#include <random>
#include <set>

namespace halvane::paper {
namespace {

constexpr std::uint32_t Bits(auto... numbers) { return (... | (1U << numbers)); }
bool IsIn(std::uint32_t bits, std::int32_t number) { return (bits & Bits(number)) != 0; }

// What may come next in an order's life; nothing after all others.
constexpr std::int32_t kUnborn = -1;
constexpr std::uint32_t kFills = Bits(kPartlyFilled, kFilled);
constexpr std::uint32_t kGoesOn = kFills | Bits(kCancelled, kReplaced, kExpired);
const std::map<std::int32_t, std::uint32_t> kLife = {{kUnborn, Bits(kNew, kRejected)},
                                                     {kNew, kGoesOn | Bits(kTriggered)},
                                                     {kReplaced, kGoesOn | Bits(kTriggered)},
                                                     {kTriggered, kGoesOn},
                                                     {kPartlyFilled, kGoesOn}};

std::int64_t Cost(const Book& book, std::int64_t priceE10, std::int64_t quantity) {
    return AmountE6(priceE10, quantity * book.TheInstrument().multiplier);
}

std::int64_t CommissionOf(const Fill& fill) {
    const Instrument& terms = fill.book.TheInstrument();
    const std::int64_t rate = fill.order.account.Setup().rates.commissionPpm;
    const std::int64_t share =
        Cost(fill.book, fill.priceE10, fill.quantity) * (terms.commissionPpm * rate / kE6);
    return (share + kE6 - 1) / kE6 + terms.commissionLotE6 * rate / kE6 * fill.quantity;
}

bool IsReached(const Order& order, std::int64_t priceE10) {
    const std::int64_t touch = order.trigger->touchE10;
    const std::int64_t wanted = touch == kNoInt64 ? order.state.stopE10 : touch;
    return order.trigger->upward ? priceE10 >= wanted : priceE10 <= wanted;
}

// An order as its reports show it, and where it stands by the referee's own count.
struct Watched {
    const Order* order = nullptr;
    OrderState seen{};
    bool waits = false;
    std::uint64_t place = 0; // the lower the earlier
    bool met = false;        // the background has been at its price since it took that place,
    std::int64_t ahead = 0;  // and at least so much of it stands in front
    bool served = false;     // in this step, and not because it came in
    std::int64_t frozenE6 = 0;

    bool Queues() const {
        return seen.leaves > 0 && !waits && !order->second && seen.priceE10 != kNoInt64;
    }
};

// What an account has of an instrument, by the fills and the orders that work.
struct Line {
    std::int64_t net = 0, paidE6 = 0, commissionE6 = 0;
    std::int64_t workingBuy = 0, workingSell = 0, frozenE6 = 0;
};

// Watches an exchange from outside, by its notices and by what can be read from it, and notes which
// promises it breaks.
class Referee {
  public:
    explicit Referee(Exchange& exchange) : exchange_(exchange) {}

    // Looks on while the exchange does one thing, which may be a tick.
    template <typename Do> void Watch(bool tick, Do action) {
        step_ = {.tick = tick};
        for (const Book& book : exchange_.Books())
            step_.shown[&book] = {book.CurrentQuote(), book.LastE10()};
        const bool refused = action() != kAccepted;
        const std::vector<Notice> notices = exchange_.TakeNotices();
        for (const Notice& notice : notices)
            std::visit([&](const auto& each) { On(each); }, notice);
        Keep(tick || refused == notices.empty(), "what is taken is told");
        CheckStep();
        if (tick) CheckAll();
    }

    std::map<std::string, std::string> broken; // and by whom first
    std::map<Text, Watched*> working;          // by report
    std::set<std::int32_t> told;               // types and error codes of reports
    std::int64_t met = 0, settled = 0, days = 0;
    std::uint64_t digest = 0; // of all reports and the prices behind them

  private:
    using Queue = std::map<std::pair<std::int64_t, std::uint64_t>, Watched*>; // by price and place
    struct Shown {
        Quote quote{};
        std::int64_t lastE10 = 0;
        std::int64_t bought = 0, sold = 0; // by clients, since
    };
    struct Step {
        bool tick = false, counted = false;
        std::map<const Book*, Shown> shown{};
        std::vector<Watched*> reported{};
        std::set<const Account*> traded{};
        const Order* taker = nullptr; // that came in last
        const Fill* take = nullptr;   // of it, when the other side may follow
    };

    void Keep(bool kept, const char* promise) {
        if (!kept) broken.try_emplace(promise, std::string(where_.begin(), where_.end()));
    }

    void On(const auto&) {}

    void On(const ReportNotice& notice) {
        const Order& order = *notice.order;
        const OrderState& now = notice.state;
        Watched& watched = orders_[&order];
        where_ = order.ReportId() + L" " + now.History();
        for (const std::int64_t value : {now.paidE6, now.priceE10, now.stopE10, now.triggeredE10,
                                         order.book.LastE10(), std::int64_t{now.leaves}})
            digest = (digest ^ static_cast<std::uint64_t>(value)) * 0x100000001b3U;
        told.insert({now.execType, now.errorCode});
        if (watched.order == nullptr) Enter(watched, order);
        CheckState(watched, now);
        if (order.trigger) CheckTrigger(watched, now);
        if (!IsIn(kFills, now.execType)) {
            step_.taker = &order;
            step_.take = nullptr;
        } else if (step_.taker != &order && watched.Queues()) {
            const Watched* first = queues_[{&order.book, order.IsBuy()}].begin()->second;
            Keep(first == &watched, "the first in the queue is served");
            watched.served = true;
        }
        Update(watched, now);
        step_.reported.push_back(&watched);
    }

    void Enter(Watched& watched, const Order& order) {
        watched = {.order = &order, .waits = order.trigger.has_value()};
        watched.seen.execType = kUnborn;
        watched.seen.stopE10 = kNoInt64;
        for (const Text& identity : {order.ReportId(), order.OrderId()})
            Keep(identities_.insert(identity).second, "identities are unique");
        const std::int32_t code = order.state.errorCode;
        const auto kind = static_cast<std::size_t>(order.book.TheInstrument().kind);
        const bool permitted = order.account.Setup().mayTrade[kind];
        const bool closed = permitted && !MayTrade(order.book);
        Keep((code == kNotPermitted) == !permitted, "accounts trade what they may");
        Keep((code == kMarketClosed) == closed, "open markets take orders");
        const Position& position = order.account.Positions().at(&order.book);
        const std::int64_t closable = position.Available(order.IsBuy() ? kSell : kBuy);
        const bool judged = code == kFundsShort && !order.second && order.slice <= 1;
        Keep(!judged || closable < order.state.quantity, "anybody may close");
    }

    void CheckState(const Watched& watched, const OrderState& now) {
        const OrderState& before = watched.seen;
        const bool fills = IsIn(kFills, now.execType);
        const std::size_t legs = fills ? watched.order->second ? 2 : 1 : 0;
        const Text history = before.History().empty() ? Text() : before.History() + L';';
        const bool partly = now.filled > 0 && now.filled < now.quantity;
        const bool killed = watched.order->ticket.timeInForce == kFillOrKill && now.leaves == 0;
        Keep(due_.legs == 0 && !step_.counted, "reports, their fills, and counts at the end");
        Keep(kLife.contains(before.execType) && IsIn(kLife.at(before.execType), now.execType),
             "an order's life goes its way");
        Keep((now.leaves > 0) == kLife.contains(now.execType), "who works has something left");
        Keep(now.History() == history + DecimalText(now.execType), "the history lists the reports");
        Keep(now.leaves == 0 || now.filled + now.leaves == now.quantity, "filled and left");
        Keep((now.execType == kFilled) == (now.filled == now.quantity), "filled whole");
        Keep((now.filled > before.filled) == fills, "reports of fills");
        Keep(now.fillCount == before.fillCount + legs, "fills are counted");
        Keep((now.errorCode != 0) == (now.execType == kRejected), "rejections have a code");
        Keep(!fills || !watched.waits, "no fills before the trigger");
        Keep(!killed || !partly, "all or nothing");
        due_ = {watched.order, now.filled - before.filled, legs, now.paidE6 - before.paidE6, 0};
    }

    void CheckTrigger(Watched& watched, const OrderState& now) {
        const Order& order = *watched.order;
        const std::int64_t stop = watched.seen.stopE10;
        const bool follows = order.trigger->upward ? stop >= now.stopE10 : stop <= now.stopE10;
        Keep(stop == kNoInt64 || follows || now.execType == kReplaced, "stops trail to the price");
        if (now.execType != kTriggered) return;
        const bool reached = IsReached(order, now.triggeredE10);
        Keep(reached && watched.waits && MayTrade(order.book), "who waits is triggered in time");
        watched.waits = false;
    }

    void Update(Watched& watched, const OrderState& now) {
        const Order& order = *watched.order;
        Queue& queue = queues_[{&order.book, order.IsBuy()}];
        std::erase_if(queue, [&](const auto& each) { return each.second == &watched; });
        const OrderState before = std::exchange(watched.seen, now);
        const bool other = now.leaves > before.leaves || now.priceE10 != before.priceE10;
        if (now.execType == kTriggered || (other && IsIn(Bits(kNew, kReplaced), now.execType))) {
            watched.place = ++lastPlace_;
            watched.met = false;
        }
        if (watched.Queues())
            queue[{order.IsBuy() ? -now.priceE10 : now.priceE10, watched.place}] = &watched;
        if (now.leaves > 0) working[order.ReportId()] = &watched;
        if (now.leaves == 0) working.erase(order.ReportId());
    }

    void On(const FillNotice& notice) {
        const Fill& fill = *notice.fill;
        CheckFill(fill);
        CheckOtherSide(fill);
        Line& line = lines_[{&fill.order.account, &fill.book}];
        const std::int64_t quantity = fill.side == kBuy ? fill.quantity : -fill.quantity;
        line.net += quantity;
        line.paidE6 += Cost(fill.book, fill.priceE10, quantity);
        line.commissionE6 += CommissionOf(fill);
        step_.traded.insert(&fill.order.account);
    }

    void CheckFill(const Fill& fill) {
        const Order& order = fill.order;
        const Instrument& terms = fill.book.TheInstrument();
        const bool second = order.second && due_.legs == 1;
        const bool due = due_.order == &order && due_.legs > 0 && due_.quantity == fill.quantity;
        Keep(due && &fill.book == (second ? &order.second->book : &order.book) &&
                 fill.side == (second ? order.second->side : order.ticket.side),
             "each leg is filled after the report");
        Keep(identities_.insert(fill.FillId()).second, "identities are unique");
        Keep(fill.priceE10 >= terms.lowerE10 && fill.priceE10 <= terms.upperE10, "daily limits");
        Keep(fill.priceE10 % terms.tickE10 == 0, "prices are on ticks");
        Keep(MayTrade(fill.book), "nothing trades in a closed market or after expiry");
        due_.netE10 += fill.side == order.ticket.side ? fill.priceE10 : -fill.priceE10;
        if (due_.legs == 0 || --due_.legs > 0) return;
        const std::int64_t limit = orders_[&order].seen.priceE10;
        Keep(limit == kNoInt64 || (order.IsBuy() ? due_.netE10 <= limit : due_.netE10 >= limit),
             "no fill is worse than the limit");
        Keep(due_.paidE6 == AmountE6(due_.netE10, due_.quantity), "what was paid is reported");
    }

    // Who comes in meets a client, whose fill follows, or the background; who rests meets the
    // background only when prices move. Spreads meet the background alone.
    void CheckOtherSide(const Fill& fill) {
        const Fill* take = std::exchange(step_.take, nullptr);
        const bool spread = fill.order.second.has_value();
        Shown& shown = step_.shown[&fill.book];
        (fill.side == kBuy ? shown.bought : shown.sold) += fill.quantity;
        if (!spread) shown.lastE10 = fill.priceE10;
        if (&fill.order == step_.taker) {
            step_.take = spread ? nullptr : &fill;
        } else if (take != nullptr && &take->book == &fill.book && !spread) {
            met += fill.quantity;
            Keep(fill.side != take->side && fill.priceE10 == take->priceE10 &&
                     fill.quantity == take->quantity,
                 "two clients trade the same");
        } else {
            Keep(step_.tick, "the background comes with the ticks");
        }
    }

    void On(const CountsNotice& notice) {
        const bool counted = notice.positions == notice.account->Held().size();
        Keep(counted && step_.traded.erase(notice.account) == 1, "counts of those who traded");
        step_.counted = true;
    }

    void On(const ResetNotice& notice) {
        Keep(!notice.newDay || working.empty(), "no order outlives its day");
        if (notice.newDay) ++days;
    }

    void On(const ClearNotice& notice) {
        const Book& book = *notice.book;
        const bool option = book.TheInstrument().kind == InstrumentKind::Option;
        gone_.insert(&book);
        for (auto& [where, line] : lines_) {
            if (where.second != &book || line.net == 0) continue;
            line.paidE6 -= Cost(book, option ? IntrinsicE10(book) : book.LastE10(), line.net);
            line.net = 0;
            ++settled;
        }
    }

    void CheckStep() {
        Keep(due_.legs == 0 && step_.traded.empty(), "fills and counts follow");
        for (const auto& [book, before] : step_.shown)
            CheckBook(*book, before);
        for (Watched* each : step_.reported) {
            const Order& order = *each->order;
            const bool mayRest = each->waits || order.ticket.timeInForce <= kDay;
            const bool opens = each->seen.execType == kNew && order.frozen.Opens();
            if (each->served) Advance(*each, step_.shown[&order.book]);
            each->frozenE6 = order.frozen.Total();
            Keep(mayRest || each->seen.leaves == 0, "who cannot wait ends at once");
            Keep(!opens || step_.reported.size() > 1 || order.account.Reckon().Free() >= 0,
                 "who opens a position can pay");
        }
    }

    void CheckBook(const Book& book, const Shown& before) {
        const Quote& quote = book.CurrentQuote();
        const Day expiry = book.TheInstrument().expiry;
        where_ = book.TheInstrument().symbol;
        Keep(gone_.contains(&book) == (expiry.ok() && expiry < exchange_.Clock().Today()),
             "contracts expire after their last day");
        const Quote& old = before.quote;
        const bool still = book.LastE10() == before.lastE10 && quote.bidE10 == old.bidE10 &&
                           quote.askE10 == old.askE10;
        Keep(still || (step_.tick && MayTrade(book)), "prices move by ticks in an open market");
        const std::int64_t bought = before.bought - old.askSize + quote.askSize;
        const std::int64_t sold = before.sold - old.bidSize + quote.bidSize;
        Keep(step_.tick || bought == sold, "what clients buy from clients is sold by them");
        const Queue& buys = queues_[{&book, true}];
        const Queue& sells = queues_[{&book, false}];
        const std::int64_t bid = buys.empty() ? 0 : -buys.begin()->first.first;
        const std::int64_t ask = sells.empty() ? INT64_MAX : sells.begin()->first.first;
        Keep(bid < ask && (quote.askSize == 0 || bid < quote.askE10) &&
                 (quote.bidSize == 0 || ask > quote.bidE10),
             "who can trade has traded");
        for (const Queue* queue : {&buys, &sells}) {
            for (const auto& [key, each] : *queue)
                Advance(*each, before);
        }
        if (before.bought + before.sold == 0) return;
        for (const auto& [identity, each] : working) {
            const Order& order = *each->order;
            const bool waits = each->waits && &order.book == &book;
            const bool late = waits && IsReached(order, book.TriggerPriceOf(order));
            Keep(!late, "who waits is triggered in time");
        }
    }

    // Clients take from the background what they get, a tick what it trades at most.
    void Advance(Watched& watched, const Shown& before) {
        const std::int32_t taker = watched.order->IsBuy() ? kSell : kBuy;
        const Book& book = watched.order->book;
        const std::int64_t own = watched.seen.priceE10;
        const std::int64_t price = book.CurrentQuote().PriceFor(taker);
        const std::int64_t size = book.CurrentQuote().SizeFor(taker);
        const std::int64_t most = book.TheInstrument().quoteSize / 4 + before.bought + before.sold;
        const std::int64_t taken = step_.tick ? most : before.quote.SizeFor(taker) - size;
        const bool front = price == 0 || (taker == kSell ? own > price : own < price);
        if (!watched.met || front) watched.ahead = front ? 0 : size;
        watched.met = watched.met || front || own == price;
        if (own == price) {
            Keep(!watched.served || taken >= watched.ahead || size == 0, "the background in front");
            watched.ahead = std::max<std::int64_t>(watched.ahead - taken, 0);
        }
        watched.served = false;
    }

    void CheckAll() {
        for (auto& [where, line] : lines_)
            line.workingBuy = line.workingSell = line.frozenE6 = 0;
        for (const auto& [identity, each] : working)
            AddWorking(*each);
        for (const auto& account : exchange_.Accounts())
            CheckAccount(*account);
    }

    void AddWorking(const Watched& watched) {
        const Order& order = *watched.order;
        const OrderState& seen = watched.seen;
        const auto add = [&](const Book& book, bool buy, const Frozen& frozen) {
            Line& line = lines_[{&order.account, &book}];
            (buy ? line.workingBuy : line.workingSell) += seen.leaves;
            line.frozenE6 += frozen.Total();
        };
        add(order.book, order.IsBuy(), order.frozen.first);
        if (order.second) add(order.second->book, order.second->IsBuy(), order.frozen.second);
        Keep(order.state.execTypes == seen.execTypes && order.state.leaves == seen.leaves &&
                 order.frozen.Total() == watched.frozenE6 &&
                 (watched.waits || order.state.priceE10 == seen.priceE10),
             "nothing changes without a report");
    }

    void CheckAccount(const Account& account) {
        std::int64_t equity = account.Setup().balanceE6;
        std::int64_t frozen = 0;
        where_ = account.Mask();
        for (const auto& [book, position] : account.Positions()) {
            const Line& line = lines_[{&account, book}];
            const std::int64_t gain = Cost(*book, book->LastE10(), line.net) - line.paidE6;
            equity += gain - line.commissionE6;
            frozen += line.frozenE6;
            Keep(position.net == line.net && position.ProfitE6() == gain, "positions are fills");
            Keep(line.net != 0 || position.costE6 == 0, "nothing costs nothing");
            Keep(position.workingBuy == line.workingBuy, "buys that work are counted");
            Keep(position.workingSell == line.workingSell, "sales that work are counted");
            Keep(position.frozen.Total() == line.frozenE6, "positions hold back what orders need");
        }
        const Funds funds = account.Reckon();
        Keep(account.Balances() && funds.Equity() == equity, "equity is what the fills make it");
        Keep(funds.frozen.Total() == frozen, "accounts hold back what orders need");
    }

    bool MayTrade(const Book& book) const {
        return exchange_.Hours().IsOpen(book) && !gone_.contains(&book);
    }

    Exchange& exchange_;
    Text where_;
    std::map<const Order*, Watched> orders_;
    std::map<std::pair<const Book*, bool>, Queue> queues_;
    std::map<std::pair<const Account*, const Book*>, Line> lines_;
    std::set<Text> identities_;
    std::set<const Book*> gone_;
    std::uint64_t lastPlace_ = 0;
    Step step_{};
    struct {
        const Order* order;
        std::int32_t quantity;
        std::size_t legs; // that are to follow
        std::int64_t paidE6, netE10;
    } due_{};
};

// --- the storm ----------------------------------------------------------------------------------

// From a Monday on, whose Wednesday is the last day of the near contracts. Quotes are small and
// limits narrow, so that clients meet and limits are reached.
MarketPlan StormPlan(std::uint64_t seed) {
    constexpr std::int32_t kHour = 3'600'000;
    MarketPlan plan = BuiltInPlan();
    plan.seed = seed;
    plan.start = std::chrono::local_days(DayOf(20261214)) + std::chrono::hours(8);
    plan.stepMs = 30'000;
    plan.stocks.resize(2);
    plan.futures.resize(2);
    plan.stocks[0].quoteSize = plan.stocks[1].quoteSize = 20;
    plan.stocks[0].limitPpm = 3'000;
    plan.futures[1].limitPpm = 1'000;
    plan.stocks[1].commissionPpm = plan.futures[1].commissionPpm = 1'003;
    plan.futures[0].volatilityPpm = plan.futures[1].volatilityPpm = 50'000;
    plan.exchanges = {{L"PAPX", {{9 * kHour, 13 * kHour}}},
                      {L"PAPF", {{9 * kHour, 14 * kHour}, {15 * kHour, 24 * kHour}}}};
    plan.incidents = {{IncidentKind::RejectOrders, {}, 10 * kHour, kHour / 2, 0, 7, {}},
                      {IncidentKind::CloseMarket, {}, 11 * kHour, kHour / 6, 0, 1, {}},
                      {IncidentKind::ResetReports, {}, 12 * kHour, 0, 0, 1, {}},
                      {IncidentKind::Disconnect, {}, 12 * kHour, kHour / 2, 0, 1, {}},
                      {IncidentKind::RollDay, {}, 22 * kHour, 0, 0, 1, {}}};
    plan.accounts.assign(4, plan.accounts[0]);
    for (std::size_t each = 0; each < 4; ++each)
        plan.accounts[each].account.back() = static_cast<wchar_t>(L'1' + each);
    plan.accounts[0].balanceE6 *= 100;
    plan.accounts[1].rates = {.commissionPpm = 2'500'001, .marginPpm = 500'000};
    plan.accounts[2].balanceE6 /= 100;
    plan.accounts[3].mayTrade = {true, false, true};
    return plan;
}

enum class Habit { None, Trails, Touches, Pairs, Slices, Babbles, Closes };

// What a client's orders are like: types, times in force from a day order on, and prices in ticks
// from the last one to the worse.
struct Client {
    std::int32_t firstType, lastType, lastTime, best, worst;
    Habit habit;
};

// clang-format off
constexpr Client kClients[] = {
    {kLimit,  kLimit,     kDay,         -2, 1, Habit::None},
    {kMarket, kLimit,     kFillOrKill,  -1, 4, Habit::None},
    {kStop,   kStopLimit, kFillOrKill, -10, 5, Habit::Trails},
    {kMarket, kLimit,     kFillOrKill,  -4, 4, Habit::Touches},
    {kMarket, kLimit,     kFillOrKill,  -4, 4, Habit::Pairs},
    {kLimit,  kLimit,     kDay,         -2, 2, Habit::Slices},
    {kMarket, kLimit,     kFillOrKill,  -1, 4, Habit::Babbles},
    {kMarket, kLimit,     kFillOrKill,  -1, 9, Habit::Closes},
};
// What babblers get wrong, and how.
constexpr std::int32_t Wish::*kNumbers[] = {
    &Wish::side,       &Wish::orderType,      &Wish::timeInForce,   &Wish::quantity,
    &Wish::touchField, &Wish::touchCondition, &Wish::trailingField, &Wish::shown};
constexpr std::int64_t Wish::*kPrices[] = {
    &Wish::priceE10,   &Wish::stopE10,        &Wish::touchE10,      &Wish::trailing};
constexpr std::int64_t kOdd[] = {INT64_MIN, INT32_MIN, -kE10, -1, 0, 1, 5, INT32_MAX, INT64_MAX};
// clang-format on

class Storm {
  public:
    explicit Storm(std::uint64_t seed)
        : random_(seed), exchange_(BuildMarket(StormPlan(seed), DayOf(20261214))) {}

    // So many orders, and a change after every few of them, in the hours of half a week.
    const Referee& Rage(int orders) {
        for (int sent = 0; sent < orders && referee_.broken.empty();) {
            referee_.Watch(true, [&] { return exchange_.Step(), kAccepted; });
            const bool open = exchange_.Hours().IsOpen(exchange_.Books().back());
            for (auto left = Upto(open ? orders / 3'500 + 1 : 1); left > 0; --left, ++sent) {
                Send(Upto(7));
                if (Upto(3) == 0 && !referee_.working.empty()) Change();
            }
        }
        return referee_;
    }

  private:
    std::int32_t Upto(std::int32_t most) {
        return static_cast<std::int32_t>(random_() % (static_cast<std::uint64_t>(most) + 1));
    }
    const auto& AnyOf(const auto& all) {
        return *std::next(std::begin(all), Upto(static_cast<std::int32_t>(std::size(all)) - 1));
    }
    std::int32_t Within(std::int32_t first, std::int32_t last) {
        return first + Upto(last - first);
    }
    static std::int64_t Near(const Book& book, std::int32_t side, std::int32_t ticks) {
        const std::int64_t tick = book.TheInstrument().tickE10;
        const std::int64_t wanted = book.LastE10() / tick + (side == kBuy ? ticks : -ticks);
        return std::max<std::int64_t>(wanted, 1) * tick;
    }

    void Send(std::int32_t number) {
        const Client& client = kClients[number];
        Wish wish;
        wish.account.back() = static_cast<wchar_t>(L'1' + (Upto(1) == 0 ? number / 2 : Upto(3)));
        const Book& book = Choose(wish, client.habit == Habit::Closes);
        const auto near = [&](std::int32_t ticks) { return Near(book, wish.side, ticks); };
        wish.orderType = Within(client.firstType, client.lastType);
        wish.timeInForce = Within(kDay, client.lastTime);
        if (IsIn(Bits(kLimit, kStopLimit), wish.orderType))
            wish.priceE10 = near(Within(client.best, client.worst));
        if (wish.orderType >= kStop) wish.stopE10 = near(Upto(6));
        if (client.habit == Habit::Trails) wish.trailing = Upto(6);
        if (client.habit == Habit::Touches) wish.touchE10 = near(Within(-6, 0));
        if (client.habit == Habit::Slices) wish.shown = 1 + Upto(4);
        wish.trailingType = kByTicks;
        wish.trailingField = wish.touchField = Upto(3);
        wish.touchCondition = Upto(2);
        if (client.habit == Habit::Babbles) {
            wish.*AnyOf(kNumbers) = static_cast<std::int32_t>(AnyOf(kOdd));
            if (Upto(1) == 0) wish.*AnyOf(kPrices) = AnyOf(kOdd);
        }
        PaperParameters asked;
        namespace id = fut_opt_order_id;
        if (client.habit == Habit::Pairs) asked.PutInt(id::kSide2, Pair(wish));
        PutWish(asked, wish);
        referee_.Watch(false, [&] { return exchange_.NewOrder(ReadTicket(KindOf(wish), asked)); });
    }

    // A whole position, or anything; what has expired now and then.
    const Book& Choose(Wish& wish, bool closes) {
        const auto& held = exchange_.FindAccount(L"PAPER-" + wish.account)->Held();
        const Position* position = closes && !held.empty() ? AnyOf(held) : nullptr;
        const Book* book = position != nullptr ? position->book : &AnyOf(exchange_.Books());
        while (position == nullptr && exchange_.Hours().HasExpired(*book) && Upto(9) != 0)
            book = &AnyOf(exchange_.Books());
        wish.symbol = book->TheInstrument().symbol;
        const std::int64_t net = position != nullptr ? position->net : 0;
        wish.side = net > 0 ? kSell : net < 0 ? kBuy : kBuy + Upto(1);
        wish.quantity = net != 0 ? static_cast<std::int32_t>(std::abs(net))
                                 : 1 + Upto(book->TheInstrument().quoteSize / 2);
        return *book;
    }

    // Adds a second contract to the symbol and the price.
    std::int32_t Pair(Wish& wish) {
        const Book& second = AnyOf(exchange_.Books());
        const std::int32_t side = kBuy + Upto(1);
        wish.symbol = CombineSymbols(wish.symbol, second.TheInstrument().symbol);
        if (wish.orderType == kLimit)
            wish.priceE10 += side == wish.side ? second.LastE10() : -second.LastE10();
        return side;
    }

    void Change() {
        namespace id = replace_id;
        const Order& order = *AnyOf(referee_.working).second->order;
        const std::int32_t side = order.ticket.side;
        if (Upto(1) == 0)
            return referee_.Watch(false, [&] { return exchange_.CancelOrder(order.ReportId()); });
        PaperParameters changes;
        changes.PutText(id::kReportId, order.ReportId());
        if (Upto(1) == 0) changes.PutInt(id::kOrderQty, Upto(2 * order.state.quantity));
        if (Upto(1) == 0) changes.PutInt64(id::kPrice, Near(order.book, side, Within(-2, 2)));
        if (Upto(1) == 0) changes.PutInt64(id::kStopPrice, Near(order.book, side, Upto(6)));
        referee_.Watch(false, [&] { return exchange_.ReplaceOrder(ReadReplacement(changes)); });
    }

    JumpingClock clock_;
    ScopedClock scoped_{clock_};
    std::mt19937_64 random_;
    Exchange exchange_;
    Referee referee_{exchange_};
};

TEST(Storm, BreaksNoPromise) {
    for (const std::uint64_t seed : {1U, 2U}) {
        Storm storm(seed);
        const Referee& referee = storm.Rage(STORM_ORDERS);
        EXPECT_EQ(referee.broken, (std::map<std::string, std::string>{})) << seed;
        EXPECT_EQ(referee.told.size(), 8U + 5U); // execution types and error codes
        EXPECT_TRUE(referee.met > 0 && referee.settled > 0 && referee.days > 2);
    }
}

// The same reports and prices on every system and from every compiler, whoever runs it.
TEST(Storm, IsTheSameEverywhere) { EXPECT_EQ(Storm(1).Rage(10'000).digest, 0xd2cc5f26e3be5a90U); }

} // namespace
} // namespace halvane::paper
