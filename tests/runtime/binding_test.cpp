// The blocks as they are at load time, and the two bindings of one block: which names are looked
// up, in which order, how often, and what is bound when some are missing.
#include "tests/runtime/blocks.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace vorl::test {
namespace {

using binding = unbound_library;

/// The fallbacks, which all blocks share.
const allocate_fn heap_allocate = serial_ctxs[0].cache_alloc;
const release_fn heap_release = serial_ctxs[0].cache_free;

void expect_untouched(const serial_ctx &ctx)
{
    EXPECT_STREQ(ctx.module_name, "ZELKO");
    EXPECT_STREQ(ctx.submodule_name, "ZELKO_VANTREL_SERIAL");
    EXPECT_EQ(ctx.mem_module_id, 0x6200u);
    EXPECT_EQ(ctx.log_write, nullptr);
    EXPECT_EQ(ctx.mem_alloc, nullptr);
    EXPECT_EQ(ctx.mem_free, nullptr);
    EXPECT_EQ(ctx.services_bound, 0u);
    EXPECT_EQ(ctx.cache_bound, 0u);
    EXPECT_EQ(ctx.cache_alloc, heap_allocate);
    EXPECT_EQ(ctx.cache_free, heap_release);
}

/// The blocks and the flags as they were before any test, which all set them anew.
class at_load : public testing::Environment {
  public:
    void SetUp() override
    {
        std::memcpy(blocks_, static_cast<const void *>(serial_ctxs), sizeof serial_ctxs);
        std::copy(std::begin(side_states), std::end(side_states), states);
        lookups = the_platform().lookups;
    }
    static const serial_ctx &block(std::size_t index)
    {
        return reinterpret_cast<const serial_ctx *>(blocks_)[index];
    }
    static inline side_state states[std::size(side_states)];
    static inline names lookups;

  private:
    alignas(serial_ctx) static inline std::uint8_t blocks_[sizeof serial_ctxs];
};
const testing::Environment *const kept = testing::AddGlobalTestEnvironment(new at_load);

TEST(blocks_at_load_time, hold_their_static_values)
{
    ASSERT_EQ(std::size(serial_ctxs), 6u);
    EXPECT_NE(heap_allocate, nullptr);
    EXPECT_NE(heap_release, nullptr);
    for (std::size_t i = 0; i < 6; ++i)
        expect_untouched(at_load::block(i));
    EXPECT_TRUE(at_load::lookups.empty());
}

TEST_F(binding, members_stand_in_the_order_that_the_platform_knows)
{
    EXPECT_EQ(offsetof(serial_ctx, module_name), 0u);
    EXPECT_EQ(offsetof(serial_ctx, submodule_name), 8u);
    EXPECT_EQ(offsetof(serial_ctx, mem_module_id), 16u);
    EXPECT_EQ(offsetof(serial_ctx, service_lock), 24u);
    const std::size_t after_lock = 24 + sizeof(pthread_mutex_t);
    EXPECT_EQ(offsetof(serial_ctx, log_write), after_lock);
    EXPECT_EQ(offsetof(serial_ctx, mem_alloc), after_lock + 8);
    EXPECT_EQ(offsetof(serial_ctx, mem_free), after_lock + 16);
    EXPECT_EQ(offsetof(serial_ctx, services_bound), after_lock + 24);
    EXPECT_EQ(offsetof(serial_ctx, cache_lock), after_lock + 32);
    const std::size_t after_locks = after_lock + 32 + sizeof(pthread_mutex_t);
    EXPECT_EQ(offsetof(serial_ctx, cache_bound), after_locks);
    EXPECT_EQ(offsetof(serial_ctx, cache_alloc), after_locks + 8);
    EXPECT_EQ(offsetof(serial_ctx, cache_free), after_locks + 16);
}

/// Runs before the library's constructors, which have no priority.
[[gnu::constructor(101)]] void set_every_byte_swap_flag()
{
    for (side_state &state : side_states)
        state.byte_swap_flag = 5;
}

TEST(blocks_at_load_time, have_their_byte_swap_flags_cleared)
{
    ASSERT_EQ(std::size(at_load::states), 6u);
    for (const side_state &state : at_load::states)
        EXPECT_EQ(state.byte_swap_flag, 0u);
}

TEST(blocks_at_load_time, have_no_settled_side)
{
    for (const side_state &state : at_load::states)
        EXPECT_EQ(state.cache_bound, 0u);
}

TEST_F(binding, fallbacks_are_the_heap_and_ignore_identifier_and_tag)
{
    const serial_ctx &ctx = serial_ctxs[0];
    void *block = ctx.cache_alloc(40, 0xDEAD, nullptr);
    ASSERT_NE(block, nullptr);
    memset(block, 1, 40);
    ctx.cache_free(block, 0, "another tag");
    ctx.cache_free(nullptr, 0, nullptr);
    EXPECT_TRUE(the_platform().memory.empty());
}

TEST_F(binding, services_of_one_block_alone_are_bound_and_looked_up_once)
{
    for (serial_ctx &bound : serial_ctxs) {
        forget_bindings();
        reset_platform();
        for (int call = 0; call < 3; ++call) {
            bind_services(bound);
            bind_services_once(bound);
        }
        EXPECT_EQ(the_platform().lookups, binding_a);
        EXPECT_FALSE(the_platform().lookup_with_handle);
        EXPECT_EQ(bound.log_write, ZDT_OsalLogWrite);
        EXPECT_EQ(bound.mem_alloc, ZDT_OsalMemAlloc);
        EXPECT_EQ(bound.mem_free, ZDT_OsalMemFree);
        EXPECT_EQ(bound.services_bound, 1u);
        EXPECT_EQ(bound.cache_bound, 0u);
        EXPECT_NE(bound.cache_alloc, ZDT_OsalMemCacheAlloc);
        EXPECT_NE(bound.cache_free, ZDT_OsalMemFree);
        EXPECT_TRUE(the_platform().use_flag_arguments.empty());
        for (const serial_ctx &other : serial_ctxs) {
            if (&other != &bound)
                expect_untouched(other);
        }
    }
}

TEST_F(binding, cache_of_one_block_alone_is_bound_and_looked_up_once)
{
    for (std::size_t i = 0; i < 6; ++i) {
        forget_bindings();
        reset_platform();
        for (side_state &state : side_states)
            state.byte_swap_flag = 5;
        serial_ctx &bound = serial_ctxs[i];
        for (int call = 0; call < 3; ++call) {
            bind_cache(bound);
            bind_cache_once(bound);
        }
        EXPECT_EQ(the_platform().lookups, binding_b);
        EXPECT_FALSE(the_platform().lookup_with_handle);
        EXPECT_EQ(the_platform().use_flag_arguments, std::vector<std::uint32_t>{12});
        EXPECT_EQ(bound.cache_alloc, ZDT_OsalMemCacheAlloc);
        EXPECT_EQ(bound.cache_free, ZDT_OsalMemFree);
        EXPECT_EQ(bound.cache_bound, 1u);
        EXPECT_EQ(bound.services_bound, 0u);
        EXPECT_EQ(bound.log_write, nullptr);
        EXPECT_EQ(bound.mem_alloc, nullptr);
        EXPECT_EQ(bound.mem_free, nullptr);
        for (std::size_t other = 0; other < 6; ++other) {
            EXPECT_EQ(side_states[other].byte_swap_flag, other == i ? 0u : 5u);
            EXPECT_EQ(side_states[other].cache_bound, other == i ? 1u : 0u);
            if (other != i)
                expect_untouched(serial_ctxs[other]);
        }
    }
}

/// The locks that somebody holds: "4 service", "4 cache", of all six blocks.
names held_locks()
{
    names held;
    for (std::size_t i = 0; i < 6; ++i) {
        const std::pair<const char *, pthread_mutex_t *> locks[] = {
            {" service", &serial_ctxs[i].service_lock}, {" cache", &serial_ctxs[i].cache_lock}};
        for (const auto &[name, lock] : locks) {
            if (pthread_mutex_trylock(lock) != 0)
                held.push_back(std::to_string(i) + name);
            else
                pthread_mutex_unlock(lock);
        }
    }
    return held;
}

std::vector<names> held_at_lookups;

TEST_F(binding, locks_its_own_lock_for_its_look_ups_and_no_other)
{
    const auto expect_held = [](void (*bind)(serial_ctx &), std::size_t i, const char *name) {
        forget_bindings();
        reset_platform();
        held_at_lookups.clear();
        the_platform().on_lookup = [] { held_at_lookups.push_back(held_locks()); };
        bind(serial_ctxs[i]);
        const names own = {std::to_string(i) + name};
        EXPECT_EQ(held_at_lookups, (std::vector<names>{own, own, own}));
        ASSERT_EQ(held_locks(), names{});
        // As if another thread had bound the block while this one waited: it lets go at once.
        bind(serial_ctxs[i]);
        EXPECT_EQ(held_at_lookups.size(), 3u);
        EXPECT_EQ(held_locks(), names{});
    };
    for (std::size_t i = 0; i < 6; ++i) {
        expect_held(bind_services_once, i, " service");
        expect_held(bind_cache_once, i, " cache");
    }
}

TEST_F(binding, the_swap_flag_is_cleared_by_the_first_binding_of_the_cache_only)
{
    bind_cache(serial_ctxs[3]);
    side_states[3].byte_swap_flag = 1;
    bind_cache(serial_ctxs[3]);
    bind_services(serial_ctxs[3]);
    EXPECT_EQ(side_states[3].byte_swap_flag, 1u);
}

TEST_F(binding, a_side_is_settled_when_its_cache_is_bound_and_its_order_is_the_native_one)
{
    for (std::size_t i = 0; i < 6; ++i) {
        forget_bindings();
        const auto of = static_cast<package>(i / 2);
        const auto to = static_cast<direction>(i % 2);
        const auto expect_settled = [&](bool is) {
            EXPECT_EQ(is_settled<settled_for::values>(of, to), is);
            EXPECT_EQ(is_settled<settled_for::allocations>(of, to), is);
        };
        expect_settled(false);
        bind_services(serial_ctxs[i]);
        expect_settled(false);
        bind_cache(serial_ctxs[i]);
        expect_settled(true);
        for (const std::uint32_t flag : {1u, 2u, 0x80000000u}) {
            side_states[i].byte_swap_flag = flag;
            expect_settled(false);
        }
        side_states[i].byte_swap_flag = 0;
        expect_settled(true);
        for (std::size_t other = 0; other < 6; ++other) {
            if (other != i) {
                EXPECT_FALSE(is_settled<settled_for::values>(static_cast<package>(other / 2),
                                                             static_cast<direction>(other % 2)));
            }
        }
    }
}

TEST_F(binding, the_cache_is_used_only_when_the_flag_is_exactly_one)
{
    for (const std::uint32_t flag : {0u, 2u, 3u, 0x80000001u, 0xFFFFFFFFu}) {
        forget_bindings();
        reset_platform();
        the_platform().use_flag = flag;
        serial_ctx &ctx = serial_ctxs[0];
        bind_cache(ctx);
        EXPECT_EQ(the_platform().lookups, names{"ZDT_OsalMemUseFlagGet"});
        EXPECT_EQ(the_platform().use_flag_arguments, std::vector<std::uint32_t>{12});
        EXPECT_EQ(ctx.cache_alloc, heap_allocate);
        EXPECT_EQ(ctx.cache_free, heap_release);
        EXPECT_EQ(ctx.cache_bound, 1u);
    }
}

TEST_F(binding, without_the_flag_function_the_cache_stays_the_heap)
{
    the_platform().has_use_flag = false;
    serial_ctx &ctx = serial_ctxs[4];
    bind_cache(ctx);
    EXPECT_EQ(the_platform().lookups, names{"ZDT_OsalMemUseFlagGet"});
    EXPECT_TRUE(the_platform().use_flag_arguments.empty());
    EXPECT_EQ(ctx.cache_alloc, heap_allocate);
    EXPECT_EQ(ctx.cache_free, heap_release);
    EXPECT_EQ(ctx.cache_bound, 1u);
}

TEST_F(binding, half_a_cache_pair_is_no_pair)
{
    for (const bool has_allocate : {false, true}) {
        for (const bool has_release : {false, true}) {
            if (has_allocate && has_release)
                continue;
            forget_bindings();
            reset_platform();
            the_platform().has_cache_allocate = has_allocate;
            the_platform().has_release = has_release;
            serial_ctx &ctx = serial_ctxs[2];
            bind_cache(ctx);
            EXPECT_EQ(the_platform().lookups, binding_b);
            EXPECT_EQ(ctx.cache_alloc, heap_allocate);
            EXPECT_EQ(ctx.cache_free, heap_release);
        }
    }
}

TEST_F(binding, half_a_main_pair_is_no_pair)
{
    for (const bool has_allocate : {false, true}) {
        for (const bool has_release : {false, true}) {
            if (has_allocate && has_release)
                continue;
            forget_bindings();
            reset_platform();
            the_platform().has_main_allocate = has_allocate;
            the_platform().has_release = has_release;
            serial_ctx &ctx = serial_ctxs[1];
            bind_services(ctx);
            EXPECT_EQ(the_platform().lookups, binding_a);
            // One pair of fallbacks serves both bindings.
            EXPECT_EQ(ctx.mem_alloc, heap_allocate);
            EXPECT_EQ(ctx.mem_free, heap_release);
            EXPECT_EQ(ctx.log_write, ZDT_OsalLogWrite);
        }
    }
}

TEST_F(binding, a_missing_log_writer_leaves_the_allocators_bound)
{
    the_platform().has_log = false;
    serial_ctx &ctx = serial_ctxs[1];
    bind_services(ctx);
    bind_services(ctx);
    EXPECT_EQ(the_platform().lookups, binding_a);
    EXPECT_EQ(ctx.log_write, nullptr);
    EXPECT_EQ(ctx.mem_alloc, ZDT_OsalMemAlloc);
    EXPECT_EQ(ctx.mem_free, ZDT_OsalMemFree);
}

int own_log_lines = 0;
void own_log(const serial_ctx *, std::uint32_t, std::uint32_t, const char *, std::uint32_t,
             const char *, const char *, ...)
{
    ++own_log_lines;
}

TEST_F(binding, a_log_writer_that_is_set_already_is_kept)
{
    own_log_lines = 0;
    serial_ctx &ctx = serial_ctxs[0];
    ctx.log_write = own_log;
    // Allocators are always looked up afresh.
    ctx.mem_alloc = ctx.cache_alloc;
    ctx.mem_free = ctx.cache_free;
    log(ctx, 22, 1, "function", "text");
    EXPECT_EQ(the_platform().lookups, (names{"ZDT_OsalMemAlloc", "ZDT_OsalMemFree"}));
    EXPECT_EQ(ctx.log_write, own_log);
    EXPECT_EQ(ctx.mem_alloc, ZDT_OsalMemAlloc);
    EXPECT_EQ(ctx.mem_free, ZDT_OsalMemFree);
    EXPECT_EQ(own_log_lines, 1);
    EXPECT_TRUE(the_platform().logs.empty());
}

} // namespace
} // namespace vorl::test
