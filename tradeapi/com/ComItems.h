#pragma once

#include "tradeapi/Items.h"
#include "tradeapi/com/Dispatch.h"

namespace halvane {

// The platform's objects behind their automation interfaces. Each is one object of the component,
// released with it.

class ComItem : public Item {
  public:
    // `namedRead` is the method that reads by name; 0 when the class has none.
    ComItem(ComPtr<IDispatch> object, DISPID namedRead)
        : object_(std::move(object)), namedRead_(namedRead) {}

    TextView GetText(std::int32_t id) override;
    std::int32_t GetInt(std::int32_t id) override;
    std::int64_t GetInt64(std::int32_t id) override;
    TextView GetNamed(TextView name) override;
    TextView GetIndexed(std::int32_t id, std::int32_t index) override;

    IDispatch* Object() const { return object_.Object(); }

  private:
    Dispatch object_;
    DISPID namedRead_;
    Text text_; // that was given last
};

class ComOrderParameters : public OrderParameters {
  public:
    explicit ComOrderParameters(ComPtr<IDispatch> object) : object_(std::move(object)) {}

    void PutText(std::int32_t id, TextView value) override;
    void PutInt(std::int32_t id, std::int32_t value) override;
    void PutInt64(std::int32_t id, std::int64_t value) override;

    IDispatch* Object() const { return object_.Object(); }

  private:
    Dispatch object_;
};

class ComPositionTracker : public PositionTracker {
  public:
    explicit ComPositionTracker(ComPtr<IDispatch> object) : object_(std::move(object)) {}

    Text Entries() override;
    Text Instruments(TextView entry) override;
    std::int64_t Figure(TextView entry, TextView instrument, TextView name) override;

    IDispatch* Object() const { return object_.Object(); }

  private:
    Dispatch object_;
};

} // namespace halvane
