#pragma once

#include "access/ClientTable.h"
#include "access/Curve.h"
#include "access/RequestDoor.h"
#include "foundation/support/ConnectionWatch.h"

#include <optional>

namespace halvane {

// The encrypted ways in for publications, one port for each client: so each gets what it may see,
// and one that is put out loses its connection at once, without harm to others.
class PublishDoors {
  public:
    PublishDoors(void* context, const ClientTable& clients, ShownByClient& shown, CurveKeys server,
                 Text ip);

    // Opens and closes doors as the clients' table says.
    void Refresh();
    void ConnectTo(const std::string& plainPort);

    // "" when the client's door is not open.
    Text PortOf(const AccessClient& client) const;
    // The domain under which is asked who may come in by a client's door.
    static std::string DomainOf(const std::string& key) { return "publications of " + key; }

    void* Source() { return source_.get(); }
    // Publishes one publication to all whom it may concern; false when there was none.
    bool MovePublication();

  private:
    struct Door {
        int port = 0;
        bool told = false; // that the port is taken
        ZmqSocket socket;  // null while it is
        std::optional<ConnectionWatch> watch;
    };

    void Open(const AccessClient& client, Door& door);
    std::optional<std::string> VersionFor(const AccessClient& client, ZmqMessage& publication);

    void* context_;
    const ClientTable& clients_;
    ShownByClient& shown_;
    CurveKeys server_;
    Text ip_;
    ZmqSocket source_;
    std::map<std::string, Door, std::less<>> doors_; // by the client's key
};

} // namespace halvane
