#pragma once

#include "component/ComponentObject.h"
#include "paper/base/PaperItem.h"
#include "paper/rows/Tracker.h"

namespace halvane {

// The objects that callers create and hand to the trade API object.

// A row or report: gets by property id, the read by name and the read by index as methods.
class ItemObject : public ComponentObject {
  public:
    explicit ItemObject(ItemClass itemClass) : item_(itemClass) {}
    Item* AsItem() override { return &item_; }

  private:
    HRESULT Answer(DISPID id, WORD flags, const CallArguments& arguments, Variant& result) override;

    PaperItem item_;
};

// The parameters of an order: puts by property id.
class ParametersObject : public ComponentObject {
  public:
    OrderParameters* AsParameters() override { return &parameters_; }

  private:
    HRESULT Answer(DISPID id, WORD flags, const CallArguments& arguments, Variant& result) override;

    PaperParameters parameters_;
};

class TrackerObject : public ComponentObject {
  public:
    PositionTracker* AsTracker() override { return &tracker_; }

  private:
    HRESULT Answer(DISPID id, WORD flags, const CallArguments& arguments, Variant& result) override;

    paper::Tracker tracker_;
};

} // namespace halvane
