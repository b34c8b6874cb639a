#include "component/ItemObjects.h"

#include "tradeapi/ComponentIds.h"

namespace halvane {
namespace {

struct Typing {
    Variant operator()(std::monostate) const { return {}; }
    Variant operator()(const auto& typed) const { return Variant(typed); }
};

Variant Typed(const PaperValue& value) { return std::visit(Typing(), value); }

} // namespace

HRESULT ItemObject::Answer(DISPID id, WORD flags, const CallArguments& arguments, Variant& result) {
    if ((flags & DISPATCH_PROPERTYGET) != 0 && arguments.Count() == 0) {
        result = Typed(item_.Value(id));
        return S_OK;
    }
    if ((flags & DISPATCH_METHOD) == 0) return DISP_E_MEMBERNOTFOUND;
    const bool named = id == NamedReadOf(item_.Class());
    if (!named && id != IndexedReadOf(item_.Class())) return DISP_E_MEMBERNOTFOUND;
    if (arguments.Count() != 1) return DISP_E_BADPARAMCOUNT;
    result = named ? Typed(item_.NamedValue(arguments.String(0)))
                   : Variant(item_.GetIndexed(id, arguments.Int(0)));
    return S_OK;
}

HRESULT ParametersObject::Answer(DISPID id, WORD flags, const CallArguments& arguments,
                                 Variant& result) {
    if ((flags & DISPATCH_PROPERTYGET) != 0 && arguments.Count() == 0) {
        result = Typed(parameters_.Value(id));
        return S_OK;
    }
    if ((flags & DISPATCH_PROPERTYPUT) == 0) return DISP_E_MEMBERNOTFOUND;
    if (arguments.Count() != 1) return DISP_E_BADPARAMCOUNT;
    switch (arguments.At(0).vt) {
    case VT_I4: parameters_.PutInt(id, arguments.Int(0)); break;
    case VT_I8: parameters_.PutInt64(id, ToInt64(arguments.At(0))); break;
    default: parameters_.PutText(id, arguments.String(0));
    }
    return S_OK;
}

HRESULT TrackerObject::Answer(DISPID id, WORD flags, const CallArguments& arguments,
                              Variant& result) {
    if ((flags & DISPATCH_METHOD) == 0) return DISP_E_MEMBERNOTFOUND;
    if (id == kTrackerEntries && arguments.Count() == 0) {
        result = tracker_.Entries();
    } else if (id == kTrackerInstruments && arguments.Count() == 1) {
        result = tracker_.Instruments(arguments.String(0));
    } else if (id == kTrackerFigure && arguments.Count() == 3) {
        result = tracker_.Figure(arguments.String(0), arguments.String(1), arguments.String(2));
    } else {
        return DISP_E_MEMBERNOTFOUND;
    }
    return S_OK;
}

} // namespace halvane
