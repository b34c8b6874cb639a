#pragma once

#include "foundation/support/Text.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace halvane {

// Addresses, IPv4, that may come: "192.168.1.20, 10.0.0.0/8". An empty list has all. This machine's
// own addresses of the loopback interface are always in it.
class AddressList {
  public:
    explicit AddressList(TextView list);

    bool IsEmpty() const { return empty_; }
    bool Contains(std::string_view address) const;

    // The parts of the list that are no addresses; nobody comes in by them.
    const std::vector<Text>& Bad() const { return bad_; }

  private:
    struct Range {
        std::uint32_t address;
        std::uint32_t mask;
    };

    bool empty_ = true;
    std::vector<Range> ranges_;
    std::vector<Text> bad_;
};

} // namespace halvane
