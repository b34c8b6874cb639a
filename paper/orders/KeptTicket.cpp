#include "paper/orders/KeptTicket.h"

#include <algorithm>
#include <iterator>

namespace halvane::paper {
namespace {

constexpr Text Ticket::*kKept[] = {
    &Ticket::symbol,   &Ticket::group,  &Ticket::userKey1,    &Ticket::userKey2,
    &Ticket::strategy, &Ticket::source, &Ticket::extCommands,
};

constexpr std::size_t kHead = 3; // units before each text

char16_t Unit(std::size_t value) { return static_cast<char16_t>(value & 0xFFFF); }

} // namespace

KeptTicket::KeptTicket(const Ticket& ticket)
    : side(ticket.side), orderType(ticket.orderType), timeInForce(ticket.timeInForce),
      quantity(ticket.quantity), tradeType(ticket.tradeType), exCode(ticket.exCode),
      positionEffect(ticket.positionEffect), dayTrade(ticket.dayTrade),
      touchCondition(ticket.touchCondition), slicedType(ticket.slicedType),
      trailingAmount(ticket.trailingAmount) {
    for (std::size_t which = 0; which < std::size(kKept); ++which) {
        const Text& text = ticket.*kKept[which];
        if (text.empty()) continue;
        texts_ += {Unit(which), Unit(text.size() >> 16), Unit(text.size())};
        for (const wchar_t unit : text)
            texts_ += static_cast<char16_t>(unit);
    }
    texts_.shrink_to_fit();
}

Text KeptTicket::Get(Text Ticket::*text) const {
    const auto wanted =
        static_cast<std::size_t>(std::ranges::find(kKept, text) - std::begin(kKept));
    for (std::size_t at = 0; at < texts_.size();) {
        const std::size_t length = std::size_t{texts_[at + 1]} << 16 | texts_[at + 2];
        const auto begin = texts_.begin() + static_cast<std::ptrdiff_t>(at + kHead);
        if (texts_[at] == wanted) return Text(begin, begin + static_cast<std::ptrdiff_t>(length));
        at += kHead + length;
    }
    return {};
}

} // namespace halvane::paper
