#include "request/queries/ContractList.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/host/ScriptedTradeApi.h"

namespace halvane {
namespace {

// One line of it all, then one prefix after the other.
Text Expected(const std::string& bytes) {
    Text joined;
    const Text text = FromFileBytes(bytes);
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool lineEnds = at + 1 == text.size() || text[at + 1] == L'\n';
        if (text[at] != L'\n' && (text[at] != L'\r' || !lineEnds)) joined += text[at];
    }
    Text longer;
    for (std::size_t at = 0; at < joined.size(); ++at) {
        const Text mark = joined.substr(at, 4);
        longer +=
            mark == L"I.O." || mark == L"I.F." || mark == L"I.S." ? L"OV" : Text(1, joined[at]);
    }
    return longer;
}

std::size_t SizeOf(const JsonValue& element, TextView name) {
    const JsonValue* const array = FindMember(element, name);
    return array != nullptr && array->IsArray() ? array->Size() : 0;
}

void CheckElements(const JsonValue& value, int level) {
    const JsonValue* const nodes = FindMember(value, L"Node");
    if (level > 5 || nodes == nullptr || !nodes->IsArray()) return;
    for (const JsonValue* each = nodes->Begin(); each != nodes->End(); ++each) {
        Keep(FindMember(*each, L"Contracts") == nullptr ||
                 SizeOf(*each, L"TradeingDays") >= SizeOf(*each, L"InstrumentID"),
             "days are told of all contracts");
        CheckElements(*each, level + 1);
    }
}

} // namespace
} // namespace halvane

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace halvane;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const MemoryFile file(bytes);
    Text text;
    Keep(ReadContractListFile(file.Path(), text), "a list can be read");
    Keep(text == Expected(bytes), "prefixes are spelt out");
    JsonDocument list;
    if (!ParseJson(text, list)) return 0;
    static ScriptedTradeApi platform;
    EnrichNode(list, list.GetAllocator(), 1, platform);
    CheckElements(list, 1);
    JsonDocument again;
    Keep(ParseJson(WriteJson(list), again) && WriteJson(again) == WriteJson(list),
         "what is written is what was read");
    return 0;
}
