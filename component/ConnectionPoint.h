#pragma once

#include "foundation/support/Mutex.h"
#include "tradeapi/Automation.h"

#include <functional>
#include <map>

namespace halvane {

// A place where callers connect sinks for one kind of events. It is a part of the object that fires
// them and shares its references. Safe from any thread; no lock is held while a sink is called.
class ConnectionPoint : public IConnectionPoint {
  public:
    // `connected` runs each time that a sink has been connected.
    ConnectionPoint(IDispatch& owner, const wchar_t* events, std::function<void()> connected);
    virtual ~ConnectionPoint();
    ConnectionPoint(const ConnectionPoint&) = delete;
    ConnectionPoint& operator=(const ConnectionPoint&) = delete;

    REFIID Events() const { return events_; }

    // Calls every sink with the arguments, on this thread.
    template <typename... Arguments> void Fire(DISPID id, const Arguments&... arguments) {
        Variant list[] = {Variant(arguments)..., Variant()};
        Send(id, list, sizeof...(arguments));
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return owner_.AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return owner_.Release(); }
    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* id) override;
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** c) override;
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) override;

  private:
    void Send(DISPID id, Variant* arguments, std::size_t count);

    IDispatch& owner_;
    IID events_;
    std::function<void()> connected_;
    Mutex lock_;
    DWORD lastCookie_ GUARDED_BY(lock_) = 0;
    std::map<DWORD, ComPtr<IDispatch>> sinks_ GUARDED_BY(lock_);
};

} // namespace halvane
