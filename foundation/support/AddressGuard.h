#pragma once

#include "foundation/support/AddressList.h"
#include "foundation/support/Seldom.h"
#include "foundation/support/Zap.h"

namespace halvane {

// Keeps addresses that are not in a list away from sockets without keys. With an empty list it
// leaves them as they are.
class AddressGuard {
  public:
    // `own` is the address of this machine that may always come. `refused` is told an address once
    // a minute.
    AddressGuard(TextView allowed, TextView own, std::function<void(const Text& address)> refused);

    bool IsOn() const { return !allowed_.IsEmpty(); }
    void Guard(void* socket) const; // before it is bound
    std::optional<std::string> Judge(const ZapRequest& request);

  private:
    AddressList allowed_;
    std::string own_;
    std::function<void(const Text&)> refused_;
    Seldom seldom_;
};

} // namespace halvane
