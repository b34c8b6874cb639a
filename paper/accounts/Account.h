#pragma once

#include "paper/accounts/Audit.h"
#include "paper/accounts/CombinationRows.h"
#include "paper/accounts/Position.h"
#include "paper/market/Market.h"

#include <cstdint>
#include <map>
#include <vector>

namespace halvane::paper {

// What an account is worth at the last prices, in millionths.
struct Funds {
    std::int64_t cash = 0;
    std::int64_t stockValue = 0;
    std::int64_t longOptionValue = 0, shortOptionValue = 0;           // the second one is below 0
    std::int64_t optionProfit = 0, futureProfit = 0, stockProfit = 0; // open
    std::int64_t margin = 0;
    Frozen frozen;

    std::int64_t OptionValue() const { return longOptionValue + shortOptionValue; }
    std::int64_t Equity() const { return cash + futureProfit + stockValue + OptionValue(); }
    std::int64_t OpenProfit() const { return optionProfit + futureProfit + stockProfit; }
    // What new orders may use: neither paid for something, nor pledged, nor held back.
    std::int64_t Free() const { return cash + futureProfit - margin - frozen.Total(); }
};

// One account: its cash and its positions. Stocks and options are paid in full when they trade,
// futures when they are closed.
class Account {
  public:
    explicit Account(AccountSetup setup);

    const AccountSetup& Setup() const { return setup_; }
    const Text& Mask() const { return mask_; } // "<BrokerID>-<Account>"

    // The position in the book's instrument, which is made when there is none.
    Position& PositionIn(const Book& book);
    const std::map<const Book*, Position>& Positions() const { return positions_; }
    // Those that ever had a fill, in the order of their first one.
    const std::vector<const Position*>& Held() const { return held_; }

    CombinationRows& Combinations() { return combinations_; }
    const CombinationRows& Combinations() const { return combinations_; }

    // Holds back what the order needs, or gives it back. Between the two the order stays as it is.
    void Freeze(Order& order, const Needs& needs);
    void Release(Order& order);

    void Apply(const Fill& fill);
    // Closes what is held of a contract that has expired, without commission.
    void Settle(const Book& book, std::int64_t priceE10);
    // Do cash and positions at market make the sum of all fills? They do, or a fill was booked
    // wrong.
    bool Balances() const;
    void EndDay();

    Funds Reckon() const;
    // Figures of the day, but for the cash.
    std::int64_t CashE6() const { return cashE6_; }
    std::int64_t CashAtStartE6() const { return cashAtStartE6_; }
    std::int64_t MarginAtStartE6() const { return marginAtStartE6_; }
    std::int64_t CommissionE6() const { return commissionE6_; }
    std::int64_t RealisedE6() const { return realisedE6_; }
    std::int64_t OptionPremiumE6() const { return optionPremiumE6_; }

  private:
    void Work(Position& position, bool buy, std::int32_t quantity, const Frozen& need);
    void Trade(Position& position, bool buy, std::int64_t priceE10, std::int64_t quantity);

    AccountSetup setup_;
    Text mask_;
    std::int64_t cashE6_;
    std::int64_t cashAtStartE6_;
    std::int64_t marginAtStartE6_ = 0;
    std::int64_t commissionE6_ = 0;
    std::int64_t realisedE6_ = 0;
    std::int64_t optionPremiumE6_ = 0; // received less paid
    Frozen frozen_;
    Audit audit_;
    std::map<const Book*, Position> positions_;
    std::vector<const Position*> held_;
    CombinationRows combinations_;
};

} // namespace halvane::paper
