#pragma once

#include "paper/market/Incidents.h"
#include "paper/market/MarketClock.h"
#include "paper/market/MarketPlan.h"

#include <vector>

namespace halvane::paper {

class Book;

// What time it is on the market, which day is traded, and what is open in it: by the sessions of
// the exchanges and by the incidents that go on.
class TradingHours {
  public:
    // The plan must live as long.
    explicit TradingHours(const MarketPlan& plan);

    // Moves on by one step; the incidents that happen once and have become due.
    std::vector<IncidentKind> Step();

    const MarketClock& Clock() const { return clock_; }
    Incidents& TheIncidents() { return incidents_; }

    // Orders belong to this day until another one begins, also after midnight.
    Day TradingDay() const { return today_; }
    void BeginDay(Day day) { today_ = day; }

    // No more orders are taken in it and its price stands still.
    bool HasExpired(const Book& book) const;
    // Cancellations are taken at all times, orders and replacements only when it is open.
    bool IsOpen(const Book& book) const;
    // Is the platform there? An incident takes it away; the market goes on.
    bool IsConnected() const { return incidents_.Active(IncidentKind::Disconnect) == nullptr; }

  private:
    const MarketPlan& plan_;
    MarketClock clock_;
    Incidents incidents_;
    Day today_;
};

} // namespace halvane::paper
