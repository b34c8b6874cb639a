#pragma once

#include "foundation/support/Text.h"

#include <chrono>
#include <cstdint>

namespace halvane::paper {

// Days as the exchanges count them: every weekday is a trading day.

using Day = std::chrono::year_month_day;

// A moment by the wall clock of the market's place, whatever its zone.
using LocalMs = std::chrono::local_time<std::chrono::milliseconds>;

// A moment in local time as reports carry it: yyyymmdd and hhmmssmmm.
struct Stamp {
    std::int32_t date;
    std::int32_t time;
};

Stamp StampOf(LocalMs moment);
Day DayOf(LocalMs moment);
// Since midnight.
std::int32_t TimeOfDayMs(LocalMs moment);

// By the clock of this machine.
LocalMs LocalNow();
Stamp Now();
Day Today();

// "yyyymmdd" and "yyyymm".
Text DateText(Day day);
Text MonthText(Day day);

// The day that yyyymmdd names; not ok() when there is none such.
Day DayOf(std::int32_t date);

// The third Wednesday of a quarter's last month that is `day` or comes next after it; with `skip` 1
// the one after that, and so on.
Day QuarterExpiry(Day day, int skip);

// Trading days after `from` up to and including `to`; 0 when `to` is not later.
std::int32_t TradingDaysBetween(Day from, Day to);

} // namespace halvane::paper
