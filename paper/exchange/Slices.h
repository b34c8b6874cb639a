#pragma once

#include "paper/exchange/Draft.h"

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace halvane::paper {

// What is hidden of sliced orders behind the parts that are shown, and which parts come next. When
// a part is filled the next one is due, which is an order of its own.
class Slices {
  public:
    struct Part {
        Draft draft;
        std::int32_t left; // hidden behind it
    };

    // The first part of an order: all of it when it is not sliced.
    static Part FirstPart(Draft&& whole);

    // `shown` works, or soon will, and so much follows it.
    void Hide(const Order& shown, Ticket ticket, std::int32_t left);
    // Nothing follows it any more.
    void Forget(const Order& shown) { hidden_.erase(&shown); }
    void OnFilled(const Order& shown);

    // The part that is due, as its order is now; nothing when none is.
    std::optional<Part> TakeNext();

  private:
    struct Hidden {
        Ticket ticket; // of the part that is shown
        std::int32_t left;
    };

    std::map<const Order*, Hidden> hidden_;
    std::vector<const Order*> filled_; // that something is hidden behind
};

} // namespace halvane::paper
