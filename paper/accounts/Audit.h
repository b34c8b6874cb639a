#pragma once

#include <cstdint>
#include <map>

namespace halvane::paper {

class Book;

// An account's books, kept a second time and as simply as can be: what was paid, and how much of
// each instrument is there. Costs, profits, margins and days do not come into it, so that it finds
// what they get wrong.
class Audit {
  public:
    // A trade of so much, sold below 0, or what an expiry comes to.
    void Trade(const Book& book, std::int64_t quantity, std::int64_t priceE10);
    void Pay(std::int64_t amountE6) { paidE6_ += amountE6; }

    // What all trades and payments have brought, what is held at the last prices.
    std::int64_t ProfitE6() const;

  private:
    std::int64_t paidE6_ = 0;
    std::map<const Book*, std::int64_t> held_;
};

} // namespace halvane::paper
