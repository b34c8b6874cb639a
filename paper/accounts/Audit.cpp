#include "paper/accounts/Audit.h"

#include "paper/base/Units.h"
#include "paper/orders/Book.h"

namespace halvane::paper {

void Audit::Trade(const Book& book, std::int64_t quantity, std::int64_t priceE10) {
    held_[&book] += quantity;
    paidE6_ += AmountE6(priceE10, quantity * book.TheInstrument().multiplier);
}

std::int64_t Audit::ProfitE6() const {
    std::int64_t profit = -paidE6_;
    for (const auto& [book, quantity] : held_)
        profit += AmountE6(book->LastE10(), quantity * book->TheInstrument().multiplier);
    return profit;
}

} // namespace halvane::paper
