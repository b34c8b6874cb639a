#include "tradeapi/paper/Tracker.h"

#include "tradeapi/paper/Account.h"
#include "tradeapi/paper/Book.h"
#include "tradeapi/paper/Units.h"

namespace halvane::paper {
namespace {

void Append(Text& list, const Text& text) {
    if (!list.empty()) list += L';';
    list += text;
}

// Profits in units of 1e-10, all else whole numbers.
PaperValues<TextView> FiguresOf(const Position& position) {
    const Instrument& instrument = position.book->TheInstrument();
    PaperValues<TextView> figures;
    const std::int64_t open = position.OpenProfitE6();
    figures.Put(L"FloatPnL", AmountE10(open));
    figures.Put(L"ClosePnL", AmountE10(position.realisedE6));
    figures.Put(L"TdPnL", AmountE10(open + position.realisedE6));
    figures.Put(L"LongOI", position.LongQty());
    figures.Put(L"ShortOI", position.ShortQty());
    figures.Put(L"TdOpenQty", position.opened);
    figures.Put(L"TdCloseQty", position.closed);
    figures.Put(L"BuyFill", position.bought);
    figures.Put(L"SellFill", position.sold);
    figures.Put(L"BSFill", position.bought - position.sold);
    const std::int64_t call = instrument.callPut == L"C" ? position.net : 0;
    const std::int64_t put = instrument.callPut == L"P" ? position.net : 0;
    figures.Put(L"CallOI", call);
    figures.Put(L"TdCallOI", call);
    figures.Put(L"YdCallOI", std::int64_t{0});
    figures.Put(L"PutOI", put);
    figures.Put(L"TdPutOI", put);
    figures.Put(L"YdPutOI", std::int64_t{0});
    return figures;
}

} // namespace

void Tracker::Add(const Account& account) {
    for (const Position* position : account.Held()) {
        rows_.push_back({account.Mask() + L":ALL", position->book->TheInstrument().symbol,
                         FiguresOf(*position)});
    }
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
    for (const Row& row : rows_) {
        if (row.entry == entry && row.instrument == instrument) {
            return AsInt64(row.figures.Find(name));
        }
    }
    return kNoInt64;
}

} // namespace halvane::paper
