#include "tradeapi/com/EventSink.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Mutex.h"
#include "foundation/support/Utf.h"
#include "tradeapi/AutomationObject.h"
#include "tradeapi/TradeApi.h"

#include <algorithm>
#include <condition_variable>

namespace halvane {

// The object that the component calls. It lives as long as anyone holds it; closed, it takes events
// and drops them.
class EventSink final : public LateBound<> {
  public:
    EventSink(REFIID events, std::vector<EventRow> rows)
        : events_(events), rows_(std::move(rows)) {}

    void Close() {
        MutexLock guard(lock_);
        open_ = false;
        idle_.wait(guard, [this] { return running_ == 0; });
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        if (object == nullptr) return E_POINTER;
        const bool offered = IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IDispatch) ||
                             IsEqualIID(id, events_);
        *object = offered ? this : nullptr;
        if (!offered) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters,
                                     VARIANT*, EXCEPINFO*, UINT*) override {
        const auto row = std::ranges::find(rows_, id, &EventRow::id);
        if (row == rows_.end() || (flags & DISPATCH_METHOD) == 0) return DISP_E_MEMBERNOTFOUND;
        const UINT count = parameters != nullptr ? parameters->cArgs : 0;
        if (count != row->arguments) return DISP_E_BADPARAMCOUNT;
        const DISPPARAMS none{};
        return Deliver(*row, CallArguments(parameters != nullptr ? *parameters : none));
    }

  private:
    bool Enter() {
        const MutexLock guard(lock_);
        if (open_) ++running_;
        return open_;
    }

    void Leave() {
        const MutexLock guard(lock_);
        if (--running_ == 0) idle_.notify_all();
    }

    HRESULT Deliver(const EventRow& row, const CallArguments& arguments) noexcept {
        if (!Enter()) return S_OK;
        HRESULT result = S_OK;
        try {
            row.deliver(arguments);
        } catch (const TradeApiError& error) {
            result = error.Code();
            Report(row, error.Description().c_str());
        } catch (const std::exception& error) {
            Report(row, ReasonOf(error).c_str());
        } catch (...) {
            Report(row, L"unknown");
        }
        Leave();
        return result;
    }

    static void Report(const EventRow& row, const wchar_t* what) {
        Log().Error(L"Event %d was dropped: %s", static_cast<int>(row.id), what);
    }

    const IID events_;
    const std::vector<EventRow> rows_;
    Mutex lock_; // not held while a row is called
    std::condition_variable_any idle_;
    bool open_ GUARDED_BY(lock_) = true;
    int running_ GUARDED_BY(lock_) = 0;
};

std::unique_ptr<EventConnection> EventConnection::Make(IDispatch& source, REFIID events,
                                                       std::vector<EventRow> rows) {
    const auto container =
        QueryInterfaceOf<IConnectionPointContainer>(source, IID_IConnectionPointContainer);
    IConnectionPoint* found = nullptr;
    if (!container || FAILED(container->FindConnectionPoint(events, &found)) || !found)
        return nullptr;
    ComPtr<IConnectionPoint> point(found);
    ComPtr<EventSink> sink(new EventSink(events, std::move(rows)));
    DWORD cookie = 0;
    if (FAILED(point->Advise(sink.get(), &cookie))) return nullptr;
    return std::unique_ptr<EventConnection>(
        new EventConnection(std::move(point), cookie, std::move(sink)));
}

EventConnection::EventConnection(ComPtr<IConnectionPoint> point, DWORD cookie,
                                 ComPtr<EventSink> sink)
    : point_(std::move(point)), cookie_(cookie), sink_(std::move(sink)) {}

EventConnection::~EventConnection() {
    point_->Unadvise(cookie_);
    sink_->Close();
}

} // namespace halvane
