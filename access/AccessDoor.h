#pragma once

#include "access/ClientTable.h"
#include "foundation/support/AddressList.h"
#include "foundation/support/Seldom.h"
#include "foundation/support/Zap.h"

#include <functional>
#include <thread>

namespace halvane {

class PublishDoors;
class RequestDoor;

// The encrypted doors for other machines, beside the plain ports, which know nothing of them: they
// stand before these as clients do. One thread of their own does it all.
class AccessDoor {
  public:
    // `requestPort` gives the plain port, 0 as long as there is none, on that thread.
    AccessDoor(AccessConfig config, std::function<int()> requestPort);
    AccessDoor(const AccessDoor&) = delete;
    AccessDoor& operator=(const AccessDoor&) = delete;

  private:
    void Serve(std::stop_token stop);
    bool WaitForPlainPort(std::stop_token stop);
    void Forward(std::stop_token stop, ZapSocket& zap, RequestDoor& requests, PublishDoors& doors);
    void Step(ZapSocket& zap, RequestDoor& requests, PublishDoors& doors);
    void LookAround(PublishDoors& doors);
    std::optional<std::string> Judge(const ZapRequest& request);
    const wchar_t* WhyNot(const ZapRequest& request, const AccessClient* client) const;

    AccessConfig config_;
    std::function<int()> requestPort_;
    AddressList allowed_;
    ClientTable clients_;
    Seldom refusals_;
    std::uint32_t lookedAt_ = 0;
    bool hears_ = false; // publications
    std::jthread thread_;
};

// A Warn line for each entry of the lists of addresses that is none.
void TellOfBadAddresses(const AccessConfig& config);

} // namespace halvane
