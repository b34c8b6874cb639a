#include "paper/base/Calendar.h"

#include "foundation/support/Clock.h"
#include "foundation/support/Format.h"
#include "foundation/support/Numbers.h"

namespace halvane::paper {

namespace chrono = std::chrono;

Stamp StampOf(LocalMs moment) {
    const Day day = DayOf(moment);
    const chrono::hh_mm_ss time(chrono::milliseconds(TimeOfDayMs(moment)));
    const auto number = [](auto part) { return static_cast<std::int32_t>(part.count()); };
    const unsigned monthAndDay =
        static_cast<unsigned>(day.month()) * 100 + static_cast<unsigned>(day.day());
    return {static_cast<int>(day.year()) * 10000 + static_cast<int>(monthAndDay),
            ((number(time.hours()) * 100 + number(time.minutes())) * 100 + number(time.seconds())) *
                    1000 +
                number(time.subseconds())};
}

Day DayOf(LocalMs moment) { return Day(chrono::floor<chrono::days>(moment)); }

std::int32_t TimeOfDayMs(LocalMs moment) {
    return static_cast<std::int32_t>((moment - chrono::floor<chrono::days>(moment)).count());
}

LocalMs LocalNow() {
    const LocalTime now = ToLocalTime(TheClock().UnixTimeMs());
    const Day day(chrono::year(now.year), chrono::month(now.month), chrono::day(now.day));
    return chrono::local_days(day) + chrono::hours(now.hour) + chrono::minutes(now.minute) +
           chrono::seconds(now.second) + chrono::milliseconds(now.milliseconds);
}

Stamp Now() { return StampOf(LocalNow()); }
Day Today() { return DayOf(LocalNow()); }

Text DateText(Day day) {
    return Format(L"%04d%02d%02d", static_cast<int>(day.year()),
                  static_cast<int>(static_cast<unsigned>(day.month())),
                  static_cast<int>(static_cast<unsigned>(day.day())));
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
