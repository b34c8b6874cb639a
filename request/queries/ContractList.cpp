#include "request/queries/ContractList.h"

#include "foundation/support/Numbers.h"
#include "foundation/support/Strings.h"
#include "request/queries/CStdioFileEx.h"
#include "tradeapi/TradeApi.h"

namespace halvane {
namespace {

constexpr int kRootLevel = 1;
constexpr int kNodesLevel = 2;
constexpr int kDeepestLevel = 5;

JsonValue* MutableMember(JsonValue& object, TextView name) {
    return const_cast<JsonValue*>(FindMember(object, name));
}

// What follows the "I" of a symbol's short prefix.
bool IsTypeMark(TextView text) { return text == L".O." || text == L".F." || text == L".S."; }

// In place, from the end on: such a text may be hundreds of megabytes long.
void LengthenPrefixes(Text& text) {
    std::size_t prefixes = 0;
    for (std::size_t at = text.find(L'I'); at != Text::npos; at = text.find(L'I', at + 1))
        prefixes += IsTypeMark(TextView(text).substr(at + 1, 3)) ? 1 : 0;
    std::size_t from = text.size();
    std::size_t to = from + prefixes;
    text.resize(to);
    while (from < to) {
        const bool prefix = text[from - 1] == L'I' && IsTypeMark(TextView(text).substr(to, 3));
        text[--to] = prefix ? L'V' : text[from - 1];
        if (prefix) text[--to] = L'O';
        --from;
    }
}

void Append(JsonValue& array, TextView text, JsonDocument::AllocatorType& allocator) {
    JsonValue value(text.data(), static_cast<rapidjson::SizeType>(text.size()), allocator);
    array.PushBack(value, allocator);
}

} // namespace

bool ReadContractListFile(const Text& path, Text& text) {
    CStdioFileEx file;
    if (!file.Open(path)) return false;
    text = file.ReadJoinedLines();
    LengthenPrefixes(text);
    return true;
}

bool EnrichNode(JsonValue& value, JsonDocument::AllocatorType& allocator, int level,
                TradeApi& tradeApi) {
    if (level == kRootLevel) {
        JsonValue* nodes = MutableMember(value, L"Node");
        return nodes != nullptr && EnrichNode(*nodes, allocator, kNodesLevel, tradeApi);
    }
    if (level < kNodesLevel || level > kDeepestLevel) return true;
    if (!value.IsArray()) return false;
    for (JsonValue* element = value.Begin(); element != value.End(); ++element) {
        if (FindMember(*element, L"Contracts") != nullptr) {
            EnrichContracts(*element, allocator, tradeApi);
        } else if (JsonValue* nodes = MutableMember(*element, L"Node")) {
            if (!EnrichNode(*nodes, allocator, level + 1, tradeApi)) return false;
        }
    }
    return true;
}

void EnrichContracts(JsonValue& element, JsonDocument::AllocatorType& allocator,
                     TradeApi& tradeApi) {
    const JsonValue& contracts = *FindMember(element, L"Contracts");
    if (!contracts.IsArray()) return;
    JsonValue instruments(rapidjson::kArrayType);
    JsonValue expirations(rapidjson::kArrayType);
    JsonValue tradingDays(rapidjson::kArrayType);
    Text expiration; // all options of a list share that of the first that has one
    for (const JsonValue* entry = contracts.Begin(); entry != contracts.End(); ++entry) {
        if (!entry->IsString()) continue;
        const TextView contract(entry->GetString(), entry->GetStringLength());
        if (contract.find(L".S.") != TextView::npos) return;
        if (contract.find(L".O.") == TextView::npos || expiration.empty())
            expiration = tradeApi.GetExpirationDate(contract);
        const Text instrument = tradeApi.GetInstrumentData(L"Instrument", contract);
        const std::int32_t days = tradeApi.GetTradingDays(contract, ToInt32(expiration));
        Append(tradingDays, DecimalText(days), allocator);
        if (!instrument.empty()) Append(instruments, instrument, allocator);
        if (!expiration.empty()) Append(expirations, expiration, allocator);
    }
    element.AddMember(L"InstrumentID", instruments, allocator);
    element.AddMember(L"ExpirationDate", expirations, allocator);
    element.AddMember(L"TradeingDays", tradingDays, allocator); // spelt so on the wire
}

} // namespace halvane
