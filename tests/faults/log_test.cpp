// The log writer calls the library from within its call: the caller's result, record, memory and
// log line are those of a writer that only writes, and what it calls works, or fails, as ever.
#include "tests/codec/support/fixture.h"
#include "tests/faults/worlds.h"

namespace vorl::test {
namespace {

/// What a log writer is called for, each time once, with what the caller then has.
struct outcome {
    std::uint32_t result;
    std::vector<std::uint8_t> record;
    std::uint32_t length;
    std::vector<log_call> logs;
    std::vector<memory_call::kind_type> memory;

    bool is_like(const outcome &other) const
    {
        if (logs.size() != 1 || other.logs.size() != 1)
            return false;
        const log_call &a = logs[0];
        const log_call &b = other.logs[0];
        return result == other.result && record == other.record && length == other.length &&
               memory == other.memory && a.ctx == b.ctx && a.kind == b.kind && a.line == b.line &&
               a.function == b.function && a.text == b.text;
    }
};

struct site {
    const char *name;
    bool of_batches_only;
    void (*call)(const known_message &m, sample &in, outcome &what);
};

void unpack_into(outcome &what, const known_message &m, const std::vector<std::uint8_t> &bytes)
{
    what.record.assign(m.fact->record_size, 0);
    what.result = unpack(m, bytes, what.record.data());
    functions_of(*m.info).free_unpacked(what.record.data());
}

/// The buffer that the text shows, in the byte order of the side that receives the message.
std::vector<std::uint8_t> received(const known_message &m, const char *text)
{
    const bool swaps = swaps_bytes(static_cast<package>(m.fact->package()), direction::receive);
    return buffer_of(text, swaps ? reference::order::big : reference::order::little);
}

constexpr site sites[] = {
    {"pack without a buffer", false,
     [](const known_message &m, sample &in, outcome &what) {
         what.length = 70000;
         what.result = functions_of(*m.info).pack(in.record(), nullptr, &what.length);
     }},
    {"unpack of nothing", false,
     [](const known_message &m, sample &, outcome &what) {
         what.result = functions_of(*m.info).unpack(nullptr, 0, nullptr);
     }},
    {"no root table", false,
     [](const known_message &m, sample &, outcome &what) {
         unpack_into(what, m, received(m, "u32 table  table:"));
     }},
    {"a root table without its vtable", false,
     [](const known_message &m, sample &, outcome &what) {
         unpack_into(what, m, received(m, "u32 table  table: u32 table-0  zeros 4"));
     }},
    {"a vtable of odd length", false,
     [](const known_message &m, sample &, outcome &what) {
         unpack_into(what, m,
                     received(m, "u32 table  table: u32 table-vtable  vtable: u16 5  u16 0"));
     }},
    // Behind root offset, vtable, soffset and f0: the vector's offset, its count, and here the
    // offset of the first element, out of range in either byte order.
    {"an element beyond the end", true,
     [](const known_message &m, sample &in, outcome &what) {
         std::vector<std::uint8_t> bytes = packed(*m.info, in.record());
         const std::uint8_t far[] = {0, 0xFF, 0xFF, 0};
         std::copy(std::begin(far), std::end(far), bytes.begin() + 28);
         unpack_into(what, m, bytes);
     }},
};

outcome outcome_of(const site &s, const known_message &m, const world &w)
{
    sample in(*m.info);
    enter(w, &m);
    outcome what = {};
    s.call(m, in, what);
    what.logs = the_platform().logs;
    for (const memory_call &call : the_platform().memory)
        what.memory.push_back(call.kind);
    EXPECT_EQ(live_blocks(), 0u);
    return what;
}

TEST(log_faults, a_log_writer_that_calls_the_library_changes_nothing)
{
    std::uint64_t injected = 0;
    std::uint64_t entered = 0;
    for (const binding_state binding : every_binding_state) {
        for (const memory from : {memory::of_platform, memory::of_heap}) {
            for (const known_message &m : all_messages()) {
                SCOPED_TRACE(name_of(*m.info));
                for (const site &s : sites) {
                    if (s.of_batches_only && (m.fact->is_fixed_size() || m.fact->package() != 0))
                        continue;
                    SCOPED_TRACE(s.name);
                    const outcome plain = outcome_of(s, m, {log_writer::present, binding, from});
                    const outcome nested =
                        outcome_of(s, m, {log_writer::re_entrant, binding, from});
                    EXPECT_TRUE(nested.is_like(plain));
                    EXPECT_EQ(re_entries(), 1u);
                    entered += re_entries();
                    injected += faults_in_re_entries();
                    const outcome silent = outcome_of(s, m, {log_writer::absent, binding, from});
                    EXPECT_TRUE(silent.logs.empty());
                    EXPECT_EQ(silent.result, plain.result);
                    EXPECT_EQ(silent.record, plain.record);
                    EXPECT_EQ(silent.length, plain.length);
                }
            }
        }
    }
    // Five sites a message, one more a batch, in six worlds: (115 x 5 + 31) x 6 = 3,636.
    constexpr std::uint64_t sites_of_all = 5 * counts::messages + counts::batches;
    EXPECT_EQ(entered, sites_of_all * 6);
    // Each time of the message and of the one beside it: its vectors, a batch without memory, and a
    // bus that refuses. The one beside has one vector. 6 x (606 x 5 + 5 x 38 + 31) = 19,506.
    expect_injected(injected,
                    6 * (sites_of_all * (2 * 2 + 1) + 5 * unpacking_allocations + counts::batches));
}

} // namespace
} // namespace vorl::test
