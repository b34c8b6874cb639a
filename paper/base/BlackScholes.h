#pragma once

namespace halvane::paper {

// The model of Black and Scholes for European options on something that pays nothing.

struct OptionTerms {
    bool call;
    double spot;       // of what lies beneath, above 0
    double strike;     // above 0
    double rate;       // a year, continuously compounded
    double volatility; // a year, above 0
    double years;      // until expiry; from 0 down the option is worth what exercising it brings
};

// The value of one option and its derivatives. What time brings (theta, charm) is per year that
// passes; vega, rho and what derives from them are per 1.00 of volatility or rate.
struct OptionValues {
    double value = 0;
    double delta = 0; // by spot
    double gamma = 0; // delta by spot
    double theta = 0; // by time
    double vega = 0;  // by volatility
    double rho = 0;   // by rate
    double charm = 0; // delta by time
    double vanna = 0; // delta by volatility
    double vomma = 0; // vega by volatility
    double speed = 0; // gamma by spot
    double zomma = 0; // gamma by volatility
};

OptionValues BlackScholes(const OptionTerms& terms);

} // namespace halvane::paper
