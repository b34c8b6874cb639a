#include "paper/exchange/Exchange.h"

#include "foundation/support/Numbers.h"
#include "paper/base/Codes.h"
#include "paper/base/Units.h"
#include "paper/orders/Spread.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace halvane::paper {
namespace {

bool IsWithinLimits(const Terms& terms, std::int64_t priceE10) {
    if (priceE10 == kNoInt64) return true;
    return priceE10 >= terms.lowerE10 && priceE10 <= terms.upperE10;
}

// The most that a buy may have to pay, or what a sale will at least be worth holding.
std::int64_t PriceToFund(const Order& order) {
    const std::int64_t limit = order.state.priceE10;
    const std::int64_t last = order.book.LastE10();
    if (!order.IsBuy()) return std::max(limit, last);
    if (limit != kNoInt64) return limit;
    const std::int64_t touch = order.trigger ? order.trigger->touchE10 : kNoInt64;
    return std::max({order.book.CurrentQuote().askE10, order.state.stopE10, touch});
}

// A net price says nothing of the legs: they are funded at what they cost now.
std::int64_t LegPriceToFund(const Book& book, bool buy) {
    return buy ? std::max(book.CurrentQuote().askE10, book.LastE10()) : book.LastE10();
}

std::int32_t TakePrice(std::optional<std::int64_t> wantedE10, const Order& order, bool allowed,
                       std::int32_t refusal, std::int64_t& priceE10) {
    if (!wantedE10) return kAccepted;
    priceE10 = *wantedE10;
    if (!allowed || priceE10 == kNoInt64) return refusal;
    if (!order.terms.net && priceE10 <= 0) return refusal;
    if (!IsWithinLimits(order.terms, priceE10)) return kOutsidePriceLimits;
    return CheckPrice(priceE10, order.terms);
}

} // namespace

Exchange::Exchange(Market market)
    : market_(std::move(market)), hours_(market_.plan),
      prices_(market_.drivers, market_.plan.seed) {
    for (const Instrument& instrument : market_.instruments) {
        Book& book = books_.emplace_back(instrument, Clock());
        book.Follow(prices_.NextStep(instrument, Clock().LocalNow()));
        bySymbol_.emplace(instrument.symbol, &book);
    }
    LinkOptions();
    for (const AccountSetup& setup : market_.plan.accounts) {
        accounts_.push_back(std::make_unique<Account>(setup));
    }
}

std::int32_t Exchange::NewOrder(Ticket ticket) {
    if (ticket.kind != kStockOrder && ticket.kind != kFutOptOrder) return kUnknownOrderKind;
    Draft draft{.ticket = std::move(ticket)};
    const std::int32_t result = Check(draft);
    if (result == kAccepted) AdmitParts(std::move(draft));
    return result;
}

std::int32_t Exchange::Check(Draft& draft) {
    const std::int32_t found = FindBooks(draft);
    draft.account = AccountOf(draft.ticket.brokerId + L"-" + draft.ticket.account);
    if (found != kAccepted) return found;
    if (draft.account == nullptr) return kUnknownAccount;
    return CheckTicket(draft.ticket, draft.terms, draft.prices);
}

std::int32_t Exchange::FindBooks(Draft& draft) {
    if (IsSpread(draft.ticket)) return FindLegs(draft);
    const auto book = bySymbol_.find(draft.ticket.symbol);
    if (book == bySymbol_.end()) return kUnknownSymbol;
    draft.book = book->second;
    draft.terms = TermsOf(draft.book->TheInstrument());
    return hours_.HasExpired(*draft.book) ? kContractExpired : kAccepted;
}

void Exchange::Admit(Order& order) {
    if (const std::int32_t error = CheckMarket(order); error != 0) return Reject(order, error);
    order.account.Freeze(order, NeedNow(order));
    Report(order, kNew);
    if (order.waiting) {
        Rest(order);
    } else {
        Work(order);
    }
    Sweep(order.book);
}

void Exchange::Reject(Order& order, std::int32_t errorCode) {
    order.state.errorCode = errorCode;
    order.state.leaves = 0;
    order.waiting = false;
    Report(order, kRejected);
}

Order& Exchange::Enter(Draft& draft) {
    if (draft.ticket.symbol == draft.book->TheInstrument().symbol) draft.ticket.symbol.clear();
    Order& order = registry_.Enter(draft, Clock().Now().date);
    if (order.trigger) order.book.Trail(order);
    return order;
}

std::int32_t Exchange::ReplaceOrder(const Replacement& replacement) {
    Order* found = registry_.FindOrder(replacement.reportId);
    if (found == nullptr) return kUnknownReport;
    Order& order = *found;
    OrderState wanted = order.state;
    const std::int32_t result = CheckReplacement(order, replacement, wanted);
    if (result != kAccepted) return result;

    const bool moved = wanted.priceE10 != order.state.priceE10 ||
                       wanted.leaves > order.state.leaves || wanted.stopE10 != order.state.stopE10;
    const Needs before = order.frozen;
    Remove(order);
    order.account.Release(order);
    std::swap(order.state, wanted);
    const Needs need = NeedNow(order);
    const bool breaks = BreaksCombination(order);
    const bool unfunded =
        need.Total() > before.Total() && need.Total() > order.account.Reckon().Free();
    if (breaks || unfunded) {
        std::swap(order.state, wanted);
        order.account.Freeze(order, before);
        Rest(order);
        return breaks ? kPositionCombined : kFundsShort;
    }
    order.account.Freeze(order, need);
    if (moved) {
        order.place = registry_.NextPlace();
        order.ahead = Order::kUnknown;
    }
    Report(order, kReplaced);
    if (moved && !order.waiting) {
        Work(order);
    } else {
        Rest(order);
    }
    Sweep(order.book);
    AdmitNextParts();
    return kAccepted;
}

std::int32_t Exchange::CheckReplacement(const Order& order, const Replacement& replacement,
                                        OrderState& wanted) const {
    if (!order.IsWorking()) return kNotWorking;
    if (!IsOpenTo(order)) return kMarketClosed;
    if (replacement.quantity != 0) {
        if (replacement.quantity <= order.state.filled) return kBadQuantity;
        if (replacement.quantity > order.terms.maxQuantity) return kBadQuantity;
        wanted.quantity = replacement.quantity;
        wanted.leaves = replacement.quantity - order.state.filled;
    }
    const bool limited = order.state.priceE10 != kNoInt64;
    const std::int32_t result =
        TakePrice(replacement.priceE10, order, limited, kBadPrice, wanted.priceE10);
    if (result != kAccepted) return result;
    const bool stops = order.waiting && order.state.stopE10 != kNoInt64;
    return TakePrice(replacement.stopE10, order, stops, kBadStopPrice, wanted.stopE10);
}

std::int32_t Exchange::CancelOrder(TextView reportId) {
    Order* order = registry_.FindOrder(reportId);
    if (order == nullptr) return kUnknownReport;
    if (!order->IsWorking()) return kNotWorking;
    Remove(*order);
    End(*order, kCancelled);
    return kAccepted;
}

void Exchange::Step() {
    StepTime();
    EndDayIfOver();
    StepPrices();
    SweepSpreads();
    AdmitNextParts();
    assert(std::all_of(accounts_.begin(), accounts_.end(),
                       [](const auto& account) { return account->Balances(); }));
}

void Exchange::StepPrices() {
    prices_.Advance();
    const LocalMs now = Clock().LocalNow();
    for (Book& book : books_) {
        const Instrument& instrument = book.TheInstrument();
        // Drawn in any case, so that no price depends on what is open.
        const PriceStep step = prices_.NextStep(instrument, now);
        if (hours_.HasExpired(book) || !hours_.IsOpen(book)) continue;
        book.Follow(step);
        Serve(book, step);
        Sweep(book);
    }
}

std::vector<Notice> Exchange::TakeNotices() {
    for (const auto& account : accounts_) {
        if (std::find(traded_.begin(), traded_.end(), account.get()) != traded_.end()) {
            notices_.emplace_back(CountsNotice{account.get(), account->Held().size()});
        }
    }
    traded_.clear();
    return std::exchange(notices_, {});
}

const Account* Exchange::FindAccount(TextView mask) const { return AccountOf(mask); }

const Book* Exchange::FindBook(TextView symbol) const {
    const auto found = bySymbol_.find(symbol);
    return found == bySymbol_.end() ? nullptr : found->second;
}

Account* Exchange::AccountOf(TextView mask) const {
    const auto found = std::find_if(accounts_.begin(), accounts_.end(),
                                    [&](const auto& account) { return account->Mask() == mask; });
    return found == accounts_.end() ? nullptr : found->get();
}

Needs Exchange::NeedNow(const Order& order) const {
    const bool buy = order.IsBuy();
    const std::int32_t leaves = order.state.leaves;
    const Position& position = order.account.PositionIn(order.book);
    if (!order.second) return {NeedOf(buy, leaves, position, PriceToFund(order))};
    const Leg& leg = *order.second;
    return {NeedOf(buy, leaves, position, LegPriceToFund(order.book, buy)),
            NeedOf(leg.IsBuy(), leaves, order.account.PositionIn(leg.book),
                   LegPriceToFund(leg.book, leg.IsBuy()))};
}

bool Exchange::BreaksCombination(const Order& order) const {
    const auto breaks = [&](const Book& book, bool buy) {
        return order.account.PositionIn(book).Breaks(buy, order.state.leaves);
    };
    return breaks(order.book, order.IsBuy()) ||
           (order.second && breaks(order.second->book, order.second->IsBuy()));
}

bool Exchange::IsOpenTo(const Order& order) const {
    return hours_.IsOpen(order.book) && (!order.second || hours_.IsOpen(order.second->book));
}

bool Exchange::IsPermitted(const Order& order) {
    const auto may = [&](const Book& book) {
        const auto kind = static_cast<std::size_t>(book.TheInstrument().kind);
        return order.account.Setup().mayTrade[kind];
    };
    return may(order.book) && (!order.second || may(order.second->book));
}

// The limits come before the money: an amount is only sure to fit for a price within them.
std::int32_t Exchange::CheckMarket(const Order& order) {
    if (!IsPermitted(order)) return kNotPermitted;
    if (!IsOpenTo(order)) return kMarketClosed;
    if (TheIncidents().Strikes(IncidentKind::RejectOrders)) return kRejectedOnDemand;
    if (!IsWithinLimits(order.terms, order.state.priceE10)) return kOutsidePriceLimits;
    const std::int64_t waitsFor = order.trigger ? order.trigger->touchE10 : kNoInt64;
    for (const std::int64_t price : {order.state.stopE10, waitsFor}) {
        if (!IsWithinLimits(order.terms, price)) return kOutsidePriceLimits;
    }
    if (BreaksCombination(order)) return kPositionCombined;
    const Needs need = NeedNow(order); // closing must always be possible
    return need.Opens() && need.Total() > order.account.Reckon().Free() ? kFundsShort : 0;
}

void Exchange::Work(Order& order) {
    const std::int32_t timeInForce = order.ticket.timeInForce;
    if (timeInForce == kFillOrKill && AvailableTo(order) < order.state.leaves) {
        return End(order, kCancelled);
    }
    while (order.IsWorking() && TradeOnce(order)) {
    }
    if (!order.IsWorking()) return;
    if (timeInForce == kImmediateOrCancel) return End(order, kCancelled);
    Rest(order);
}

std::int64_t Exchange::AvailableTo(const Order& order) const {
    if (!order.second) return order.book.AvailableTo(order);
    const std::optional<SpreadMatch> match = MatchSpread(order);
    return match ? match->quantity : 0;
}

bool Exchange::TradeOnce(Order& order) {
    if (order.second) return TradeSpread(order);
    const std::optional<Match> match = order.book.BestFor(order);
    if (match) Trade(order, *match);
    return match.has_value();
}

void Exchange::Trade(Order& taker, const Match& match) {
    taker.book.SetLast(match.priceE10);
    AddFill(taker, match.priceE10, match.quantity);
    if (match.order == nullptr) {
        taker.book.TakeFromQuote(taker.ticket.side, match.quantity);
    } else {
        AddFill(*match.order, match.priceE10, match.quantity);
        if (!match.order->IsWorking()) taker.book.Remove(*match.order);
    }
}

void Exchange::Serve(Book& book, const PriceStep& step) {
    for (const auto& [order, match] : book.Serve(step)) {
        book.SetLast(match.priceE10);
        AddFill(*order, match.priceE10, match.quantity);
        if (!order->IsWorking()) book.Remove(*order);
    }
}

void Exchange::AddFill(Order& order, std::int64_t priceE10, std::int32_t quantity) {
    const LegFill leg{order.book, order.ticket.side, priceE10};
    AddFills(order, {&leg, 1}, priceE10, quantity);
}

void Exchange::AddFills(Order& order, std::span<const LegFill> legs, std::int64_t priceE10,
                        std::int32_t quantity) {
    order.account.Release(order);
    for (const LegFill& leg : legs) {
        const Fill& fill =
            registry_.Add(order, leg.book, leg.side, leg.priceE10, quantity, Clock().Now());
        order.account.Apply(fill);
    }
    order.state.filled += quantity;
    order.state.leaves -= quantity;
    order.state.paidE6 += AmountE6(priceE10, quantity);
    if (order.IsWorking()) order.account.Freeze(order, NeedNow(order));
    Report(order, order.IsWorking() ? kPartlyFilled : kFilled);
    for (auto fill = order.fills.end() - std::ssize(legs); fill != order.fills.end(); ++fill)
        notices_.emplace_back(FillNotice{*fill});
    if (!order.IsWorking()) slices_.OnFilled(order);
    traded_.push_back(&order.account);
}

void Exchange::Trigger(Order& order) {
    order.book.Remove(order);
    order.waiting = false;
    order.place = registry_.NextPlace();
    order.state.triggeredE10 = order.book.TriggerPriceOf(order);
    Report(order, kTriggered);
    Work(order);
}

void Exchange::End(Order& order, std::int32_t execType) {
    order.account.Release(order);
    order.state.leaves = 0;
    order.waiting = false;
    slices_.Forget(order);
    Report(order, execType);
}

void Exchange::Report(Order& order, std::int32_t execType) {
    OrderState& state = order.state;
    state.execType = execType;
    state.stamp = Clock().Now();
    state.execTypes += static_cast<char>(execType);
    Count(order);
    notices_.emplace_back(ReportNotice{&order, state});
}

void Exchange::Sweep(Book& book) {
    for (;;) {
        if (const auto reached = book.NextReached()) {
            auto& [order, match] = *reached;
            Trade(*order, match);
            if (!order->IsWorking()) book.Remove(*order);
        } else if (Order* stop = book.NextTriggered()) {
            Trigger(*stop);
        } else {
            return;
        }
    }
}

} // namespace halvane::paper
