#include "foundation/support/Zmq.h"

#include "foundation/support/Format.h"
#include "foundation/support/Utf.h"

#include <cstring>

// Buffers change hands inside the library, which the thread sanitizer does not see into.
#if defined(__SANITIZE_THREAD__)
extern "C" void __tsan_acquire(void*);
extern "C" void __tsan_release(void*);
// Nor does it see who has written what was received: the library and its libsodium alone are left
// out, and the texts that the library makes by our own strings.
extern "C" const char* __tsan_default_suppressions() {
    return "called_from_lib:libzmq.so\ncalled_from_lib:libsodium.so\n"
           "race:halvane::ZmqMessage::Property\n";
}
extern "C" const char* __tsan_default_options() { return "halt_on_error=1"; }
#define HAND_OVER(buffer) __tsan_release(buffer)
#define TAKE_OVER(buffer) __tsan_acquire(buffer)
#else
#define HAND_OVER(buffer) static_cast<void>(buffer)
#define TAKE_OVER(buffer) static_cast<void>(buffer)
#endif

namespace halvane {
namespace {

void ReleaseBytes(void*, void* owner) {
    TAKE_OVER(owner);
    delete static_cast<std::string*>(owner);
}

struct WatchedContent {
    zmq_msg_t content;
    std::function<void()> onRelease;
};

void ReleaseContent(void*, void* hint) {
    TAKE_OVER(hint);
    const std::unique_ptr<WatchedContent> watched(static_cast<WatchedContent*>(hint));
    zmq_msg_close(&watched->content);
    watched->onRelease();
}

} // namespace

ZmqContext MakeZmqContext() {
    ZmqContext context(zmq_ctx_new());
    zmq_ctx_set(context.get(), ZMQ_BLOCKY, 0);
    return context;
}

bool BindTcp(void* socket, TextView ip, int port) {
    if (port > 65535) return false;
    const Text endpoint = Format(L"tcp://%s:%d", ip, port);
    return zmq_bind(socket, ToNarrow(endpoint).c_str()) == 0;
}

void SetZmqOption(void* socket, int option, int value) {
    zmq_setsockopt(socket, option, &value, sizeof value);
}

bool IsReady(void* socket, int events) {
    int ready = 0;
    std::size_t size = sizeof ready;
    return zmq_getsockopt(socket, ZMQ_EVENTS, &ready, &size) == 0 && (ready & events) != 0;
}

ZmqMessage::ZmqMessage(std::string_view bytes) {
    if (zmq_msg_init_size(&message_, bytes.size()) != 0) throw std::bad_alloc(); // no destructor
    if (!bytes.empty()) std::memcpy(zmq_msg_data(&message_), bytes.data(), bytes.size());
}

void ZmqMessage::OnRelease(std::function<void()> work) {
    std::unique_ptr<WatchedContent> watched(new WatchedContent{{}, std::move(work)});
    zmq_msg_init(&watched->content);
    zmq_msg_move(&watched->content, &message_);
    void* const data = zmq_msg_data(&watched->content); // short ones lie in the message itself
    const std::size_t size = zmq_msg_size(&watched->content);
    if (!TakeOver(data, size, ReleaseContent, watched.get())) {
        zmq_msg_move(&message_, &watched->content);
        throw std::bad_alloc();
    }
    HAND_OVER(watched.get());
    static_cast<void>(watched.release()); // the library's from here on
}

bool ReceiveParts(void* socket, std::vector<ZmqMessage>& parts, int flags) {
    if (!parts.empty() && !parts.back().HasMore()) parts.clear();
    do {
        parts.emplace_back(); // nothing is taken for which there is no place
        if (parts.size() == 1 ? parts.back().Receive(socket, flags)
                              : parts.back().ReceiveRest(socket))
            continue;
        parts.pop_back();
        return false;
    } while (parts.back().HasMore());
    return true;
}

bool SendParts(void* socket, std::span<ZmqMessage> parts) {
    bool sent = true;
    for (ZmqMessage& part : parts)
        sent = part.Send(socket, &part == &parts.back() ? 0 : ZMQ_SNDMORE) && sent;
    return sent;
}

ZmqMessage ZmqMessage::WithTrailingZero(std::string bytes) {
    ZmqMessage message;
    auto owner = std::make_unique<std::string>(std::move(bytes));
    if (!message.TakeOver(owner->data(), owner->size() + 1, ReleaseBytes, owner.get()))
        throw std::bad_alloc();
    HAND_OVER(owner.get());
    static_cast<void>(owner.release()); // the library's from here on
    return message;
}

// What the library could not make is no message, and may not be closed.
bool ZmqMessage::TakeOver(void* data, std::size_t size, zmq_free_fn* release, void* hint) {
    if (zmq_msg_init_data(&message_, data, size, release, hint) == 0) return true;
    zmq_msg_init(&message_);
    return false;
}

bool ZmqMessage::ReceiveRest(void* socket) {
    bool received = false;
    do {
        received = Receive(socket);
    } while (!received && zmq_errno() == EINTR);
    return received;
}

bool ZmqMessage::Send(void* socket, int flags) {
    bool sent = false;
    do {
        sent = zmq_msg_send(&message_, socket, flags) >= 0;
    } while (!sent && zmq_errno() == EINTR);
    return sent;
}

bool SendWithTrailingZero(void* socket, std::string bytes) {
    return ZmqMessage::WithTrailingZero(std::move(bytes)).Send(socket, 0);
}

} // namespace halvane
