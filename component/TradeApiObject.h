#pragma once

#include "component/ComponentObject.h"
#include "component/ConnectionPoint.h"
#include "tradeapi/TradeApi.h"
#include "tradeapi/TradeEvents.h"

#include <memory>
#include <mutex>

namespace halvane {

// The trade API object: a paper platform of its own behind the automation interface, and the
// connection points for its events. Events come on the platform's thread; the last reference may
// not be released there.
class TradeApiObject : public ComponentObject, public IConnectionPointContainer {
  public:
    TradeApiObject();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        return ComponentObject::QueryInterface(id, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ComponentObject::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return ComponentObject::Release(); }

    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) override;
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID events, IConnectionPoint** point) override;

  private:
    // Events of the platform become calls to the sinks.
    class HostForwarder : public HostEvents {
      public:
        explicit HostForwarder(ConnectionPoint& point) : point_(point) {}
        void OnGeneralServiceUpdate() override;
        void OnCommandMsg(std::int32_t kind, std::int32_t subKind, TextView text) override;

      private:
        ConnectionPoint& point_;
    };
    class TradeForwarder : public TradeEvents {
      public:
        explicit TradeForwarder(ConnectionPoint& point) : point_(point) {}
        void OnAccountUpdate(std::int32_t kind, TextView key, std::int32_t value) override;
        void OnCommandMsg(std::int32_t kind, std::int32_t subKind, TextView text) override;
        void OnExecutionReport(TextView reportId) override;
        void OnFilledReport(TextView reportId) override;
        void OnReportReset() override;
        void OnSetTopic(TextView topic, std::int32_t lParam, TextView strParam,
                        const std::optional<Text>& data) override;
        void OnPositionTracker() override;

      private:
        ConnectionPoint& point_;
    };

    HRESULT Answer(DISPID id, WORD flags, const CallArguments& arguments, Variant& result) override;
    IUnknown* FindInterface(REFIID id) override;

    ConnectionPoint hostPoint_;
    ConnectionPoint tradePoint_;
    HostForwarder host_{hostPoint_};
    TradeForwarder trade_{tradePoint_};
    std::once_flag hostAdvised_;
    std::once_flag tradeAdvised_;
    std::unique_ptr<TradeApi> platform_; // last: it calls the others until it ends
};

} // namespace halvane
