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

void Exchange::Count(Order& order) {
    const auto count = [&](const Book& book) {
        PositionDay& day = order.account.PositionIn(book).day;
        if (order.state.execType == kNew) ++day.orders;
        if (order.state.execType == kCancelled) ++day.deletions;
    };
    count(order.book);
    if (order.second) count(order.second->book);
}

void Exchange::StepTime() {
    const bool connected = hours_.IsConnected();
    for (const IncidentKind kind : hours_.Step()) {
        if (kind == IncidentKind::ResetReports) notices_.emplace_back(ResetNotice{false});
    }
    if (hours_.IsConnected() != connected) notices_.emplace_back(ConnectionNotice{!connected});
}

void Exchange::EndDayIfOver() {
    if (const Day now = Clock().Today(); now > hours_.TradingDay()) EndDay(now);
}

void Exchange::EndDay(Day next) {
    for (Order& order : registry_.Orders()) {
        if (!order.IsWorking()) continue;
        Remove(order);
        End(order, kExpired);
    }
    notices_.emplace_back(ResetNotice{true});
    const Day last = hours_.TradingDay();
    hours_.BeginDay(next);
    for (Book& book : books_) {
        const Day expiry = book.TheInstrument().expiry;
        if (hours_.HasExpired(book) && expiry >= last) Expire(book);
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
        if (!hours_.HasExpired(book))
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
