#include "clients/cpp/Operations.h"

#include "clients/cpp/halvane.h"
#include "foundation/support/Utf.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace halvane::client {
namespace {

struct KnownOperation {
    std::string_view name;
    Handling handling;
};

constexpr KnownOperation kKnownOperations[] = {
    // clang-format off         repeatable, heavy
    {"LOGIN", {true, false}},
    {"LOGOUT", {true, false}},
    {"PONG", {true, false}},
    {"STATUS", {true, false}},
    {"FEEDSTATUS", {true, false}},
    {"FEEDREPLAY", {true, false}},
    {"QUERYINSTRUMENTINFO", {true, false}},
    {"ACCOUNTS", {true, true}},
    {"MARGINS", {true, true}},
    {"POSITIONS", {true, true}},
    {"POSITIONTRACKER", {true, true}},
    {"QUERYALLINSTRUMENT", {true, true}},
    {"QUERYOPTCOMBORDER", {true, true}},
    {"QUERYOPTCOMBPOSITION", {true, true}},
    {"RESTOREREPORT", {true, true}},
    {"RESTOREFILLREPORT", {true, true}},
    // clang-format on
};

constexpr double kUnit = 1e10; // the platform counts prices in units of 1e-10
constexpr std::size_t kPlaces = 10;

bool AreDigits(std::string_view text) {
    return text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::optional<std::int64_t> UnitsOf(std::string_view digits) {
    std::int64_t units = 0;
    const auto [end, fault] = std::from_chars(digits.data(), digits.data() + digits.size(), units);
    if (fault != std::errc() || end != digits.data() + digits.size()) return {};
    return units;
}

// What the gateway makes of the text: a double, times 1e10, the rest cut off.
bool ArrivesAs(std::int64_t units, const std::string& text) {
    double value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    const double scaled = value * kUnit;
    return scaled < 9.2e18 && static_cast<std::int64_t>(scaled) == units;
}

std::string NextAbove(const std::string& plain) {
    double value = 0;
    std::from_chars(plain.data(), plain.data() + plain.size(), value);
    char text[400];
    const auto [end, fault] = std::to_chars(
        std::begin(text), std::end(text),
        std::nextafter(value, std::numeric_limits<double>::infinity()), std::chars_format::fixed);
    return fault == std::errc() ? std::string(text, end) : plain;
}

} // namespace

Handling HandlingOf(std::string_view name) {
    for (const KnownOperation& known : kKnownOperations) {
        if (known.name == name) return known.handling;
    }
    return {};
}

int RequestPortOf(std::string_view systemName) {
    const std::optional<halvane::Text> name = FromUtf8(systemName);
    if (!name) return 0;
    std::uint64_t port = 50'000;
    for (const wchar_t unit : *name + L"-Trade")
        port += static_cast<std::uint16_t>(unit);
    return static_cast<int>(port >= 60'000 ? port - 10'000 : port); // once, as the gateway does
}

std::optional<std::string> ReplacePrice(std::string_view price) {
    const std::size_t point = std::min(price.find('.'), price.size());
    std::string whole(price.substr(0, point));
    std::string places(point < price.size() ? price.substr(point + 1) : "");
    while (places.size() > kPlaces && places.back() == '0')
        places.pop_back();
    if (whole.empty() && places.empty()) return {};
    if (!AreDigits(whole) || !AreDigits(places) || places.size() > kPlaces) return {};
    places.resize(kPlaces, '0');
    const std::optional<std::int64_t> units = UnitsOf(whole + places);
    if (!units) return {};
    if (whole.empty()) whole = "0";
    // Half a unit more keeps the cutting from taking one away; where doubles are coarser than that,
    // the next one may.
    const std::string plain = whole + "." + places;
    for (const std::string& text : {plain + "5", plain, NextAbove(plain)}) {
        if (ArrivesAs(*units, text)) return text;
    }
    return {};
}

} // namespace halvane::client
