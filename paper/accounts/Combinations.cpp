#include "paper/accounts/Combinations.h"

#include "foundation/support/Numbers.h"
#include "paper/accounts/Account.h"
#include "paper/base/Codes.h"
#include "paper/base/NamedValues.h"
#include "paper/market/MarketClock.h"
#include "paper/orders/Book.h"
#include "paper/orders/Spread.h"
#include "tradeapi/Symbols.h"

#include <algorithm>

namespace halvane::paper {
namespace {

// Whole and above 0, as such numbers come; 0 for any other text.
std::int32_t WholeNumber(const Text& text) {
    const bool digits =
        std::all_of(text.begin(), text.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
    return digits ? ToInt32(text) : 0;
}

std::int32_t SideOf(const Text& text) {
    return text == L"1" ? kBuy : text == L"2" ? kSell : std::int32_t{0};
}

bool IsGivenAndOther(const Text& given, const Text& other) {
    return !given.empty() && given != other;
}

void Bind(Account& account, Combination& combination, std::int32_t quantity) {
    combination.quantity += quantity;
    combination.stamp = combination.first->Clock().Now();
    account.PositionIn(*combination.first).combined += quantity;
    account.PositionIn(*combination.second).combined += quantity;
}

// The one that the volume goes into, made when there is none.
Combination& Target(CombinationRows& rows, const Combination& wanted, const Text& newId) {
    for (Combination& each : rows.held) {
        if (each.symbol == wanted.symbol && each.side == wanted.side &&
            each.secondSide == wanted.secondSide && each.code == wanted.code &&
            !IsGivenAndOther(wanted.id, each.id))
            return each;
    }
    Combination& added = rows.held.emplace_back(wanted);
    if (added.id.empty()) added.id = newId;
    return added;
}

} // namespace

CombinationCommand::CombinationCommand(TextView command) {
    const auto value = [&](const wchar_t* name) { return Text(NamedValue(command, L'&', name)); };
    action = value(L"ACTIONTYPE");
    symbolA = value(L"SYMBOLA");
    symbolB = value(L"SYMBOLB");
    symbol = Combines() ? CombineSymbols(symbolA, symbolB) : value(L"SYMBOL");
    side = value(Combines() ? L"SIDEA" : L"SIDE");
    sideB = value(L"SIDEB");
    code = value(L"OPTCOMB_CODE");
    id = value(L"OPTCOMB_ID");
    volume = value(L"VOLUME");
}

std::int32_t CombinationCommand::Quantity() const { return WholeNumber(volume); }

bool Combine(Account& account, const CombinationCommand& command, const Book* first,
             const Book* second, const Text& newId) {
    const std::int32_t quantity = command.Quantity();
    const std::int32_t side = SideOf(command.side);
    const std::int32_t secondSide = SideOf(command.sideB);
    if (first == nullptr || second == nullptr || side == 0 || secondSide == 0) return false;
    if (quantity == 0 || !MakeSpread(command.symbolA, command.symbolB)) return false;
    if (account.PositionIn(*first).Available(side) < quantity) return false;
    if (account.PositionIn(*second).Available(secondSide) < quantity) return false;
    const Combination wanted{.symbol = command.symbol,
                             .first = first,
                             .second = second,
                             .side = side,
                             .secondSide = secondSide,
                             .code = command.code,
                             .id = command.id};
    Bind(account, Target(account.Combinations(), wanted, newId), quantity);
    return true;
}

bool Separate(Account& account, CombinationCommand& command) {
    const std::int32_t quantity = command.Quantity();
    if (quantity == 0) return false;
    for (Combination& each : account.Combinations().held) {
        if (each.symbol != command.symbol || each.quantity < quantity ||
            IsGivenAndOther(command.side, DecimalText(each.side)) ||
            IsGivenAndOther(command.code, each.code) || IsGivenAndOther(command.id, each.id))
            continue;
        Bind(account, each, -quantity);
        command.side = DecimalText(each.side);
        command.code = each.code;
        return true;
    }
    return false;
}

void Dissolve(Account& account, const Book& book) {
    for (Combination& each : account.Combinations().held) {
        if (each.quantity != 0 && each.Holds(book)) Bind(account, each, -each.quantity);
    }
}

} // namespace halvane::paper
