#pragma once

#include <windows.h>

#include <atomic>

// Objects and factories of the probe that are still referred to.
inline std::atomic<int> liveObjects = 0;

// The reference count that every object of the probe has; made with one reference.
template <class... Interfaces> class Counted : public Interfaces... {
  public:
    Counted() { ++liveObjects; }
    virtual ~Counted() { --liveObjects; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

  private:
    std::atomic<ULONG> references_ = 1;
};
