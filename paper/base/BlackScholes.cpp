#include "paper/base/BlackScholes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace halvane::paper {
namespace {

double NormalDensity(double x) {
    return std::exp(-x * x / 2) * std::numbers::inv_sqrtpi / std::numbers::sqrt2;
}

double NormalDistribution(double x) { return std::erfc(-x / std::numbers::sqrt2) / 2; }

OptionValues AtExpiry(const OptionTerms& terms) {
    const double sign = terms.call ? 1 : -1;
    const double distance = sign * (terms.spot - terms.strike);
    return {.value = std::max(distance, 0.0), .delta = distance > 0 ? sign : 0};
}

} // namespace

OptionValues BlackScholes(const OptionTerms& terms) {
    if (terms.years <= 0) return AtExpiry(terms);
    const auto& [call, spot, strike, rate, volatility, years] = terms;
    const double sign = call ? 1 : -1;
    const double root = std::sqrt(years);
    const double deviation = volatility * root;
    const double drift = (rate + volatility * volatility / 2) * years;
    const double d1 = (std::log(spot / strike) + drift) / deviation;
    const double d2 = d1 - deviation;
    const double density = NormalDensity(d1);
    const double exercised = NormalDistribution(sign * d2); // how likely, in the model's measure
    const double discounted = strike * std::exp(-rate * years);

    OptionValues values{};
    values.delta = sign * NormalDistribution(sign * d1);
    values.value = spot * values.delta - sign * discounted * exercised;
    values.gamma = density / (spot * deviation);
    values.vega = spot * density * root;
    values.theta = -values.vega * volatility / (2 * years) - sign * rate * discounted * exercised;
    values.rho = sign * years * discounted * exercised;
    values.charm = -density * (rate / deviation - d2 / (2 * years));
    values.vanna = -density * d2 / volatility;
    values.vomma = values.vega * d1 * d2 / volatility;
    values.speed = -values.gamma / spot * (d1 / deviation + 1);
    values.zomma = values.gamma * (d1 * d2 - 1) / volatility;
    return values;
}

} // namespace halvane::paper
