#include "tradeapi/Symbols.h"

#include "foundation/support/Strings.h"

namespace halvane {
namespace {

struct LegTypes {
    const wchar_t* combined;
    const wchar_t* first;
    const wchar_t* second;
};

constexpr LegTypes kLegTypes[] = {
    {L"O2", L"O", L"O"},
    {L"F2", L"F", L"F"},
    {L"FO", L"F", L"O"},
};

LegTypes TypesOfLegs(TextView combined) {
    for (const LegTypes& types : kLegTypes) {
        if (combined == types.combined) return types;
    }
    return {L"", L"", L""};
}

// Two options or two futures have a type of their own, every other pair is "FO".
TextView CombinedType(TextView typeA, TextView typeB) {
    if (typeA == L"O" && typeB == L"O") return L"O2";
    if (typeA == L"F" && typeB == L"F") return L"F2";
    return L"FO";
}

Text JoinSymbol(TextView type, TextView exchange, TextView contract) {
    return Text(L"OV.").append(type).append(L".").append(exchange).append(L".").append(contract);
}

// What follows the first ".<exchange>." of the symbol.
TextView ContractOf(TextView symbol) {
    const Text marker = L"." + Text(SymbolExchange(symbol)) + L".";
    const std::size_t at = symbol.find(marker);
    return at == TextView::npos ? TextView() : symbol.substr(at + marker.size());
}

} // namespace

TextView SymbolType(TextView symbol) { return SplitField(symbol, L'.', 1).value_or(TextView()); }

TextView SymbolExchange(TextView symbol) {
    return SplitField(symbol, L'.', 2).value_or(TextView());
}

std::pair<Text, Text> SplitCombinedSymbol(TextView combined) {
    if (combined.empty()) return {};
    const TextView first = *SplitField(combined, L'^', 0);
    const TextView second = SplitField(combined, L'^', 1).value_or(TextView());
    const LegTypes types = TypesOfLegs(SymbolType(first));
    const Text typed = L"OV." + Text(SymbolType(first)) + L".";
    return {ReplaceAll(first, typed, Text(L"OV.") + types.first + L"."),
            JoinSymbol(types.second, SymbolExchange(first), second)};
}

Text CombineSymbols(TextView legA, TextView legB) {
    if (legA.empty() || legB.empty()) return {};
    return JoinSymbol(CombinedType(SymbolType(legA), SymbolType(legB)), SymbolExchange(legA),
                      ContractOf(legA))
        .append(L"^")
        .append(ContractOf(legB));
}

} // namespace halvane
