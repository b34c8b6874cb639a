#pragma once

#include "tradeapi/Automation.h"

#include <array>
#include <span>

namespace halvane {

// Late-bound calls to one automation object, by dispatch id. Arguments travel as the types that
// Variant gives them, so callers choose with int32, int64, text, object and pointer to Variant. A
// call that fails throws a TradeApiError with the object's own code and text where it gave them.
// May be used from any thread.
class Dispatch {
  public:
    explicit Dispatch(ComPtr<IDispatch> object) : object_(std::move(object)) {}

    // Calls a method that has no result.
    template <typename... Arguments> void Do(DISPID id, const Arguments&... arguments) const {
        std::array<Variant, sizeof...(arguments)> list{Variant(arguments)...};
        Invoke(id, DISPATCH_METHOD, list, nullptr);
    }

    // Calls a method for its result.
    template <typename... Arguments> Variant Ask(DISPID id, const Arguments&... arguments) const {
        std::array<Variant, sizeof...(arguments)> list{Variant(arguments)...};
        Variant result;
        Invoke(id, DISPATCH_METHOD, list, result.Raw());
        return result;
    }

    Variant Get(DISPID id) const;
    void Put(DISPID id, Variant value) const;

    IDispatch* Object() const { return object_.get(); }

  private:
    void Invoke(DISPID id, WORD flags, std::span<Variant> arguments, VARIANT* result) const;

    ComPtr<IDispatch> object_;
};

} // namespace halvane
