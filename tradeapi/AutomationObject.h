#pragma once

#include <windows.h>

#include <oaidl.h>

#include <atomic>

namespace halvane {

// What objects that others call through automation interfaces have in common. Windows only; all of
// it is inline, so that a module needs nothing of ours beside it.

// The reference count; made with one reference.
template <class... Interfaces> class Counted : public Interfaces... {
  public:
    Counted() = default;
    virtual ~Counted() = default;
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

  private:
    std::atomic<ULONG> references_ = 1;
};

// The part of late binding that asks for names and types: there are none, calls go by dispatch id.
template <class... Interfaces> class LateBound : public Counted<IDispatch, Interfaces...> {
  public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        if (count == nullptr) return E_POINTER;
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return DISP_E_UNKNOWNNAME;
    }
};

} // namespace halvane
