// A platform that remembers: the bus, the log and the memory services as the library sees them, under the test's control.
//
// A test program that links this has the four VORL_ functions, memset_s and memcpy_s, and the five ZDT_ services as symbols of
// its own, which come before those of any library. Under the library's shared object the services are found by dlsym as on
// the router, all of them, always (or none, with test_bus in place of test_platform). With the library's objects linked in,
// the runtime's look-ups go to vorl_test_dlsym, which obeys the `has_` switches.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "runtime/bus.h"

namespace vorl::test {

struct log_call {
    const void *ctx;
    std::uint32_t level;
    std::uint32_t kind;
    std::string empty;
    std::uint32_t line;
    std::string function;
    std::string format;
    std::string text; ///< the format with its arguments in it
};

struct memory_call {
    enum kind_type { main_allocate, cache_allocate, release } kind;
    std::uint32_t size; ///< of an allocation
    std::uint32_t id;
    std::string tag;
    void *block;

    bool operator==(const memory_call &) const = default;
};

/// A call of memset_s, or of memcpy_s.
struct bounded_call {
    bool copies; ///< memcpy_s
    const void *to;
    std::size_t capacity;
    int value;        ///< of memset_s
    const void *from; ///< of memcpy_s
    std::size_t count;
    std::size_t memory_calls; ///< how many allocations and releases came before

    bool operator==(const bounded_call &) const = default;
};

struct bus_call {
    bool explicit_target; ///< VORL_SendToMsg
    std::uint32_t dest;
    std::uint64_t to;
    std::uint32_t count;
    struct frame {
        std::uint32_t msg_id;
        const void *data;
        std::vector<std::uint8_t> bytes;
    };
    std::vector<frame> frames;
    const void *descs;            ///< where the descriptors lay
    std::size_t memory_calls = 0; ///< how many allocations and releases came before
};

struct registration_call {
    std::uint32_t msg_id;
    vorl::unpack_hook unpack;
    vorl::free_hook release;
};

struct platform {
    // What a look-up finds, with the library's objects linked in.
    bool has_log = true;
    bool has_main_allocate = true;
    bool has_release = true; ///< ZDT_OsalMemFree, which both bindings look up
    bool has_cache_allocate = true;
    bool has_use_flag = true;
    std::uint32_t use_flag = 1; ///< what ZDT_OsalMemUseFlagGet(12) returns

    // What the services do.
    std::uint32_t bus_result = 0;
    std::uint64_t refuse_send_at = 0; ///< 1: the next; 0: none
    std::uint32_t send_refusal = 7;
    std::uint32_t refuse_registration_at = 0; ///< 1: the first; 0: none
    std::uint32_t registration_refusal = 7;
    std::uint64_t fail_allocation_at = 0; ///< 1: the next; counts both allocators; 0: none
    // memset_s and memcpy_s
    std::size_t bounded_limit = SIZE_MAX; ///< larger counts are refused
    int bounded_refusal = 1;              ///< the result then
    std::size_t bounded_damage = 0; ///< as many bytes are 0xC3 by then, or all if they are fewer
    bool keep_frames = true;        ///< copy frame bytes of bus calls
    /// called at every look-up, outside the platform's own lock; may be null
    void (*on_lookup)() = nullptr;
    /// sees what the bus is given, before anything else; may be null
    void (*on_send)(const frame_desc *descs, std::uint32_t count) = nullptr;
    /// called at every log line, after it was noted, outside the platform's own lock; may be null
    void (*on_log)() = nullptr;
    std::size_t misalignment = 0; ///< bytes past a multiple of 16 at which blocks begin, 0 to 15
    void *only_block = nullptr; ///< what every allocation returns, whatever its size; null: memory

    // What happened.
    std::vector<std::string>
        lookups;                     ///< every name, in order; with the library's objects linked in
    bool lookup_with_handle = false; ///< some lookup did not use the null handle
    std::vector<std::uint32_t> use_flag_arguments;
    std::vector<log_call> logs;
    std::vector<memory_call> memory;
    std::vector<bus_call> sends;
    std::vector<registration_call> registrations;
    std::vector<vorl::resource_clean_hook> clean_registrations;
    std::vector<bounded_call> bounded;
    std::uint64_t live_blocks = 0; ///< allocated by the ZDT_ services and not released

    void forget_calls();
};

/// The one platform of this process. Guarded by a lock inside; read it when no other thread is in the library.
platform &the_platform();

/// Puts everything back as at start, the platform's settings included.
void reset_platform();

} // namespace vorl::test
