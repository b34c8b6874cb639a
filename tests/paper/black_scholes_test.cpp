#include "paper/base/BlackScholes.h"

#include <gtest/gtest.h>

#include <cmath>

namespace halvane::paper {
namespace {

// Worked examples from the textbooks, to the digits that they print.
TEST(BlackScholes, AgreesWithTheTextbooks) {
    const struct {
        OptionTerms terms;
        double OptionValues::*member;
        double expected, tolerance;
    } kCases[] = {
        {{true, 42, 40, 0.10, 0.20, 0.5}, &OptionValues::value, 4.76, 0.005},
        {{false, 42, 40, 0.10, 0.20, 0.5}, &OptionValues::value, 0.81, 0.005},
        {{true, 49, 50, 0.05, 0.20, 0.3846}, &OptionValues::value, 2.40, 0.005},
        {{true, 49, 50, 0.05, 0.20, 0.3846}, &OptionValues::delta, 0.522, 0.0005},
        {{true, 49, 50, 0.05, 0.20, 0.3846}, &OptionValues::gamma, 0.066, 0.0005},
        {{true, 49, 50, 0.05, 0.20, 0.3846}, &OptionValues::theta, -4.31, 0.005},
        {{true, 49, 50, 0.05, 0.20, 0.3846}, &OptionValues::vega, 12.1, 0.05},
        {{true, 49, 50, 0.05, 0.20, 0.3846}, &OptionValues::rho, 8.91, 0.005},
        {{true, 60, 65, 0.08, 0.30, 0.25}, &OptionValues::value, 2.1334, 0.00005},
        {{false, 100, 100, 0.0, 0.20, 1.0}, &OptionValues::value, 7.9656, 0.00005},
    };
    for (const auto& each : kCases) {
        EXPECT_NEAR(BlackScholes(each.terms).*each.member, each.expected, each.tolerance);
    }
}

// Each derivative against the slope of what it derives from.
TEST(BlackScholes, DerivativesAreSlopes) {
    using Values = OptionValues;
    const struct {
        double Values::*of;
        double OptionTerms::*by;
        double sign; // time that passes is time that is left no more
        double Values::*derivative;
    } kCases[] = {
        {&Values::value, &OptionTerms::spot, 1, &Values::delta},
        {&Values::delta, &OptionTerms::spot, 1, &Values::gamma},
        {&Values::value, &OptionTerms::years, -1, &Values::theta},
        {&Values::value, &OptionTerms::volatility, 1, &Values::vega},
        {&Values::value, &OptionTerms::rate, 1, &Values::rho},
        {&Values::delta, &OptionTerms::years, -1, &Values::charm},
        {&Values::delta, &OptionTerms::volatility, 1, &Values::vanna},
        {&Values::vega, &OptionTerms::volatility, 1, &Values::vomma},
        {&Values::gamma, &OptionTerms::spot, 1, &Values::speed},
        {&Values::gamma, &OptionTerms::volatility, 1, &Values::zomma},
    };
    const OptionTerms kTerms[] = {
        {true, 42, 40, 0.10, 0.20, 0.5},
        {false, 42, 40, 0.10, 0.20, 0.5},
        {true, 95, 110, 0.0, 0.35, 0.1},
        {false, 130, 110, -0.01, 0.15, 2.0},
    };
    for (const OptionTerms& terms : kTerms) {
        for (std::size_t row = 0; row < std::size(kCases); ++row) {
            const auto& each = kCases[row];
            const double step = std::max(terms.*each.by, 0.01) * 1e-4;
            OptionTerms above = terms, below = terms;
            above.*each.by += step;
            below.*each.by -= step;
            const double slope =
                (BlackScholes(above).*each.of - BlackScholes(below).*each.of) / (2 * step);
            const double derivative = BlackScholes(terms).*each.derivative;
            EXPECT_NEAR(derivative, each.sign * slope, std::abs(derivative) * 1e-5 + 1e-9) << row;
        }
    }
}

TEST(BlackScholes, EndsWithTheIntrinsicValue) {
    const struct {
        bool call;
        double spot, years, value, delta;
    } kCases[] = {
        {true, 110, 0, 10, 1},  {false, 110, 0, 0, 0}, {true, 90, -1, 0, 0},
        {false, 90, 0, 10, -1}, {true, 100, 0, 0, 0},  {true, 110, 1e-12, 10, 1},
    };
    for (const auto& each : kCases) {
        const OptionValues values = BlackScholes({each.call, each.spot, 100, 0.0, 0.2, each.years});
        EXPECT_NEAR(values.value, each.value, 1e-9);
        EXPECT_NEAR(values.delta, each.delta, 1e-9);
        EXPECT_NEAR(values.gamma, 0, 1e-9);
        EXPECT_TRUE(std::isfinite(values.charm + values.zomma + values.theta));
    }
}

} // namespace
} // namespace halvane::paper
