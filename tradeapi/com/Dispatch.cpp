#include "tradeapi/com/Dispatch.h"

#include "tradeapi/TradeApi.h"

#include <vector>

namespace halvane {
namespace {

// What a failing call says about its failure; owns the texts.
class ExceptionInfo {
  public:
    ExceptionInfo() = default;
    ~ExceptionInfo() {
        SysFreeString(info_.bstrSource);
        SysFreeString(info_.bstrDescription);
        SysFreeString(info_.bstrHelpFile);
    }
    ExceptionInfo(const ExceptionInfo&) = delete;
    ExceptionInfo& operator=(const ExceptionInfo&) = delete;

    EXCEPINFO* Raw() { return &info_; }

    TradeApiError ToError() {
        if (info_.pfnDeferredFillIn != nullptr) info_.pfnDeferredFillIn(&info_);
        const std::int32_t code = info_.scode != 0   ? info_.scode
                                  : info_.wCode != 0 ? info_.wCode
                                                     : DISP_E_EXCEPTION;
        const TextView said(info_.bstrDescription != nullptr ? info_.bstrDescription : L"",
                            SysStringLen(info_.bstrDescription));
        return TradeApiError(code, said.empty() ? DescribeError(code) : Text(said));
    }

  private:
    EXCEPINFO info_{};
};

} // namespace

Variant Dispatch::Get(DISPID id) const {
    Variant result;
    Invoke(id, DISPATCH_PROPERTYGET, {}, result.Raw());
    return result;
}

void Dispatch::Put(DISPID id, Variant value) const {
    Invoke(id, DISPATCH_PROPERTYPUT, {&value, 1}, nullptr);
}

void Dispatch::Invoke(DISPID id, WORD flags, std::span<Variant> arguments, VARIANT* result) const {
    InitialiseComOnThisThread();
    std::vector<VARIANT> list; // last to first, owned by `arguments`
    for (auto argument = arguments.rbegin(); argument != arguments.rend(); ++argument)
        list.push_back(argument->Value());
    DISPPARAMS parameters{list.data(), nullptr, static_cast<UINT>(list.size()), 0};
    DISPID put = DISPID_PROPERTYPUT;
    if (flags == DISPATCH_PROPERTYPUT) {
        parameters.rgdispidNamedArgs = &put;
        parameters.cNamedArgs = 1;
    }
    ExceptionInfo exception;
    UINT fault = 0;
    const HRESULT code = object_->Invoke(id, IID_NULL, LOCALE_SYSTEM_DEFAULT, flags, &parameters,
                                         result, exception.Raw(), &fault);
    if (code == DISP_E_EXCEPTION) throw exception.ToError();
    if (FAILED(code)) throw TradeApiError(code, DescribeError(code));
}

} // namespace halvane
