// What a process registers with the bus. An __unpack function is not told what it unpacks, so each hook
// gets a function of its own here, which knows: a pool of them, since none can be made while the process
// runs.
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>

#include <array>
#include <utility>

#include "capture/frame.h"
#include "runtime/bus.h"
#include "tap/bus_behind.h"
#include "tap/hooks.h"
#include "tap/process_ring.h"
#include "tap/record.h"

namespace vorl::tap {
namespace {

constexpr uint32_t pool = 1024;

struct hook {
    std::atomic<unpack_hook> unpack{nullptr};
    std::atomic<uint32_t> msg_id{0};
};

hook hooks[pool];
uint32_t used = 0; ///< this and registering: guarded
uint64_t not_wrapped = 0;
pthread_mutex_t registering = PTHREAD_MUTEX_INITIALIZER;

/// Recorded before it is unpacked: what ends a process is then in its ring.
uint32_t unpack_and_record(uint32_t index, const void *buf, int32_t len, void *out)
{
    const hook &of = hooks[index];
    const uint32_t msg_id = of.msg_id.load(std::memory_order_relaxed);
    if (ring::header *const to = recording_ring()) {
        const ring::filter &wanted = filter_of(*to);
        // Which destination it came to is not known here, so a filter by destination has none of them.
        if (wanted.destinations.load(std::memory_order_relaxed) == 0 &&
            has(wanted.messages, wanted.message, msg_id))
            record(*to, {.time = now(),
                         .data = buf,
                         .length = len < 0 ? 0 : static_cast<uint32_t>(len),
                         .flags = (uint32_t{capture::identifier_known} << ring::known_shift) |
                                  ring::received_flag,
                         .identifier = msg_id});
    }
    return of.unpack.load(std::memory_order_relaxed)(buf, len, out);
}

template <uint32_t Index>
uint32_t stand_in(const void *buf, int32_t len, void *out)
{
    return unpack_and_record(Index, buf, len, out);
}

template <uint32_t... Index>
constexpr std::array<unpack_hook, pool> all_stand_ins(std::integer_sequence<uint32_t, Index...>)
{
    return {stand_in<Index>...};
}
constexpr std::array<unpack_hook, pool> stand_ins =
    all_stand_ins(std::make_integer_sequence<uint32_t, pool>());

/// The message's name, by the function's own: "srv6_localsid_fwd__unpack".
void describe(ring::header &to, const hook &of)
{
    Dl_info found{};
    auto *const function = reinterpret_cast<void *>(of.unpack.load(std::memory_order_relaxed));
    const bool has_name =
        dladdr(function, &found) != 0 && found.dli_sname != nullptr && found.dli_saddr == function;
    add_to_dictionary(to, ring::dictionary_entry::message,
                      of.msg_id.load(std::memory_order_relaxed), has_name ? found.dli_sname : "");
}

/// The stand-in of a hook, the same for the same one; `is_new` if it was none before. Null: there are no
/// more.
unpack_hook stand_in_for(uint32_t msg_id, unpack_hook unpack, bool &is_new)
{
    for (uint32_t i = 0; i < used; ++i) {
        if (hooks[i].msg_id.load(std::memory_order_relaxed) == msg_id &&
            hooks[i].unpack.load(std::memory_order_relaxed) == unpack)
            return stand_ins[i];
    }
    if (used == pool)
        return nullptr;
    is_new = true;
    hooks[used].msg_id.store(msg_id, std::memory_order_relaxed);
    hooks[used].unpack.store(unpack, std::memory_order_relaxed);
    return stand_ins[used++];
}

void count_hooks(ring::header &in)
{
    in.wrapped.store(used, std::memory_order_relaxed);
    in.unwrapped.store(not_wrapped, std::memory_order_relaxed);
}

class guard {
  public:
    guard() { pthread_mutex_lock(&registering); }
    ~guard() { pthread_mutex_unlock(&registering); }
    guard(const guard &) = delete;
    guard &operator=(const guard &) = delete;
};

} // namespace

void describe_hooks(ring::header &to)
{
    const guard held;
    for (uint32_t i = 0; i < used; ++i)
        describe(to, hooks[i]);
    count_hooks(to);
}

void forget_registering() { registering = PTHREAD_MUTEX_INITIALIZER; }

} // namespace vorl::tap

using namespace vorl::tap;

#pragma GCC visibility push(default)

uint32_t VORL_RegIDLFuncHook(uint32_t msg_id, vorl::unpack_hook unpack, vorl::free_hook release)
{
    static std::atomic<decltype(&VORL_RegIDLFuncHook)> behind{nullptr};
    const auto bus = bus_behind(behind, "VORL_RegIDLFuncHook");
    if (bus == nullptr)
        return 0xFFFFFFFF;
    if (unpack == nullptr)
        return bus(msg_id, unpack, release);
    recording_ring(); // which is not made within the lock: that describes the hooks
    const guard held;
    bool is_new = false;
    const vorl::unpack_hook instead = stand_in_for(msg_id, unpack, is_new);
    const uint32_t result = bus(msg_id, instead == nullptr ? unpack : instead, release);
    const int error = errno;
    if (is_new && result != 0)
        --used;
    if (instead == nullptr && result == 0)
        ++not_wrapped;
    if (vorl::ring::header *const to = process_ring.load(std::memory_order_acquire)) {
        if (is_new && result == 0)
            describe(*to, hooks[used - 1]);
        count_hooks(*to);
    }
    errno = error;
    return result;
}

#pragma GCC visibility pop
