#include "tradeapi/paper/Calendar.h"

#include "foundation/support/Clock.h"
#include "foundation/support/Strings.h"

namespace halvane::paper {

namespace chrono = std::chrono;

Stamp Now() {
    const LocalTime now = ToLocalTime(TheClock().UnixTimeMs());
    return {now.year * 10000 + now.month * 100 + now.day,
            ((now.hour * 100 + now.minute) * 100 + now.second) * 1000 + now.milliseconds};
}

Day Today() { return DayOf(Now().date); }

Text DateText(Day day) {
    return Format(L"%04d%02u%02u", static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                  static_cast<unsigned>(day.day()));
}

Text MonthText(Day day) { return DateText(day).substr(0, 6); }

Day DayOf(std::int32_t date) {
    if (date < 0) return {};
    return {chrono::year(date / 10000), chrono::month(static_cast<unsigned>(date / 100 % 100)),
            chrono::day(static_cast<unsigned>(date % 100))};
}

Day QuarterExpiry(Day day, int skip) {
    const unsigned quarterEnd = (static_cast<unsigned>(day.month()) + 2) / 3 * 3;
    chrono::year_month month(day.year(), chrono::month(quarterEnd));
    const auto expiry = [&month] { return Day(month / chrono::Wednesday[3]); };
    if (expiry() < day) month += chrono::months(3);
    month += chrono::months(3 * skip);
    return expiry();
}

std::int32_t TradingDaysBetween(Day from, Day to) {
    const chrono::sys_days first(from);
    const chrono::sys_days last(to);
    if (last <= first) return 0;
    const auto days = (last - first).count();
    auto count = static_cast<std::int32_t>(days / 7 * 5);
    for (chrono::sys_days day = first + chrono::days(days / 7 * 7 + 1); day <= last;
         day += chrono::days(1)) {
        if (chrono::weekday(day).iso_encoding() <= 5) ++count;
    }
    return count;
}

} // namespace halvane::paper
