#pragma once

#include "paper/base/PaperItem.h"

#include <cstdint>
#include <vector>

namespace halvane::paper {

class Book;
struct Position;

// What positions are exposed to, by Black-Scholes at the volatility of what lies beneath and a rate
// of 0. Options stand on the future of their month; stocks and futures move with themselves. A day
// has 1/365 of a year, and the expiry day counts in full. No order and no account hangs on any of
// this.

// All figures of a position by the names of position rows and the tracker: of the whole, of what
// was opened today ("Td") and of what is held since before ("Yd"); the first is the sum of the
// others. In units of 1e-10, the nearest limit when too large:
//   PosDelta            pieces of what lies beneath, per lot
//   $Delta              value of those
//   $Gamma, 1Pct$Gamma  change of $Delta when the price doubles by its slope, and per 1 %
//   $Theta, $Charm      change of value and of $Delta per day that passes
//   $Vega, $Rho         change of value per percentage point of volatility and of rate
//   $Vanna, 1Pct$Vanna  change of $Delta per 100 points of volatility, and per point
//   $Vomma, $Zomma      change of $Vega and of $Gamma per point of volatility
//   $Speed              change of $Gamma per 1 % of the price
//   TimeValue           value above what exercising would bring
std::vector<NamedNumber> RiskOf(const Position& position);

// What the model would pay for the position above its last price; 0 for all but options.
std::int64_t ModelGainE6(const Position& position);

// The position at the model's price. Futures have no value of their own: 0.
std::int64_t ModelValueE6(const Position& position);

// What exercising a unit would bring at the last prices; 0 for all but options.
std::int64_t IntrinsicE10(const Book& book);

} // namespace halvane::paper
