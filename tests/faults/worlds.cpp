#include "tests/faults/worlds.h"

#include <map>
#include <utility>

#include "tests/faults/heap.h"

namespace vorl::test {
namespace {

bool heap_in_use = false;
const known_message *subject_of_log = nullptr;
int depth = 0;
std::uint64_t entries = 0;
std::uint64_t inner_faults = 0;

/// Samples are made once: a log writer has no time to waste.
sample &records_of(const known_message &m)
{
    static std::map<std::string_view, sample> made;
    return made.try_emplace(m.fact->name, *m.info, 3u, 1u).first->second;
}

const known_message &of_another_package(const known_message &m)
{
    static const std::vector<known_message> all = all_messages();
    const auto named = [](std::string_view name) -> const known_message & {
        for (const known_message &other : all) {
            if (other.fact->name == name)
                return other;
        }
        throw std::logic_error("no such message");
    };
    return m.fact->package() == 1 ? named("srv6_common_fwd_update")
                                  : named("srv6_cfg_query_comm_rec");
}

void expect_sent(std::size_t frames)
{
    std::size_t sent = 0;
    for (const bus_call &call : the_platform().sends)
        sent += call.count;
    EXPECT_EQ(sent, frames);
    the_platform().sends.clear();
}

/// Every function of the message, as it should be.
void use(const known_message &m)
{
    sample &in = records_of(m);
    const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
    std::vector<std::uint8_t> out(m.fact->record_size);
    EXPECT_EQ(unpack(m, bytes, out.data()), m.fact->record_size);
    EXPECT_TRUE(same_record(*m.info, in.record(), out.data()));
    functions_of(*m.info).free_unpacked(out.data());
    EXPECT_EQ(functions_of(*m.info).sendbatch(1, in.record(), 3, 0), 0u);
    EXPECT_EQ(functions_of(*m.info).sendsingle(1, in.record(), 0, 2), 0u);
    expect_sent(4);
}

/// Memory fails, the bus refuses, and arguments are bad, in the log call of another failure.
void use_and_fail(const known_message &m)
{
    sample &in = records_of(m);
    const std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
    std::vector<std::uint8_t> out(m.fact->record_size);
    for (std::uint64_t at = 1; at <= vectors_of(m); ++at) {
        const std::uint64_t before = live_blocks();
        the_platform().logs.clear();
        fail_allocation(at);
        unpack(m, bytes, out.data());
        EXPECT_EQ(the_platform().logs.size(), 1u);
        EXPECT_EQ(live_blocks(), before);
        ++inner_faults;
    }
    fail_allocation(1);
    EXPECT_EQ(functions_of(*m.info).sendbatch(1, in.record(), 3, 0), not_sent);
    expect_sent(0);
    the_platform().refuse_send_at = 1;
    EXPECT_EQ(functions_of(*m.info).sendmsg(1, in.record(), 1), 7u);
    expect_sent(1);
    inner_faults += 2;
    the_platform().logs.clear();
    EXPECT_EQ(functions_of(*m.info).unpack(nullptr, 0, nullptr), m.fact->record_size);
    EXPECT_EQ(the_platform().logs.size(), 1u);
}

/// The log writer calls the library, whose log lines call it again, once.
void call_back_in()
{
    if (depth == 2)
        return;
    ++depth;
    entries += depth == 1 ? 1 : 0;
    platform &p = the_platform();
    const auto logs = std::exchange(p.logs, {});
    const auto memory_calls = std::exchange(p.memory, {});
    const auto sends = std::exchange(p.sends, {});
    const std::uint64_t allocations_before = the_heap().allocations;
    const std::uint64_t live = live_blocks();
    for (const known_message *m : {subject_of_log, &of_another_package(*subject_of_log)}) {
        use(*m);
        if (depth == 1)
            use_and_fail(*m);
        EXPECT_EQ(live_blocks(), live) << m->fact->name;
    }
    // What was called from here is not what the caller's call did.
    p.logs = logs;
    p.memory = memory_calls;
    p.sends = sends;
    the_heap().allocations = allocations_before;
    --depth;
}

} // namespace

std::string world::name() const
{
    const char *const logs[] = {"no log", "a log", "a re-entrant log"};
    const char *const bindings[] = {"unbound", "bound", "bound and swapped"};
    return std::string(logs[static_cast<int>(log)]) + ", " + bindings[static_cast<int>(binding)] +
           (from == memory::of_heap ? ", memory of the heap" : ", memory of the platform");
}

void enter(const world &w, const known_message *subject)
{
    watch_heap(false);
    forget_bindings();
    reset_platform();
    the_heap() = {};
    platform &p = the_platform();
    heap_in_use = w.from == memory::of_heap;
    p.has_log = w.log != log_writer::absent;
    p.has_main_allocate = !heap_in_use;
    p.has_cache_allocate = !heap_in_use;
    subject_of_log = subject;
    entries = 0;
    inner_faults = 0;
    if (w.log == log_writer::re_entrant && subject != nullptr) {
        records_of(*subject); // with memory that nothing watches
        records_of(of_another_package(*subject));
        p.on_log = call_back_in;
    }
    if (w.binding != binding_state::unbound) {
        for (serial_ctx &ctx : serial_ctxs) {
            bind_services(ctx);
            bind_cache(ctx);
        }
    }
    if (w.binding == binding_state::swapped)
        swap_bytes();
    watch_heap(heap_in_use);
}

std::uint64_t re_entries() { return entries; }
std::uint64_t faults_in_re_entries() { return inner_faults; }

void fail_allocation(std::uint64_t at)
{
    (heap_in_use ? the_heap().fail_allocation_at : the_platform().fail_allocation_at) = at;
}

std::uint64_t allocations()
{
    if (heap_in_use)
        return the_heap().allocations;
    std::uint64_t made = 0;
    for (const memory_call &call : the_platform().memory)
        made += call.kind == memory_call::release ? 0 : 1;
    return made;
}

std::uint64_t live_blocks()
{
    return heap_in_use ? the_heap().live_blocks : the_platform().live_blocks;
}

} // namespace vorl::test
