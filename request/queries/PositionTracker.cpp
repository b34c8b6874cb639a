#include "foundation/support/Numbers.h"
#include "foundation/support/Strings.h"
#include "request/PlatformObjects.h"
#include "request/RepWorker.h"
#include "request/queries/Queries.h"
#include "tradeapi/NumberText.h"
#include "tradeapi/TradeApi.h"

namespace halvane {
namespace {

enum class Sum { None, Plus, Minus, Hundredth };

// A figure of the tracker, or what two of them come to. Each is asked for where it is used.
struct TrackerField {
    JsonKey key;
    FixedPointMode mode;
    const wchar_t* figure;
    Sum sum = Sum::None;
    const wchar_t* other = nullptr;
};

// clang-format off
constexpr TrackerField kTracker[] = {
    // key            written as  figure                sum        other figure
    {L"$Delta",         kCents, L"$Delta"},
    {L"Td$Delta",       kCents, L"Td$Delta"},
    {L"$Gamma",         kCents, L"$Gamma"},
    {L"Td$Gamma",       kCents, L"Td$Gamma"},
    {L"Yd$Gamma",       kCents, L"Yd$Gamma"},
    {L"$Theta",         kCents, L"$Theta"},
    {L"Td$Theta",       kCents, L"Td$Theta"},
    {L"Yd$Theta",       kCents, L"Yd$Theta"},
    {L"$Vega",          kCents, L"$Vega"},
    {L"Td$Vega",        kCents, L"Td$Vega"},
    {L"Yd$Vega",        kCents, L"Yd$Vega"},
    {L"$Rho",           kCents, L"$Rho"},
    {L"Td$Rho",         kCents, L"Td$Rho"},
    {L"Yd$Rho",         kCents, L"Yd$Rho"},
    {L"$Charm",         kCents, L"$Charm"},
    {L"Td$Charm",       kCents, L"Td$Charm"},
    {L"$Vanna",         kCents, L"$Vanna"},
    {L"Td$Vanna",       kCents, L"Td$Vanna"},
    {L"$Vomma",         kCents, L"$Vomma"},
    {L"Td$Vomma",       kCents, L"Td$Vomma"},
    {L"$Speed",         kCents, L"$Speed"},
    {L"Td$Speed",       kCents, L"Td$Speed"},
    {L"$Zomma",         kCents, L"$Zomma"},
    {L"Td$Zomma",       kCents, L"Td$Zomma"},
    {L"TimeValue",      kPrice, L"TimeValue"},
    {L"TdTimeValue",    kPrice, L"TdTimeValue"},
    {L"YdTimeValue",    kPrice, L"YdTimeValue"},
    {L"TdPnL",          kPrice, L"TdPnL"},
    {L"YdPnL",          kPrice, L"YdPnL"},
    {L"TheoPnL",        kPrice, L"TheoPnL"},
    {L"TdTheoPnL",      kPrice, L"TdTheoPnL"},
    {L"YdTheoPnl",      kPrice, L"YdTheoPnl"},
    {L"FloatPnL",       kPrice, L"FloatPnL"},
    {L"ClosePnL",       kPrice, L"ClosePnL"},
    {L"CallOI",         kCount, L"CallOI"},
    {L"TdCallOI",       kCount, L"TdCallOI"},
    {L"YdCallOI",       kCount, L"YdCallOI"},
    {L"PutOI",          kCount, L"PutOI"},
    {L"TdPutOI",        kCount, L"TdPutOI"},
    {L"YdPutOI",        kCount, L"YdPutOI"},
    {L"LongOI",         kCount, L"LongOI"},
    {L"ShortOI",        kCount, L"ShortOI"},
    {L"TdOpenQty",      kCount, L"TdOpenQty"},
    {L"TdCloseQty",     kCount, L"TdCloseQty"},
    {L"NetFill",        kCount, L"BSFill"},
    {L"PosFillRatio",   kPrice, L"PosFillRatio"},
    {L"1%$Gamma",       kCents, L"1Pct$Gamma"},
    {L"1%Td$Gamma",     kCents, L"1PctTd$Gamma"},
    {L"1%Yd$Gamma",     kCents, L"1PctYd$Gamma"},
    {L"1%$Vanna",       kCents, L"1Pct$Vanna"},
    {L"1%Td$Vanna",     kCents, L"1PctTd$Vanna"},
    {L"LongOI",         kWhole, L"LongOI"}, // twice on the wire
    {L"TotalFill",      kCount, L"SellFill",      Sum::Plus, L"BuyFill"},
    {L"TotalPosition",  kCount, L"LongOI",        Sum::Plus, L"ShortOI"},
    {L"NetPosition",    kCount, L"LongOI",        Sum::Minus, L"ShortOI"},
    {L"YdNetPosition",  kCount, L"YdCallOI",      Sum::Plus, L"YdPutOI"}, // a sum on the wire
    {L"1%$Delta",       kCents, L"$Delta",        Sum::Hundredth},
    {L"1%Td$Delta",     kCents, L"Td$Delta",      Sum::Hundredth},
    {L"1%Yd$Delta",     kCents, L"Yd$Delta",      Sum::Hundredth},
    {L"OrderNumbers",   kCount, L"OrderNumbers"},
    {L"DealNumbers",    kCount, L"DealNumbers"},
    {L"DeleteNumbers",  kCount, L"DeleteNumbers"},
};
// clang-format on
static_assert(std::size(kTracker) == 66 - 4); // behind the four that tell whose figures these are

// "<BrokerID>-<Account>:<SubKey>"; what a separator is missing for stays empty.
struct TrackerEntry {
    TextView brokerId;
    TextView account;
    TextView subKey;
    TextView accountKey; // broker and account, as an account mask names them
};

TrackerEntry ParseEntry(TextView entry) {
    const std::size_t colon = entry.find(L':');
    const TextView owner = entry.substr(0, colon);
    const std::size_t dash = owner.find(L'-');
    TrackerEntry parsed;
    parsed.accountKey = owner;
    if (colon != TextView::npos) parsed.subKey = entry.substr(colon + 1);
    if (dash != TextView::npos) {
        parsed.brokerId = owner.substr(0, dash);
        parsed.account = owner.substr(dash + 1);
    }
    return parsed;
}

std::int64_t Hundredth(std::int64_t figure) { return figure == kNoInt64 ? figure : figure / 100; }

// Figures are 64-bit; what does not fit wraps, as the platform's own arithmetic does.
std::int64_t WrappingSum(std::int64_t a, std::int64_t b, Sum sum) {
    const auto left = static_cast<std::uint64_t>(a);
    const auto right = static_cast<std::uint64_t>(b);
    return static_cast<std::int64_t>(sum == Sum::Plus ? left + right : left - right);
}

std::int64_t ReadFigure(PositionTracker& tracker, const TrackerField& field, TextView entry,
                        TextView instrument) {
    const std::int64_t figure = tracker.Figure(entry, instrument, field.figure);
    switch (field.sum) {
    case Sum::None: return figure;
    case Sum::Hundredth: return Hundredth(figure);
    default: return WrappingSum(figure, tracker.Figure(entry, instrument, field.other), field.sum);
    }
}

void WriteTracked(JsonWriter& reply, PositionTracker& tracker, TextView entry,
                  const TrackerEntry& parsed, TextView instrument) {
    reply.BeginObject();
    reply.Member(L"BrokerID", parsed.brokerId);
    reply.Member(L"Account", parsed.account);
    reply.Member(L"Symbol", instrument);
    reply.Member(L"SubKey", parsed.subKey);
    for (const TrackerField& field : kTracker) {
        const std::int64_t figure = ReadFigure(tracker, field, entry, instrument);
        reply.Member(field.key, FormatFixedPoint(figure, field.mode));
    }
    reply.EndObject();
}

void WriteEntry(JsonWriter& reply, PositionTracker& tracker, TextView entry, TextView accountMask) {
    const Text instruments = tracker.Instruments(entry);
    const TrackerEntry parsed = ParseEntry(entry);
    if (!accountMask.empty() && accountMask != parsed.accountKey) return;
    for (const TextView instrument : Split(instruments, L';')) {
        if (!instrument.empty()) WriteTracked(reply, tracker, entry, parsed, instrument);
    }
}

} // namespace

// The request's "Symbol" and "QryIndex" do not narrow the answer: all instruments come in one
// reply.
void QueryPositionTracker(RepWorker& worker, const Request& request) {
    const auto tracker = CreatePositionTracker(worker, request);
    if (tracker == nullptr) return;
    worker.Platform().AttachPositionTracker(*tracker);
    JsonWriter reply;
    BeginReply(reply, request.name);
    reply.BeginArray(L"Data");
    const Text entries = tracker->Entries();
    for (const TextView entry : Split(entries, L';')) {
        if (!entry.empty()) WriteEntry(reply, *tracker, entry, request.Member(L"AccountMask"));
    }
    reply.EndArray();
    worker.SendData(reply.Finish(), true);
}

} // namespace halvane
