#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <map>
#include <vector>

namespace halvane::paper {

class Account;
class Book;
class Exchange;

// A trading signal of the market's own: the mean of an instrument's last 40 prices against that of
// its last 240, one price a step. The score is 1 when the first stands above the second by a tick
// of the price or more, -1 when below, and stays as it was in between. A signal tells that it has
// changed.
struct Signal {
    const Book* book;
    std::int32_t score;
    std::int32_t change;
    std::int64_t distanceE10;    // of the means
    std::int32_t number;         // of the instrument's signals so far
    std::int32_t sumOfAllScores; // of all instruments
};

// As it goes to an account, with "|" between:
//   symbol, account, the size quoted on the side that the score would take, score, its change,
//   the account's open profit in the instrument, the distance in ticks, what the distance is worth
//   for one lot, the lots (sold below 0) that bring the account to one lot in the score's
//   direction, the number of the signal, the sum of all scores, 0: no spread
Text SignalText(const Signal& signal, const Account& account);

// Watches stocks and futures.
class Signals {
  public:
    // Takes the prices of one step.
    std::vector<Signal> Step(const Exchange& exchange);

  private:
    struct Series {
        std::vector<std::int64_t> pricesE10; // the oldest at `oldest`, once there are enough
        std::size_t oldest = 0;
        std::int64_t fastSumE10 = 0, slowSumE10 = 0;
        std::int32_t score = 0;
        std::int32_t signals = 0;

        void Add(std::int64_t priceE10);
        // Brings the score up to date; what it has changed by.
        std::int32_t Judge(std::int64_t tickE10);
        std::int64_t DistanceE10() const;
    };

    std::map<const Book*, Series> series_;
};

} // namespace halvane::paper
