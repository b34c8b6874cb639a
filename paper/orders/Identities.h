#pragma once

#include "foundation/support/Text.h"

#include <cstdint>

namespace halvane::paper {

// The identities of reports, orders and fills: a letter for the kind, a stem that no other run has,
// and a number. What they name keeps its number alone; there is much of it.
class Identities {
  public:
    static constexpr wchar_t kReport = L'R', kOrder = L'O', kFill = L'F';

    explicit Identities(Text stem) : stem_(std::move(stem)) {}

    // From 1 up, one count for all kinds.
    std::uint64_t Next() { return ++last_; }

    Text TextOf(wchar_t kind, std::uint64_t number) const;
    // The number of such a text; 0 when it is none of these.
    std::uint64_t NumberIn(wchar_t kind, TextView identity) const;

  private:
    Text stem_;
    std::uint64_t last_ = 0;
};

} // namespace halvane::paper
