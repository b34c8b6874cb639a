#include "tests/windows/probe/Objects.h"

#include "foundation/support/Mutex.h"
#include "tests/windows/probe/Live.h"
#include "tests/windows/probe/Recorder.h"

#include <objbase.h>
#include <ocidl.h>
#include <oleauto.h>
#include <olectl.h>

#include <algorithm>
#include <cwchar>
#include <thread>
#include <vector>

namespace {

struct Subscription {
    DWORD cookie;
    IID events;
    IDispatch* sink;
};
halvane::Mutex lock;
std::vector<Subscription> subscriptions;

class ConnectionPoint final : public Live<halvane::Counted<IConnectionPoint>> {
  public:
    explicit ConnectionPoint(REFIID events) : events_(events) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        const bool known = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IConnectionPoint);
        *object = known ? this : nullptr;
        if (known) AddRef();
        return known ? S_OK : E_NOINTERFACE;
    }
    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* id) override {
        *id = events_;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override {
        void* found = nullptr;
        if (FAILED(sink->QueryInterface(events_, &found))) return CONNECT_E_CANNOTCONNECT;
        const halvane::MutexLock guard(lock);
        *cookie = ++lastCookie_;
        subscriptions.push_back({*cookie, events_, static_cast<IDispatch*>(found)});
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override {
        const halvane::MutexLock guard(lock);
        const auto found = std::ranges::find(subscriptions, cookie, &Subscription::cookie);
        if (found == subscriptions.end()) return CONNECT_E_NOCONNECTION;
        found->sink->Release();
        subscriptions.erase(found);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

  private:
    static inline DWORD lastCookie_ = 0;
    const IID events_;
};

class ProbeObject final : public Live<halvane::LateBound<IConnectionPointContainer>> {
  public:
    explicit ProbeObject(const wchar_t* name) : name_(name) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        *object = nullptr;
        if (IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IDispatch))
            *object = static_cast<IDispatch*>(this);
        if (IsEqualIID(id, IID_IConnectionPointContainer))
            *object = static_cast<IConnectionPointContainer*>(this);
        if (*object == nullptr) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO* exception, UINT*) override {
        if (id != DISPID_VALUE)
            return RecordAndAnswer(name_, id, flags, *parameters, result, exception);
        result->vt = VT_BSTR;
        result->bstrVal = SysAllocString(name_.c_str());
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID events,
                                                  IConnectionPoint** point) override {
        wchar_t text[40];
        wchar_t deaf[40] = L"";
        StringFromGUID2(events, text, 40);
        GetEnvironmentVariableW(L"PROBE_DEAF", deaf, 40);
        if (std::wcscmp(text, deaf) == 0) return CONNECT_E_NOCONNECTION;
        *point = new ConnectionPoint(events);
        return S_OK;
    }

  private:
    const std::wstring name_;
};

} // namespace

IUnknown* MakeProbeObject(const wchar_t* name) {
    return static_cast<IDispatch*>(new ProbeObject(name));
}

HRESULT FireEvent(REFIID events, DISPID id, VARIANT* arguments, UINT count, WORD flags) {
    IDispatch* sink = nullptr;
    {
        const halvane::MutexLock guard(lock);
        for (const Subscription& subscription : subscriptions)
            if (IsEqualIID(subscription.events, events)) sink = subscription.sink;
        if (sink == nullptr) return CONNECT_E_NOCONNECTION;
        sink->AddRef();
    }
    HRESULT result = S_OK;
    std::thread([&] {
        DISPPARAMS parameters{arguments, nullptr, count, 0};
        result = sink->Invoke(id, IID_NULL, 0, flags, &parameters, nullptr, nullptr, nullptr);
    }).join();
    sink->Release();
    return result;
}
