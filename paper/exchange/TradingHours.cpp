#include "paper/exchange/TradingHours.h"

#include "paper/orders/Book.h"

#include <algorithm>

namespace halvane::paper {
namespace {

bool IsWeekday(Day day) {
    return std::chrono::weekday(std::chrono::local_days(day)).iso_encoding() <= 5;
}

} // namespace

TradingHours::TradingHours(const MarketPlan& plan)
    : plan_(plan), clock_(plan.start), incidents_(plan.incidents, clock_.Begun()),
      today_(clock_.Today()) {}

std::vector<IncidentKind> TradingHours::Step() {
    clock_.Advance(plan_.stepMs);
    std::vector<IncidentKind> due = incidents_.Step(clock_.LocalNow(), clock_.ElapsedMs());
    for (const IncidentKind kind : due) {
        if (kind == IncidentKind::RollDay) clock_.SkipToMidnight();
    }
    return due;
}

bool TradingHours::HasExpired(const Book& book) const {
    const Day expiry = book.TheInstrument().expiry;
    return expiry.ok() && expiry < today_;
}

// By the market's clock; an exchange with sessions has none at the weekend.
bool TradingHours::IsOpen(const Book& book) const {
    const Text& code = book.TheInstrument().exchange;
    if (incidents_.Closes(code)) return false;
    const auto exchange = std::ranges::find(plan_.exchanges, code, &ExchangePlan::exchange);
    if (exchange == plan_.exchanges.end() || exchange->sessions.empty()) return true;
    const LocalMs now = clock_.LocalNow();
    const std::int32_t time = TimeOfDayMs(now);
    return IsWeekday(DayOf(now)) && std::ranges::any_of(exchange->sessions, [&](Session each) {
               return time >= each.opensMs && time < each.closesMs;
           });
}

} // namespace halvane::paper
