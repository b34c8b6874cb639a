#pragma once

#include "tradeapi/AutomationObject.h"

// Objects and factories of the probe that are still referred to.
inline std::atomic<int> liveObjects = 0;

// An object that is counted among them.
template <class Object> class Live : public Object {
  public:
    Live() { ++liveObjects; }
    ~Live() override { --liveObjects; }
};
