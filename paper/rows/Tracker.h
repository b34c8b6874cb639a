#pragma once

#include "paper/base/PaperItem.h"
#include "tradeapi/Items.h"

#include <unordered_map>
#include <vector>

namespace halvane::paper {

class Account;

// The figures of the positions as they were when the tracker was attached: one entry for each
// account that holds any, one instrument for each position. Names that are not known give kNoInt64.
class Tracker : public PositionTracker {
  public:
    Text Entries() override;
    Text Instruments(TextView entry) override;
    std::int64_t Figure(TextView entry, TextView instrument, TextView name) override;

    void Clear();
    void Add(const Account& account);

  private:
    struct Row {
        Text entry, instrument;
        std::vector<NamedNumber> figures; // the same ones in each row
    };
    std::int64_t FigureOf(const Row& row, TextView name);

    std::vector<Row> rows_;                            // those of one entry stand together
    std::unordered_map<TextView, std::size_t> places_; // of the figures
    std::size_t at_ = 0;                               // the row that was asked for last
    std::vector<std::size_t> asked_; // the places that were asked for of a row, in their order
    std::size_t next_ = 0;           // of them
};

} // namespace halvane::paper
