#include "paper/accounts/Risk.h"

#include "paper/accounts/Position.h"
#include "paper/base/BlackScholes.h"
#include "paper/base/Units.h"
#include "paper/market/MarketClock.h"
#include "paper/orders/Book.h"

#include <algorithm>
#include <cmath>

namespace halvane::paper {
namespace {

constexpr double kRate = 0.0; // the market's own option prices carry none
constexpr double kDaysPerYear = 365;
constexpr double kPerPoint = 0.01;

// Of one lot held long, in money but for the first.
struct LotRisk {
    double pieces, delta, gamma, gammaPerPercent, theta, charm, vega, rho, vanna, vannaPerPoint,
        vomma, zomma, speed, timeValue;
};

struct RiskRow {
    TextView whole, today, carried;
    double LotRisk::*perLot;
};

// clang-format off
constexpr RiskRow kRisk[] = {
    {L"PosDelta",   L"TdPosDelta",   L"YdPosDelta",   &LotRisk::pieces},
    {L"$Delta",     L"Td$Delta",     L"Yd$Delta",     &LotRisk::delta},
    {L"$Gamma",     L"Td$Gamma",     L"Yd$Gamma",     &LotRisk::gamma},
    {L"1Pct$Gamma", L"1PctTd$Gamma", L"1PctYd$Gamma", &LotRisk::gammaPerPercent},
    {L"$Theta",     L"Td$Theta",     L"Yd$Theta",     &LotRisk::theta},
    {L"$Charm",     L"Td$Charm",     L"Yd$Charm",     &LotRisk::charm},
    {L"$Vega",      L"Td$Vega",      L"Yd$Vega",      &LotRisk::vega},
    {L"$Rho",       L"Td$Rho",       L"Yd$Rho",       &LotRisk::rho},
    {L"$Vanna",     L"Td$Vanna",     L"Yd$Vanna",     &LotRisk::vanna},
    {L"1Pct$Vanna", L"1PctTd$Vanna", L"1PctYd$Vanna", &LotRisk::vannaPerPoint},
    {L"$Vomma",     L"Td$Vomma",     L"Yd$Vomma",     &LotRisk::vomma},
    {L"$Zomma",     L"Td$Zomma",     L"Yd$Zomma",     &LotRisk::zomma},
    {L"$Speed",     L"Td$Speed",     L"Yd$Speed",     &LotRisk::speed},
    {L"TimeValue",  L"TdTimeValue",  L"YdTimeValue",  &LotRisk::timeValue},
};
// clang-format on

double ToDouble(std::int64_t priceE10) {
    return static_cast<double>(priceE10) / static_cast<double>(kE10);
}

// The nearest limit leaves the mark of a missing value alone.
std::int64_t Rounded(double value) {
    constexpr double kTooLarge = 9.2233720368547e18;
    return std::llround(std::clamp(value, -kTooLarge, kTooLarge));
}

bool IsOption(const Book& book) { return book.TheInstrument().kind == InstrumentKind::Option; }

double YearsLeft(const Book& option) {
    return DaysLeft(option.TheInstrument(), option.Clock().Today()) / kDaysPerYear;
}

OptionValues ValuesOf(const Book& option) {
    const Instrument& instrument = option.TheInstrument();
    return BlackScholes({.call = instrument.callPut == L"C",
                         .spot = ToDouble(option.Underlying().LastE10()),
                         .strike = ToDouble(instrument.strikeE10),
                         .rate = kRate,
                         .volatility = static_cast<double>(instrument.volatilityPpm) * 1e-6,
                         .years = YearsLeft(option)});
}

LotRisk RiskPerLot(const Book& book) {
    const auto lot = static_cast<double>(book.TheInstrument().multiplier);
    const double spot = ToDouble(book.Underlying().LastE10());
    LotRisk risk{};
    if (!IsOption(book)) {
        risk.pieces = 1;
        risk.delta = spot * lot;
        return risk;
    }
    const OptionValues values = ValuesOf(book);
    risk.pieces = values.delta;
    risk.delta = values.delta * spot * lot;
    risk.gamma = values.gamma * spot * spot * lot;
    risk.gammaPerPercent = risk.gamma * kPerPoint;
    risk.theta = values.theta * lot / kDaysPerYear;
    risk.charm = values.charm * spot * lot / kDaysPerYear;
    risk.vega = values.vega * lot * kPerPoint;
    risk.rho = values.rho * lot * kPerPoint;
    risk.vanna = values.vanna * spot * lot;
    risk.vannaPerPoint = risk.vanna * kPerPoint;
    risk.vomma = values.vomma * lot * kPerPoint * kPerPoint;
    risk.zomma = values.zomma * spot * spot * lot * kPerPoint;
    risk.speed = values.speed * spot * spot * spot * lot * kPerPoint;
    risk.timeValue = ToDouble(book.LastE10() - IntrinsicE10(book)) * lot;
    return risk;
}

} // namespace

std::vector<NamedNumber> RiskOf(const Position& position) {
    const LotRisk risk = RiskPerLot(*position.book);
    std::vector<NamedNumber> figures;
    figures.reserve(3 * std::size(kRisk));
    for (const RiskRow& row : kRisk) {
        const double perLotE10 = risk.*row.perLot * static_cast<double>(kE10);
        const std::int64_t whole = Rounded(perLotE10 * static_cast<double>(position.net));
        const std::int64_t carried = Rounded(perLotE10 * static_cast<double>(position.day.carried));
        figures.push_back({row.whole, whole});
        figures.push_back({row.today, whole - carried}); // both of one sign, the first the larger
        figures.push_back({row.carried, carried});
    }
    return figures;
}

std::int64_t ModelGainE6(const Position& position) {
    const Book& book = *position.book;
    if (!IsOption(book)) return 0;
    const double gain = ValuesOf(book).value - ToDouble(book.LastE10());
    const std::int64_t units = position.net * book.TheInstrument().multiplier;
    return Rounded(gain * static_cast<double>(units) * static_cast<double>(kE6));
}

std::int64_t ModelValueE6(const Position& position) {
    if (position.book->TheInstrument().kind == InstrumentKind::Future) return 0;
    return position.ValueE6() + ModelGainE6(position);
}

std::int64_t IntrinsicE10(const Book& book) {
    if (!IsOption(book)) return 0;
    const Instrument& instrument = book.TheInstrument();
    const std::int64_t distance = book.Underlying().LastE10() - instrument.strikeE10;
    return std::max<std::int64_t>(instrument.callPut == L"C" ? distance : -distance, 0);
}

} // namespace halvane::paper
