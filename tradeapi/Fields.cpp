#include "tradeapi/Fields.h"

#include "foundation/support/Json.h"
#include "foundation/support/Numbers.h"
#include "tradeapi/Items.h"
#include "tradeapi/NumberText.h"
#include "tradeapi/TradeApi.h"
#include "tradeapi/UserKeys.h"

namespace halvane {
namespace {

Text WriteInt(std::int32_t value, Write written) {
    return written == Write::RawLong ? DecimalText(value) : FormatLong(value);
}

Text WriteInt64(std::int64_t value, Write written) {
    switch (written) {
    case Write::Amount: return FormatFixedPoint(value, kAmount);
    case Write::Price: return FormatFixedPoint(value, kPrice);
    case Write::AveragePrice: return FormatFixedPoint(value, kAveragePrice);
    default: return FormatSixDecimals(value);
    }
}

Text ReadField(const Field& field, Write written, Item& item, const RowTexts& row) {
    const Source& source = field.source;
    const TextView name = source.name != nullptr ? source.name : field.key;
    switch (source.kind) {
    case Source::Kind::Str: return item.GetText(source.id);
    case Source::Kind::Int: return WriteInt(item.GetInt(source.id), written);
    case Source::Kind::Int64: return WriteInt64(item.GetInt64(source.id), written);
    case Source::Kind::Named: return item.GetNamed(name);
    case Source::Kind::NamedInt: return WriteInt(ToInt32(item.GetNamed(name)), written);
    case Source::Kind::NamedInt64: return WriteInt64(ToInt64(item.GetNamed(name)), written);
    case Source::Kind::Joined: return item.GetText(source.id) + L"-" + item.GetText(source.second);
    case Source::Kind::Given: return row.*source.given;
    case Source::Kind::Instrument:
        return row.tradeApi->GetInstrumentData(L"Instrument", row.symbol);
    case Source::Kind::UserKeys: break; // several members, see WriteRecord
    }
    return {};
}

} // namespace

void WriteRecord(JsonWriter& out, std::span<const Field> fields, Form form, Item& item,
                 const RowTexts& row) {
    for (const Field& field : fields) {
        const Write written = field.Written(form);
        if (written == Write::Absent) continue;
        if (field.source.kind == Source::Kind::UserKeys) {
            const Text first = item.GetText(field.source.id);
            for (const auto& [key, value] :
                 ExpandUserKeys(first, item.GetText(field.source.second)))
                out.Member(key, value);
        } else {
            out.Member(field.key, ReadField(field, written, item, row));
        }
    }
}

} // namespace halvane
