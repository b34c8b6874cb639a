#include "paper/accounts/Combinations.h"
#include "paper/accounts/Risk.h"
#include "paper/base/Codes.h"
#include "paper/exchange/Exchange.h"

#include <algorithm>
#include <utility>

namespace halvane::paper {

void Exchange::LinkOptions() {
    for (Book& option : books_) {
        const Instrument& terms = option.TheInstrument();
        if (terms.kind != InstrumentKind::Option) continue;
        for (const Book& future : books_) {
            const Instrument& beneath = future.TheInstrument();
            if (beneath.kind == InstrumentKind::Future && beneath.driver == terms.driver &&
                beneath.month == terms.month)
                option.SetUnderlying(future);
        }
    }
}

bool Exchange::HasExpired(const Book& book) const {
    const Day expiry = book.TheInstrument().expiry;
    return expiry.ok() && expiry < today_;
}

void Exchange::Count(Order& order) {
    const auto count = [&](const Book& book) {
        PositionDay& day = order.account.PositionIn(book).day;
        if (order.state.execType == kNew) ++day.orders;
        if (order.state.execType == kCancelled) ++day.deletions;
    };
    count(order.book);
    if (order.second) count(order.second->book);
}

void Exchange::EndDayIfOver() {
    if (const Day now = clock_.Today(); now > today_) EndDay(now);
}

// By the market's clock; an exchange with sessions has none at the weekend.
bool Exchange::IsOpen(const Book& book) const {
    const Text& code = book.TheInstrument().exchange;
    if (incidents_.Closes(code)) return false;
    const auto plan = std::find_if(market_.plan.exchanges.begin(), market_.plan.exchanges.end(),
                                   [&](const ExchangePlan& each) { return each.exchange == code; });
    if (plan == market_.plan.exchanges.end() || plan->sessions.empty()) return true;
    const LocalMs now = clock_.LocalNow();
    const std::int32_t time = TimeOfDayMs(now);
    return std::chrono::weekday(std::chrono::local_days(DayOf(now))).iso_encoding() <= 5 &&
           std::any_of(plan->sessions.begin(), plan->sessions.end(), [&](const Session& each) {
               return time >= each.opensMs && time < each.closesMs;
           });
}

void Exchange::StepIncidents() {
    for (const IncidentKind kind : incidents_.Step(clock_.LocalNow(), clock_.ElapsedMs())) {
        if (kind == IncidentKind::RollDay) clock_.SkipToMidnight();
        if (kind == IncidentKind::ResetReports) notices_.emplace_back(ResetNotice{false});
    }
    const bool connected = incidents_.Active(IncidentKind::Disconnect) == nullptr;
    if (std::exchange(connected_, connected) != connected)
        notices_.emplace_back(ConnectionNotice{connected});
}

void Exchange::EndDay(Day next) {
    for (Order& order : orders_) {
        if (!order.IsWorking()) continue;
        Remove(order);
        End(order, kExpired);
    }
    notices_.emplace_back(ResetNotice{true});
    const Day last = today_;
    today_ = next;
    for (Book& book : books_) {
        const Day expiry = book.TheInstrument().expiry;
        if (HasExpired(book) && expiry >= last) Expire(book);
        book.EndDay();
    }
    for (const auto& account : accounts_)
        account->EndDay();
    prices_.StartDay();
    SetReferences();
}

// The limits of the new day lie around the last prices of the old one.
void Exchange::SetReferences() {
    for (Instrument& instrument : market_.instruments) {
        const Book& book = *bySymbol_.at(instrument.symbol);
        if (!HasExpired(book))
            SetReference(instrument, book.LastE10(), book.Underlying().LastE10());
    }
}

// A future ends at its last price, an option at what exercising it brings.
void Exchange::Expire(const Book& book) {
    const bool option = book.TheInstrument().kind == InstrumentKind::Option;
    const std::int64_t priceE10 = option ? IntrinsicE10(book) : book.LastE10();
    for (const auto& account : accounts_) {
        Dissolve(*account, book);
        account->Settle(book, priceE10);
    }
    notices_.emplace_back(ClearNotice{&book});
}

} // namespace halvane::paper
