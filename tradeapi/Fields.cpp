#include "tradeapi/Fields.h"

#include "foundation/support/Numbers.h"
#include "tradeapi/Items.h"
#include "tradeapi/NumberText.h"
#include "tradeapi/TradeApi.h"
#include "tradeapi/UserKeys.h"

namespace halvane {
namespace {

NumberDigits WriteInt(std::int32_t value, Write written) {
    return written == Write::RawLong ? DecimalDigits(value) : FormatLong(value);
}

NumberDigits WriteInt64(std::int64_t value, Write written) {
    switch (written) {
    case Write::Amount: return FormatFixedPoint(value, kAmount);
    case Write::Price: return FormatFixedPoint(value, kPrice);
    case Write::AveragePrice: return FormatFixedPoint(value, kAveragePrice);
    default: return FormatSixDecimals(value);
    }
}

// One statement each: the second read may end the first text.
Text JoinedTexts(Item& item, const Source& source) {
    Text joined(item.GetText(source.id));
    joined += L'-';
    joined += item.GetText(source.second);
    return joined;
}

void WriteField(JsonWriter& out, const Field& field, Write written, Item& item,
                const RowTexts& row) {
    const Source& source = field.source;
    const JsonKey& key = field.key;
    const auto named = [&] {
        return item.GetNamed(source.name.empty() ? key.Name() : source.name);
    };
    switch (source.kind) {
    case Source::Kind::Str: return out.Member(key, item.GetText(source.id));
    case Source::Kind::Int: return out.Member(key, WriteInt(item.GetInt(source.id), written));
    case Source::Kind::Int64: return out.Member(key, WriteInt64(item.GetInt64(source.id), written));
    case Source::Kind::Named: return out.Member(key, named());
    case Source::Kind::NamedInt: return out.Member(key, WriteInt(ToInt32(named()), written));
    case Source::Kind::NamedInt64: return out.Member(key, WriteInt64(ToInt64(named()), written));
    case Source::Kind::Joined: return out.Member(key, JoinedTexts(item, source));
    case Source::Kind::Given: return out.Member(key, row.*source.given);
    case Source::Kind::Instrument:
        return out.Member(key, row.tradeApi->GetInstrumentData(L"Instrument", row.symbol));
    case Source::Kind::UserKeys: break;
    }
    const Text first(item.GetText(source.id));
    WriteUserKeys(out, first, item.GetText(source.second));
}

} // namespace

void WriteRecord(JsonWriter& out, std::span<const Field> fields, Form form, Item& item,
                 const RowTexts& row) {
    for (const Field& field : fields) {
        const Write written = field.Written(form);
        if (written != Write::Absent) WriteField(out, field, written, item, row);
    }
}

} // namespace halvane
