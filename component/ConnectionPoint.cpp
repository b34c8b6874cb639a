#include "component/ConnectionPoint.h"

#include <objbase.h>
#include <olectl.h>

#include <vector>

namespace halvane {

ConnectionPoint::ConnectionPoint(IDispatch& owner, const wchar_t* events,
                                 std::function<void()> connected)
    : owner_(owner), events_(), connected_(std::move(connected)) {
    IIDFromString(events, &events_);
}

ConnectionPoint::~ConnectionPoint() = default;

HRESULT ConnectionPoint::QueryInterface(REFIID id, void** object) {
    if (object == nullptr) return E_POINTER;
    const bool offered = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IConnectionPoint);
    *object = offered ? this : nullptr;
    if (!offered) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

HRESULT ConnectionPoint::GetConnectionInterface(IID* id) {
    if (id == nullptr) return E_POINTER;
    *id = events_;
    return S_OK;
}

HRESULT ConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer** container) {
    return owner_.QueryInterface(IID_IConnectionPointContainer,
                                 reinterpret_cast<void**>(container));
}

HRESULT ConnectionPoint::Advise(IUnknown* sink, DWORD* cookie) {
    if (sink == nullptr || cookie == nullptr) return E_POINTER;
    ComPtr<IDispatch> events = QueryInterfaceOf<IDispatch>(*sink, events_);
    if (!events) events = QueryInterfaceOf<IDispatch>(*sink, IID_IDispatch);
    if (!events) return CONNECT_E_CANNOTCONNECT;
    {
        const MutexLock guard(lock_);
        *cookie = ++lastCookie_;
        sinks_[*cookie] = std::move(events);
    }
    connected_();
    return S_OK;
}

HRESULT ConnectionPoint::Unadvise(DWORD cookie) {
    ComPtr<IDispatch> sink; // released after the lock
    const MutexLock guard(lock_);
    const auto found = sinks_.find(cookie);
    if (found == sinks_.end()) return CONNECT_E_NOCONNECTION;
    sink = std::move(found->second);
    sinks_.erase(found);
    return S_OK;
}

HRESULT ConnectionPoint::EnumConnections(IEnumConnections**) { return E_NOTIMPL; }

void ConnectionPoint::Send(DISPID id, Variant* arguments, std::size_t count) {
    InitialiseComOnThisThread();
    std::vector<ComPtr<IDispatch>> sinks;
    {
        const MutexLock guard(lock_);
        for (const auto& [cookie, sink] : sinks_) {
            sink->AddRef();
            sinks.emplace_back(sink.get());
        }
    }
    std::vector<VARIANT> list; // last to first, owned by `arguments`
    for (std::size_t i = count; i > 0; --i)
        list.push_back(arguments[i - 1].Value());
    DISPPARAMS parameters{list.data(), nullptr, static_cast<UINT>(list.size()), 0};
    for (const ComPtr<IDispatch>& sink : sinks)
        sink->Invoke(id, IID_NULL, LOCALE_SYSTEM_DEFAULT, DISPATCH_METHOD, &parameters, nullptr,
                     nullptr, nullptr);
}

} // namespace halvane
