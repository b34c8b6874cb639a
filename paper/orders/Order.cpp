#include "paper/orders/Order.h"

#include "foundation/support/Numbers.h"
#include "paper/base/Codes.h"
#include "paper/base/Units.h"

namespace halvane::paper {

std::int64_t OrderState::AveragePriceE10() const { return PriceOfE10(paidE6, filled); }

Text OrderState::History() const {
    Text history;
    for (const char each : execTypes)
        history += (history.empty() ? L"" : L";") + DecimalText(each);
    return history;
}

bool Order::IsBuy() const { return ticket.side == kBuy; }
bool Leg::IsBuy() const { return side == kBuy; }

bool Needs::Opens() const {
    return first.cashE6 + first.marginE6 + second.cashE6 + second.marginE6 != 0;
}

Frozen& Frozen::operator+=(const Frozen& other) {
    cashE6 += other.cashE6;
    marginE6 += other.marginE6;
    commissionE6 += other.commissionE6;
    return *this;
}

Frozen& Frozen::operator-=(const Frozen& other) {
    cashE6 -= other.cashE6;
    marginE6 -= other.marginE6;
    commissionE6 -= other.commissionE6;
    return *this;
}

} // namespace halvane::paper
