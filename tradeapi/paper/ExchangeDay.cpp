#include "tradeapi/paper/Codes.h"
#include "tradeapi/paper/Combinations.h"
#include "tradeapi/paper/Exchange.h"
#include "tradeapi/paper/Risk.h"

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
    if (const Day now = Today(); now > today_) EndDay(now);
}

void Exchange::EndDay(Day next) {
    for (Order& order : orders_) {
        if (!order.IsWorking()) continue;
        Remove(order);
        End(order, kExpired);
    }
    notices_.emplace_back(ResetNotice{});
    const Day last = today_;
    today_ = next;
    for (Book& book : books_) {
        const Day expiry = book.TheInstrument().expiry;
        if (HasExpired(book) && expiry >= last) Expire(book);
        book.EndDay();
    }
    for (const auto& account : accounts_)
        account->EndDay();
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
