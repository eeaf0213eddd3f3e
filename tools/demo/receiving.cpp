// The receiving process: compares what arrives with what the file has.
#include <dlfcn.h>
#include <poll.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <deque>
#include <map>

#include "catalogue/functions.h"
#include "platform/bus/receiver.h"
#include "tools/demo/roles.h"

namespace vorl::demo {
namespace {

constexpr std::uint32_t mismatches_shown = 10;

class comparison {
  public:
    explicit comparison(const std::vector<record> &objects)
    {
        for (const record &object : objects)
            types_[object.type().msg_id].expected.push_back(&object);
    }

    void take(std::uint32_t msg_id, const void *received, std::uint32_t frame_length)
    {
        type_state &type = types_[msg_id];
        ++type.received;
        type.bytes += frame_length;
        // One sender: the objects of a type arrive in the file's order.
        if (type.expected.empty()) {
            mismatch(type, msg_id, "more received than sent");
            return;
        }
        const record &sent = *type.expected.front();
        type.expected.pop_front();
        const std::string difference = json::first_difference(sent.type(), sent.data(), received);
        if (!difference.empty())
            mismatch(type, msg_id, difference + " differs from what was sent");
    }

    void report() const
    {
        each_message([this](const message &m) {
            const auto found = types_.find(m.msg_id);
            if (found != types_.end())
                std::printf("%s %" PRIu64 " %" PRIu64 " %" PRIu64 "\n", name_of(m),
                            found->second.received, found->second.bytes, found->second.mismatches);
        });
    }

  private:
    struct type_state {
        std::deque<const record *> expected;
        std::uint64_t received = 0;
        std::uint64_t bytes = 0;
        std::uint64_t mismatches = 0;
    };

    void mismatch(type_state &type, std::uint32_t msg_id, const std::string &what)
    {
        ++type.mismatches;
        if (shown_++ >= mismatches_shown)
            return;
        const catalogue::message_info *info = catalogue::find_message(msg_id);
        std::fprintf(stderr, "vorl_demo: %s, object %" PRIu64 " of its type: %s\n",
                     info == nullptr ? "an unknown message" : name_of(info->data), type.received,
                     what.c_str());
    }

    std::map<std::uint32_t, type_state> types_;
    std::uint32_t shown_ = 0;
};

bool input_has_ended()
{
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, 0) > 0;
}

} // namespace

int receive_all(const std::string &file)
{
    const std::vector<record> objects = load(file);
    comparison result(objects);
    for (const catalogue::package_info *package : catalogue::packages) {
        if (functions_of(*package, RTLD_DEFAULT).recv_init() != 0)
            fail(std::string("the bus refused package ") + package->name);
    }
    vorl_dev_receiver *receiver = VORL_DevReceiverOpen(dest, 0);
    if (receiver == nullptr)
        fail("cannot receive; see above");
    const vorl_dev_handler handler = [](void *user, std::uint32_t msg_id, const void *received,
                                        std::uint32_t, const void *, std::uint32_t frame_length) {
        static_cast<comparison *>(user)->take(msg_id, received, frame_length);
    };
    std::puts("ready");
    std::fflush(stdout);
    static constexpr std::int32_t wait_ms = 20;
    while (!input_has_ended())
        VORL_DevReceive(receiver, wait_ms, handler, &result);
    VORL_DevReceiverClose(receiver, handler, &result);
    result.report();
    return 0;
}

} // namespace vorl::demo
