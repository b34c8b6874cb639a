#pragma once

#include "tradeapi/Automation.h"

#include <functional>
#include <memory>
#include <vector>

namespace halvane {

// One event of a sink: its dispatch id, the number of its arguments, and where it goes.
struct EventRow {
    DISPID id;
    UINT arguments;
    std::function<void(const CallArguments&)> deliver;
};

class EventSink;

// A connection from the events of an object to a table of ours. Events come on the object's own
// threads, also from inside our calls to it. What a row throws is logged and the event dropped; no
// exception reaches the object. After the connection's end no row is called any more: the end waits
// for events that are being delivered, so it must not come from inside one.
class EventConnection {
  public:
    // Null when the object does not offer these events or does not take the sink.
    static std::unique_ptr<EventConnection> Make(IDispatch& source, REFIID events,
                                                 std::vector<EventRow> rows);
    ~EventConnection();
    EventConnection(const EventConnection&) = delete;
    EventConnection& operator=(const EventConnection&) = delete;

  private:
    EventConnection(ComPtr<IConnectionPoint> point, DWORD cookie, ComPtr<EventSink> sink);

    ComPtr<IConnectionPoint> point_;
    DWORD cookie_;
    ComPtr<EventSink> sink_;
};

} // namespace halvane
