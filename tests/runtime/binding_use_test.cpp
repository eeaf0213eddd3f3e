// Which call of which message binds what: the names that its first call looks up, and that it
// touches no block but its own.
#include "tests/runtime/blocks.h"

#include <functional>

#include "tests/codec/support/fixture.h"
#include "tests/facts/counts.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

enum class side { receive, send };

names both(const names &first, const names &second)
{
    names all = first;
    all.insert(all.end(), second.begin(), second.end());
    return all;
}

class binding_use : public unbound_library {
  protected:
    /// Runs `call` in an unbound library and expects its look-ups, made for one block alone.
    static void expect_lookups(const known_message &m, side of, const names &expected,
                               const std::function<void()> &call)
    {
        forget_bindings();
        reset_platform();
        call();
        EXPECT_EQ(the_platform().lookups, expected);
        const auto has = [&expected](const char *name) {
            return std::find(expected.begin(), expected.end(), name) != expected.end();
        };
        const std::size_t own = 2 * m.fact->package() + (of == side::send ? 1 : 0);
        for (std::size_t i = 0; i < 6; ++i) {
            EXPECT_EQ(serial_ctxs[i].services_bound, i == own && has("ZDT_OsalLogWrite"));
            EXPECT_EQ(serial_ctxs[i].cache_bound, i == own && has("ZDT_OsalMemUseFlagGet"));
        }
    }
};

/// A root table that passes the end by a byte.
const std::vector<std::uint8_t> misplaced_root = buffer_of("u32 table  zeros 1  table: zeros 3");

/// No table leads to another: readers check its root as any table.
bool is_one_table(const message &m)
{
    return std::all_of(m.slots.begin(), m.slots.end(), [](const vorl::slot &slot) {
        return slot.nested == nullptr && !slot.is_vector();
    });
}

TEST_F(binding_use, unpack)
{
    std::size_t flat = 0;
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info);
        const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
        std::vector<std::uint8_t> out(m.fact->record_size, 0x5A);
        const auto unpack = [&](const void *buf, std::size_t len, void *to) {
            functions_of(*m.info).unpack(buf, static_cast<std::int32_t>(len), to);
        };

        expect_lookups(m, side::receive, binding_b,
                       [&] { unpack(bytes.data(), bytes.size(), out.data()); });
        // The arrays came from the cache; a release in the same process takes them back.
        functions_of(*m.info).free_unpacked(out.data());
        EXPECT_EQ(the_platform().live_blocks, 0u);

        expect_lookups(m, side::receive, binding_a,
                       [&] { unpack(nullptr, bytes.size(), out.data()); });
        expect_lookups(m, side::receive, binding_a, [&] { unpack(bytes.data(), 3, out.data()); });
        expect_lookups(m, side::receive, binding_a,
                       [&] { unpack(bytes.data(), bytes.size(), nullptr); });

        // Where the root is checked by __unpack itself, it is checked before the cache is bound.
        const bool checked_by_reader = is_one_table(*m.info);
        flat += checked_by_reader ? 1 : 0;
        out.assign(out.size(), 0x5A);
        expect_lookups(m, side::receive, checked_by_reader ? both(binding_b, binding_a) : binding_a,
                       [&] { unpack(misplaced_root.data(), misplaced_root.size(), out.data()); });
        EXPECT_EQ(out, std::vector<std::uint8_t>(out.size(), checked_by_reader ? 0 : 0x5A));
    }
    EXPECT_EQ(flat, counts::flat);
}

TEST_F(binding_use, release)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        std::vector<std::uint8_t> empty(m.fact->record_size, 0);
        expect_lookups(m, side::receive, {}, [&] { functions_of(*m.info).free_unpacked(nullptr); });
        expect_lookups(m, side::receive, m.fact->is_fixed_size() ? names{} : binding_b,
                       [&] { functions_of(*m.info).free_unpacked(empty.data()); });
    }
}

TEST_F(binding_use, pack)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info);
        std::vector<std::uint8_t> to(packed(*m.info, in.record()).size());
        const auto pack = [&](const void *record, void *buf, std::size_t capacity) {
            auto length = static_cast<std::uint32_t>(capacity);
            functions_of(*m.info).pack(record, buf, &length);
        };
        expect_lookups(m, side::send, binding_b, [&] { pack(in.record(), to.data(), to.size()); });
        expect_lookups(m, side::send, binding_a, [&] { pack(in.record(), nullptr, 1000000); });
        expect_lookups(m, side::send, {}, [&] { pack(nullptr, to.data(), to.size()); });
        expect_lookups(m, side::send, {}, [&] { pack(in.record(), to.data(), to.size() - 1); });
        expect_lookups(m, side::send, {}, [&] { pack(in.record(), nullptr, 0); });
    }
}

TEST_F(binding_use, sends)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info, 2, 1);
        const auto &f = functions_of(*m.info);
        const bool takes_memory = !m.fact->is_fixed_size() || m.fact->frame_length > 1024;
        const names one = takes_memory ? both(binding_a, binding_b) : binding_b;
        const names many = both(binding_a, binding_b);
        expect_lookups(m, side::send, one, [&] { f.sendsingle(1, in.record(), 0, 0); });
        expect_lookups(m, side::send, one, [&] { f.sendmsg(1, in.record(), 1); });
        expect_lookups(m, side::send, one, [&] { f.sendtomsg(1, in.record(), 1, 9); });
        expect_lookups(m, side::send, many, [&] { f.sendbatch(1, in.record(), 2, 0); });
        EXPECT_EQ(the_platform().sends.size(), 1u);
        expect_lookups(m, side::send, many, [&] { f.sendbatch(1, in.record(), 1, 0); });
        expect_lookups(m, side::send, many, [&] { f.sendmsg(1, in.record(), 2); });
        expect_lookups(m, side::send, many, [&] { f.sendtomsg(1, in.record(), 2, 9); });

        // No record is written, so the cache is not bound.
        expect_lookups(m, side::send, binding_a, [&] { f.sendbatch(1, nullptr, 0, 0); });
        expect_lookups(m, side::send, binding_a, [&] {
            the_platform().fail_allocation_at = 1;
            f.sendbatch(1, in.record(), 2, 0);
        });
        expect_lookups(m, side::send, {}, [&] { f.sendmsg(1, in.record(), 0); });
        expect_lookups(m, side::send, {}, [&] { f.sendtomsg(1, in.record(), 0, 9); });
        if (!m.fact->is_fixed_size()) {
            expect_lookups(m, side::send, {}, [&] { f.sendsingle(1, nullptr, 0, 0); });
            expect_lookups(m, side::send, binding_a, [&] { f.sendbatch(1, nullptr, 1, 0); });
        }
    }
}

TEST_F(binding_use, registration_binds_nothing)
{
    for (const catalogue::package_info *package : catalogue::packages) {
        const catalogue::package_functions functions = functions_of(*package);
        functions.recv_init();
        functions.send_init();
        functions.send_resource_clean();
    }
    EXPECT_TRUE(the_platform().lookups.empty());
}

/// Calls that need both bindings of both sides. `bytes` are those of the packed record.
void call_both_sides(const known_message &m, sample &in, const std::vector<std::uint8_t> &bytes)
{
    const auto &f = functions_of(*m.info);
    std::vector<std::uint8_t> out(m.fact->record_size);
    f.unpack(nullptr, 0, nullptr);
    f.unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()), out.data());
    f.free_unpacked(out.data());
    f.sendbatch(1, in.record(), 2, 0);
    packed(*m.info, in.record());
}

TEST_F(binding_use, the_second_call_of_each_side_looks_nothing_up)
{
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info, 2, 1);
        const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
        forget_bindings();
        for (int round = 0; round < 3; ++round) {
            reset_platform();
            call_both_sides(m, in, bytes);
            const names each_side = both(binding_a, binding_b);
            // Receive first: A before its log line, B; then A and B of the send block.
            EXPECT_EQ(the_platform().lookups, round == 0 ? both(each_side, each_side) : names{});
        }
    }
}

// Locks that refuse the thread that holds them: who took one regardless would leave it open.
TEST_F(binding_use, a_bound_side_takes_no_lock)
{
    pthread_mutexattr_t checking;
    pthread_mutexattr_init(&checking);
    pthread_mutexattr_settype(&checking, PTHREAD_MUTEX_ERRORCHECK);
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info, 2, 1);
        const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
        forget_bindings();
        call_both_sides(m, in, bytes);
        for (serial_ctx &ctx : serial_ctxs) {
            for (pthread_mutex_t *lock : {&ctx.service_lock, &ctx.cache_lock}) {
                pthread_mutex_init(lock, &checking);
                ASSERT_EQ(pthread_mutex_lock(lock), 0);
            }
        }
        call_both_sides(m, in, bytes);
        for (serial_ctx &ctx : serial_ctxs) {
            EXPECT_EQ(pthread_mutex_unlock(&ctx.service_lock), 0);
            EXPECT_EQ(pthread_mutex_unlock(&ctx.cache_lock), 0);
        }
    }
}

std::size_t locks_held = 0;
std::size_t lines_written = 0;

/// A log writer that looks at all locks.
void count_held_locks()
{
    ++lines_written;
    for (serial_ctx &ctx : serial_ctxs) {
        for (pthread_mutex_t *lock : {&ctx.service_lock, &ctx.cache_lock}) {
            if (pthread_mutex_trylock(lock) != 0)
                ++locks_held;
            else
                pthread_mutex_unlock(lock);
        }
    }
}

// Each line of the log is written while a frame is read, in the library's very first call, too: of
// arguments, of the root table, and of an array for which there is no memory.
TEST_F(binding_use, no_lock_is_held_while_a_frame_is_read)
{
    locks_held = 0;
    lines_written = 0;
    std::size_t expected = 0;
    const auto reads = [&](const known_message &m, const void *bytes, std::size_t len) {
        forget_bindings();
        the_platform().on_log = count_held_locks;
        std::vector<std::uint8_t> out(m.fact->record_size);
        for (int round = 0; round < 2; ++round, ++expected)
            functions_of(*m.info).unpack(bytes, static_cast<std::int32_t>(len), out.data());
    };
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        reset_platform();
        reads(m, nullptr, 8);
        reads(m, misplaced_root.data(), misplaced_root.size());
        if (m.fact->is_fixed_size())
            continue;
        sample in(*m.info);
        const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
        forget_bindings();
        for (int round = 0; round < 2; ++round) {
            the_platform().fail_allocation_at = 1;
            std::vector<std::uint8_t> out(m.fact->record_size);
            functions_of(*m.info).unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()),
                                         out.data());
            ++expected;
        }
    }
    EXPECT_EQ(lines_written, expected);
    EXPECT_EQ(expected, 4 * counts::messages + 2 * counts::variable_size);
    EXPECT_EQ(locks_held, 0u);
}

TEST_F(binding_use, a_swap_flag_set_before_the_first_call_is_cleared_by_it)
{
    for (const known_message &m : messages_where(true)) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info);
        forget_bindings();
        reset_platform();
        side_states[2 * m.fact->package() + 1].byte_swap_flag = 1;
        functions_of(*m.info).sendsingle(1, in.record(), 0, 0);
        EXPECT_EQ(side_states[2 * m.fact->package() + 1].byte_swap_flag, 0u);
        const std::vector<std::uint8_t> frame = the_platform().sends.at(0).frames.at(0).bytes;
        EXPECT_EQ(frame[0], 4); // root offset 4, least significant byte first

        if (!is_one_table(*m.info))
            continue;
        // The root offset is read in the order of the flag, before the cache is bound; all the
        // rest after it.
        std::vector<std::uint8_t> bytes = frame;
        std::swap(bytes[0], bytes[3]);
        side_states[2 * m.fact->package()].byte_swap_flag = 1;
        std::vector<std::uint8_t> out(m.fact->record_size, 0x5A);
        functions_of(*m.info).unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()),
                                     out.data());
        EXPECT_EQ(side_states[2 * m.fact->package()].byte_swap_flag, 0u);
        EXPECT_TRUE(same_record(*m.info, in.record(), out.data()));
        EXPECT_TRUE(the_platform().logs.empty());
    }
}

void *trap_allocate(std::uint32_t, const std::uint32_t, const char *tag)
{
    ADD_FAILURE() << "allocates " << tag;
    return nullptr;
}
void trap_release(void *, std::uint32_t, const char *tag) { ADD_FAILURE() << "releases " << tag; }

TEST_F(binding_use, receive_blocks_never_use_main_memory_and_send_blocks_never_the_cache)
{
    for (serial_ctx &ctx : serial_ctxs) {
        bind_services(ctx);
        bind_cache(ctx);
    }
    for (std::size_t package = 0; package < 3; ++package) {
        EXPECT_EQ(receive_block(package).mem_alloc, ZDT_OsalMemAlloc);
        EXPECT_EQ(receive_block(package).mem_free, ZDT_OsalMemFree);
        EXPECT_EQ(send_block(package).cache_alloc, ZDT_OsalMemCacheAlloc);
        EXPECT_EQ(send_block(package).cache_free, ZDT_OsalMemFree);
        receive_block(package).mem_alloc = trap_allocate;
        receive_block(package).mem_free = trap_release;
        send_block(package).cache_alloc = trap_allocate;
        send_block(package).cache_free = trap_release;
    }
    std::size_t allocations = 0;
    for (const known_message &m : all_messages()) {
        sample in(*m.info, 2, 1);
        const auto &f = functions_of(*m.info);
        const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
        std::vector<std::uint8_t> out(m.fact->record_size);
        f.unpack(nullptr, 0, nullptr);
        // Whole, then cut short, which makes the unpack release what it had.
        for (const std::size_t len : {bytes.size(), bytes.size() - 1}) {
            f.unpack(bytes.data(), static_cast<std::int32_t>(len), out.data());
            f.free_unpacked(out.data());
        }
        f.sendsingle(1, in.record(), 0, 0);
        f.sendbatch(1, in.record(), 2, 0);
        f.sendmsg(1, in.record(), 2);
        f.sendtomsg(1, in.record(), 1, 2);
    }
    for (const memory_call &call : the_platform().memory)
        allocations += call.kind != memory_call::release ? 1 : 0;
    // Two batches of each, two singles of those of variable size and of two large ones; a record of
    // variable size unpacked whole, with one array more in a query_dfx_rec, and those of which the
    // bytes cut off came after the allocation.
    EXPECT_GE(allocations,
              2 * counts::messages + 2 * (counts::variable_size + 2) + counts::variable_size + 1);
    EXPECT_EQ(the_platform().live_blocks, 0u);
}

} // namespace
} // namespace vorl::test
