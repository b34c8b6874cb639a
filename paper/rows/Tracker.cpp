#include "paper/rows/Tracker.h"

#include "paper/accounts/Account.h"
#include "paper/accounts/Risk.h"
#include "paper/base/Units.h"
#include "paper/orders/Book.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace halvane::paper {
namespace {

void Append(Text& list, const Text& text) {
    if (!list.empty()) list += L';';
    list += text;
}

// How much is held for each piece that was traded today, in units of 1e-10.
std::int64_t PosFillRatioE10(const Position& position) {
    const std::int64_t fills = position.bought + position.sold;
    return fills == 0 ? kNoInt64 : Share(std::abs(position.net), kE10, fills);
}

void PutProfits(std::vector<NamedNumber>& figures, const Position& position) {
    const PositionDay& day = position.day;
    const std::int64_t modelGain = ModelGainE6(position);
    const std::int64_t today = position.DayProfitE6();
    // clang-format off
    const std::pair<TextView, std::int64_t> rows[] = {
        {L"FloatPnL",  position.OpenProfitE6()},
        {L"ClosePnL",  position.realisedE6},
        {L"TdPnL",     today},
        {L"YdPnL",     day.previousE6},
        {L"TheoPnL",   position.ProfitE6() + modelGain},
        {L"TdTheoPnL", today + modelGain - day.modelGainAtStartE6},
        {L"YdTheoPnl", day.previousModelE6},
    };
    // clang-format on
    for (const auto& [name, amount] : rows)
        figures.push_back({name, AmountE10(amount)});
}

// The net open interest in the calls or puts that the position is in, and the parts of it.
void PutOpenInterest(std::vector<NamedNumber>& figures, const Position& position, TextView callPut,
                     const std::array<TextView, 3>& names) {
    const bool counts = position.book->TheInstrument().callPut == callPut;
    const std::int64_t carried = counts ? position.day.carried : 0;
    const std::int64_t net = counts ? position.net : 0;
    figures.push_back({names[0], net});
    figures.push_back({names[1], net - carried});
    figures.push_back({names[2], carried});
}

// Profits, Greeks and the ratio in units of 1e-10, all else whole numbers.
std::vector<NamedNumber> FiguresOf(const Position& position) {
    std::vector<NamedNumber> figures = RiskOf(position);
    PutProfits(figures, position);
    PutOpenInterest(figures, position, L"C", {L"CallOI", L"TdCallOI", L"YdCallOI"});
    PutOpenInterest(figures, position, L"P", {L"PutOI", L"TdPutOI", L"YdPutOI"});
    figures.push_back({L"LongOI", position.LongQty()});
    figures.push_back({L"ShortOI", position.ShortQty()});
    figures.push_back({L"TdOpenQty", position.opened});
    figures.push_back({L"TdCloseQty", position.closed});
    figures.push_back({L"BuyFill", position.bought});
    figures.push_back({L"SellFill", position.sold});
    figures.push_back({L"BSFill", position.bought - position.sold});
    figures.push_back({L"PosFillRatio", PosFillRatioE10(position)});
    figures.push_back({L"OrderNumbers", position.day.orders});
    figures.push_back({L"DealNumbers", position.day.deals});
    figures.push_back({L"DeleteNumbers", position.day.deletions});
    return figures;
}

} // namespace

void Tracker::Clear() {
    rows_.clear();
    next_ = 0;
}

void Tracker::Add(const Account& account) {
    for (const Position* position : account.Held()) {
        rows_.push_back({account.Mask() + L":ALL", position->book->TheInstrument().symbol,
                         FiguresOf(*position)});
    }
    if (rows_.empty() || !places_.empty()) return;
    for (const NamedNumber& figure : rows_.front().figures)
        places_.emplace(figure.name, places_.size());
}

Text Tracker::Entries() {
    Text entries;
    const Text* previous = nullptr;
    for (const Row& row : rows_) {
        if (previous == nullptr || *previous != row.entry) Append(entries, row.entry);
        previous = &row.entry;
    }
    return entries;
}

Text Tracker::Instruments(TextView entry) {
    Text instruments;
    for (const Row& row : rows_) {
        if (row.entry == entry) Append(instruments, row.instrument);
    }
    return instruments;
}

std::int64_t Tracker::Figure(TextView entry, TextView instrument, TextView name) {
    const auto isIt = [&](const Row& row) {
        return row.instrument == instrument && row.entry == entry;
    };
    // Whoever asks for one figure of a row asks for the others next.
    if (at_ >= rows_.size() || !isIt(rows_[at_])) {
        at_ = static_cast<std::size_t>(std::ranges::find_if(rows_, isIt) - rows_.begin());
        next_ = 0;
    }
    return at_ < rows_.size() ? FigureOf(rows_[at_], name) : kNoInt64;
}

// The figures of each row are asked for in the order of those of the row before.
std::int64_t Tracker::FigureOf(const Row& row, TextView name) {
    if (next_ > 2 * row.figures.size()) next_ = 0; // of one row for ever
    if (next_ >= asked_.size() || row.figures[asked_[next_]].name != name) {
        const auto place = places_.find(name);
        if (place == places_.end()) return kNoInt64;
        asked_.resize(next_);
        asked_.push_back(place->second);
    }
    return row.figures[asked_[next_++]].value;
}

} // namespace halvane::paper
