#include "publish/SendWindow.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Format.h"
#include "foundation/support/Utf.h"

namespace halvane {
namespace {

constexpr int kWindow = 64; // many of them fit into a subscriber's queue
constexpr int kSilenceMs = 50;
constexpr int kDeafWaits = 3;

} // namespace

void SendWindow::Open(const ZmqContext& context, TextView ip, int port) {
    const bool anyAddress = ip == L"*" || ip == L"0.0.0.0";
    const Text endpoint = Format(L"tcp://%s:%d", anyAddress ? L"127.0.0.1" : ip, port);
    ear_.reset(zmq_socket(context.get(), ZMQ_SUB));
    zmq_setsockopt(ear_.get(), ZMQ_SUBSCRIBE, "", 0);
    zmq_connect(ear_.get(), ToNarrow(endpoint).c_str());
}

void SendWindow::CountSent() {
    if (ear_ == nullptr || ++unheard_ < kWindow) return;
    const int heard = HearUpTo(unheard_);
    unheard_ = 0;
    deafWaits_ = heard == 0 ? deafWaits_ + 1 : 0;
    if (deafWaits_ < kDeafWaits) return;
    Log().Warn(L"[PublishWorker]hears nothing of its own publications: bursts may be cut short");
    ear_.reset();
}

int SendWindow::HearUpTo(int count) {
    zmq_pollitem_t item{ear_.get(), 0, ZMQ_POLLIN, 0};
    int heard = 0;
    while (heard < count && zmq_poll(&item, 1, kSilenceMs) > 0) {
        for (bool more = true; more && heard < count;) {
            ZmqMessage message;
            more = message.Receive(ear_.get(), ZMQ_DONTWAIT);
            heard += more ? 1 : 0;
        }
    }
    return heard;
}

} // namespace halvane
