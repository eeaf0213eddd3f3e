// Records of every message, whole and damaged, given to __pack and to the four sends of the library
// and of the reference: results, bytes, logs, memory and bus calls must agree. Buffers, records and
// blocks end at an unreadable page; what lies between a record's members is random.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "tests/codec/support/differential.h"
#include "tests/codec/support/library.h"
#include "tests/codec/support/orders.h"

namespace vorl::test {
namespace {

constexpr std::size_t region_size = 131072;

/// Memory for the records and vectors of one run, each piece before an unreadable page of its own.
class arena {
  public:
    arena()
    {
        for (int i = 0; i < 24; ++i)
            regions_.emplace_back(region_size);
    }
    void reset() { used_ = 0; }
    bool has_room() const { return used_ < regions_.size(); }
    std::uint8_t *take(std::size_t size, random_source &random)
    {
        std::uint8_t *at = regions_[used_++].space(size, 0);
        for (std::size_t i = 0; i < size; i += 8) {
            const std::uint64_t word = random();
            std::memcpy(at + i, &word, std::min<std::size_t>(8, size - i));
        }
        return at;
    }

  private:
    std::deque<guarded_buffer> regions_;
    std::size_t used_ = 0;
};

enum class shape { full, sparse, empty };

/// Makes records; what memory holds before is taken for random.
class record_maker {
  public:
    record_maker(arena &memory, random_source &random) : memory_(memory), random_(random) {}

    void scalars(shape s)
    {
        shape_ = s;
        zeros_ = 1 + random_() % 15; // of 16
    }

    void make(const message &m, std::uint8_t *record)
    {
        for (const vorl::slot &slot : m.slots) {
            std::uint8_t *member = record + slot.record_at;
            switch (slot.shape) {
            case slot_shape::scalar: scalar(member, slot.width); break;
            case slot_shape::array:
                if (random_() % 4 == 0)
                    std::memset(member, 0, slot.count * slot.width);
                break;
            case slot_shape::table: make(*slot.nested, member); break;
            case slot_shape::table_array: make_all(*slot.nested, member, slot.count); break;
            case slot_shape::byte_vector:
            case slot_shape::table_vector: vector(slot, record); break;
            }
        }
    }

    void make_all(const message &m, std::uint8_t *records, std::uint64_t count)
    {
        for (std::uint64_t i = 0; i < count; ++i)
            make(m, records + i * m.record_size);
    }

  private:
    void scalar(std::uint8_t *member, std::size_t width)
    {
        if (shape_ == shape::empty || (shape_ == shape::sparse && random_() % 16 < zeros_))
            std::memset(member, 0, width);
        else if (random_() % 8 == 0) // one bit, so that no byte can stand for the whole
            reference::store(member, std::uint64_t{1} << random_() % (8 * width), width,
                             order::little);
        else
            member[0] |= 1;
    }

    void vector(const vorl::slot &slot, std::uint8_t *record)
    {
        const std::size_t width = slot.nested != nullptr ? slot.nested->record_size : 1;
        const std::uint64_t room = region_size / width;
        std::uint64_t count = random_() % 5;
        std::uint64_t first = 1 + random_() % 64; // an address where nobody may look
        switch (random_() % 32) {
        case 0:
            count = random_() % 3 == 0 ? 0xFFFFFFFF - random_() % 8 : 1 + random_() % 4;
            first = 0;
            break;
        case 1: count = 0; break;
        case 2:
            if (slot.nested == nullptr) { // more bytes than any buffer of this test holds
                const std::uint64_t most[] = {0xFFFFFFFF, 0xFFFFFF00, 0x80000000, 200000};
                count = most[random_() % 4] - random_() % 256;
                break;
            }
            [[fallthrough]];
        case 3:
            if (slot.nested == nullptr || random_() % 8 == 0)
                count = 1 + random_() % std::min<std::uint64_t>(room, slot.nested ? 600 : 66000);
            [[fallthrough]];
        default:
            if (!memory_.has_room())
                count = 0;
            first = 0;
            if (count != 0) {
                std::uint8_t *elements = memory_.take(count * width, random_);
                if (slot.nested != nullptr)
                    make_all(*slot.nested, elements, count);
                first = reinterpret_cast<std::uintptr_t>(elements);
            }
            break;
        }
        reference::store(record + slot.count_at, count, 4, order::little);
        std::memcpy(record + slot.record_at, &first, sizeof first);
    }

    arena &memory_;
    random_source &random_;
    shape shape_ = shape::full;
    std::uint64_t zeros_ = 0;
};

/// A byte vector of the record, nested ones included, and the record that holds it; a null slot when
/// there is none.
struct byte_vector {
    const vorl::slot *slot = nullptr;
    std::uint8_t *holder = nullptr;
};

byte_vector find_byte_vector(const message &m, std::uint8_t *record)
{
    byte_vector found;
    for (const vorl::slot &slot : m.slots) {
        if (slot.shape == slot_shape::byte_vector)
            found = {&slot, record};
        else if (slot.shape == slot_shape::table && found.slot == nullptr)
            found = find_byte_vector(*slot.nested, record + slot.record_at);
    }
    return found;
}

void print(std::ostream &to, const reference::writing &w)
{
    to << "  result " << w.result << " length " << w.length << '\n';
    print_calls(to, w.logs, w.memory);
    const auto short_hex = [](const bytes &b) {
        return hex(std::span(b).first(std::min<std::size_t>(b.size(), 512)));
    };
    for (const auto &send : w.sends) {
        to << "  bus " << (send.explicit_target ? "to " : "") << send.to << " dest " << send.dest
           << " count " << send.count << " descriptors at " << send.descriptors << " after "
           << send.memory_calls << " memory calls\n";
        for (const auto &frame : send.frames)
            to << "  frame " << frame.msg_id << " at " << frame.place << ", "
               << frame.content.size() << " bytes\n"
               << short_hex(frame.content);
    }
    to << "  buffer of " << w.buffer.size() << '\n' << short_hex(w.buffer);
    to << "  block of " << w.block.size() << '\n';
}

std::string difference(const reference::writing &library, const reference::writing &expected)
{
    std::string text = difference_by(print, library, expected);
    const auto at = std::mismatch(library.block.begin(), library.block.end(),
                                  expected.block.begin(), expected.block.end());
    if (at.first != library.block.end())
        text += "blocks differ at " + std::to_string(at.first - library.block.begin()) + '\n';
    return text;
}

std::vector<reference::memory_event> main_memory_calls()
{
    std::vector<reference::memory_event> calls;
    for (const memory_call &call : the_platform().memory) {
        const bool is_release = call.kind == memory_call::release;
        EXPECT_NE(call.kind, memory_call::cache_allocate);
        EXPECT_EQ(call.id, 0x6200u);
        if (is_release) {
            EXPECT_EQ(call.block, the_platform().only_block);
        }
        calls.push_back(
            {is_release ? reference::memory_event::release : reference::memory_event::allocate,
             call.size, call.tag, call.block != nullptr ? std::size_t{1} : 0});
    }
    return calls;
}

/// Leaves its mark where the next call has its frame.
[[gnu::noinline]] void dirty_the_stack(std::uint64_t mark)
{
    volatile std::uint64_t words[384];
    for (volatile std::uint64_t &word : words)
        word = mark;
}

class writing_run {
  public:
    writing_run(order o, std::uint64_t seed) : order_(o), random_(seed) {}

    /// One message's __pack, or one send of it, by both. Empty when they did the same.
    std::string once(const message &m)
    {
        memory_.reset();
        the_platform().forget_calls();
        return random_() % 2 == 0 ? pack(m) : send(m);
    }

    const tally &paths() const { return paths_; }
    std::uint64_t refused() const { return refused_; }

  private:
    std::uint8_t any_byte() { return static_cast<std::uint8_t>(random_()); }

    std::uint8_t *records(const message &m, std::uint32_t count)
    {
        const std::uint64_t which = random_() % 8;
        shape_ = which < 3 ? shape::full : which < 7 ? shape::sparse : shape::empty;
        std::uint8_t *at = memory_.take(count * m.record_size, random_);
        record_maker maker(memory_, random_);
        for (std::uint32_t i = 0; i < count; ++i) {
            maker.scalars(shape_);
            maker.make(m, at + i * m.record_size);
        }
        return at;
    }

    std::uint32_t capacity_near(std::uint64_t size)
    {
        switch (random_() % 8) {
        case 0: return static_cast<std::uint32_t>(random_() % 9);
        case 1: return static_cast<std::uint32_t>(size - 1);
        case 2: return static_cast<std::uint32_t>(size + 1);
        case 3: return static_cast<std::uint32_t>(random_() % (size + 1));
        case 4: return random_() % 16 == 0 ? std::uint32_t{region_size} : 4096;
        case 5: return static_cast<std::uint32_t>(size + random_() % 256);
        default: return static_cast<std::uint32_t>(size);
        }
    }

    std::string pack(const message &m)
    {
        const std::uint8_t *record = random_() % 64 == 0 ? nullptr : records(m, 1);
        const std::uint64_t size =
            record == nullptr ? 0 : reference::measured_size(m, record).value_or(0);
        reference::pack_call call{.in = record,
                                  .null_buffer = random_() % 8 == 0,
                                  .capacity = capacity_near(size),
                                  .buffer_before = {},
                                  .byte_order = order_};
        std::uint8_t *buffer = nullptr;
        if (call.null_buffer) {
            if (random_() % 2 == 0)
                call.capacity = 0xFFFFFFFF;
        } else {
            call.capacity = std::min(call.capacity, std::uint32_t{region_size});
            call.buffer_before.assign(call.capacity, any_byte());
            buffer = target_.space(call.capacity,
                                   call.capacity != 0 ? call.buffer_before[0] : std::uint8_t{0});
        }
        const reference::writing expected = reference::pack(m, call);
        refused_ += expected.result != 0;
        paths_.add(!is_plain(m)            ? "pack, inner tables"
                   : shape_ == shape::full ? "pack, full"
                                           : "pack, sparse");

        reference::writing library;
        library.length = call.capacity;
        library.result = functions_of(m).pack(record, buffer, &library.length);
        library.buffer.assign(buffer, buffer + call.buffer_before.size());
        library.memory = main_memory_calls();
        library.logs = take_logs(m, side::send);
        EXPECT_TRUE(the_platform().sends.empty());
        return difference(library, expected);
    }

    /// Of a block whose size passes 32 bits, or for which this test has no memory.
    std::uint32_t impossible_count(const message &m)
    {
        const std::uint64_t each = 16 + std::uint64_t{catalogue::frame_length(m)};
        const std::uint64_t area = is_fixed_size(m) ? 0 : 65536;
        const std::uint64_t wraps = ((std::uint64_t{1} << 32) - area + each - 1) / each;
        return static_cast<std::uint32_t>(random_() % 2 == 0 ? wraps + random_() % 4
                                                             : 10000 + random_() % 0xFFFF0000);
    }

    /// Where it can, gives the last record's bytes such a count that all frames of the batch fill the
    /// area to the last byte, or miss it by one.
    void fill_area(const message &m, std::uint8_t *all, std::uint32_t count)
    {
        const auto [slot, holder] = find_byte_vector(m, all + (count - 1) * m.record_size);
        if (slot == nullptr || !memory_.has_room())
            return;
        const void *content = memory_.take(65536, random_);
        reference::store(holder + slot->count_at, 1, 4, order::little);
        std::memcpy(holder + slot->record_at, &content, sizeof content);
        std::uint64_t others = 0;
        for (std::uint32_t i = 0; i < count; ++i)
            others += reference::measured_size(m, all + i * m.record_size).value_or(65536);
        // With one byte in it, this vector leaves 65536 - others.
        if (others < 65536)
            reference::store(holder + slot->count_at, 65536 - others + random_() % 3, 4,
                             order::little);
    }

    std::string send(const message &m)
    {
        reference::send_call call{.kind = static_cast<reference::send_kind>(random_() % 4),
                                  .dest = static_cast<std::uint32_t>(random_()),
                                  .records = nullptr,
                                  .count = static_cast<std::uint32_t>(random_() % 5),
                                  .to = random_() % 2 == 0 ? 0 : random_(),
                                  .byte_order = order_,
                                  .bus_result = 0,
                                  .fail_allocation = random_() % 16 == 0,
                                  .fresh_memory = any_byte()};
        if (random_() % 2 == 0)
            call.bus_result =
                static_cast<std::uint32_t>(random_() % 2 == 0 ? random_() % 8 : 0 - random_() % 2);
        const bool is_single = call.kind == reference::send_kind::single;
        const bool is_impossible = !is_single && random_() % 32 == 0;
        if (is_impossible) {
            call.count = impossible_count(m);
        } else if (!is_single && call.count != 0 && random_() % 32 == 0 && !is_fixed_size(m)) {
            // No records where there should be some.
        } else if (is_single || call.count != 0 || random_() % 2 == 0) {
            const std::uint32_t count = is_single ? 1 : std::max(call.count, 1u);
            std::uint8_t *all = records(m, count);
            call.records = all;
            if (!is_fixed_size(m) && random_() % 8 == 0)
                fill_area(m, all, count);
        }
        // The block ends at the unreadable page, or lies anyhow. What cannot be had is refused.
        reference::writing expected = reference::send(m, limited(m, call));
        if (!expected.memory.empty()) {
            const std::size_t size = expected.memory[0].size;
            the_platform().only_block =
                call.fail_allocation
                    ? nullptr
                    : target_.space(size + (random_() % 2 == 0 ? 0 : random_() % 16),
                                    call.fresh_memory);
        }
        refused_ += expected.sends.empty();
        paths_.add(is_fixed_size(m) ? "send frame" : "send packed");

        the_platform().bus_result = call.bus_result;
        the_platform().fail_allocation_at = call.fail_allocation ? 1 : 0;
        dirty_the_stack(random_());
        reference::writing library;
        library.result = called(m, call);
        the_platform().fail_allocation_at = 0;
        library.memory = main_memory_calls();
        library.logs = take_logs(m, side::send);
        take_sends(library, expected.memory.empty() ? 0 : expected.memory[0].size);
        the_platform().only_block = nullptr;
        return difference(library, expected);
    }

    /// Fails the allocation of a block that this test has no memory for.
    const reference::send_call &limited(const message &m, reference::send_call &call)
    {
        std::uint64_t size = 0;
        const bool is_batch = call.kind == reference::send_kind::batch ||
                              (call.kind != reference::send_kind::single && call.count > 1);
        if (is_batch)
            size = (is_fixed_size(m) ? std::uint64_t{call.count} * catalogue::frame_length(m)
                                     : 65536) +
                   std::uint64_t{call.count} * 16;
        else if (!is_fixed_size(m) && call.records != nullptr)
            size = reference::measured_size(m, call.records).value_or(0);
        if (static_cast<std::uint32_t>(size) > region_size - 16)
            call.fail_allocation = true;
        return call;
    }

    std::uint32_t called(const message &m, const reference::send_call &call)
    {
        switch (call.kind) {
        case reference::send_kind::single:
            return functions_of(m).sendsingle(call.dest, call.records, call.count, call.to);
        case reference::send_kind::batch:
            return functions_of(m).sendbatch(call.dest, call.records, call.count, call.to);
        case reference::send_kind::msg:
            return functions_of(m).sendmsg(call.dest, call.records, call.count);
        default: return functions_of(m).sendtomsg(call.dest, call.records, call.count, call.to);
        }
    }

    static void take_sends(reference::writing &to, std::size_t block_size)
    {
        const auto *block = static_cast<const std::uint8_t *>(the_platform().only_block);
        const auto place = [&](const void *at) {
            const auto *byte = static_cast<const std::uint8_t *>(at);
            return block != nullptr && byte >= block && byte <= block + block_size
                       ? byte - block
                       : reference::on_stack;
        };
        for (const bus_call &call : the_platform().sends) {
            to.sends.push_back({call.explicit_target,
                                call.dest,
                                call.to,
                                call.count,
                                place(call.descs),
                                {},
                                call.memory_calls});
            for (const auto &frame : call.frames)
                to.sends.back().frames.push_back({frame.msg_id, place(frame.data), frame.bytes});
            if (block == nullptr)
                continue;
            to.block.assign(block, block + block_size);
            if (to.sends.back().descriptors != reference::on_stack)
                std::fill(to.block.begin() + to.sends.back().descriptors, to.block.end(),
                          std::uint8_t{0});
        }
    }

    order order_;
    random_source random_;
    arena memory_;
    guarded_buffer target_{region_size};
    shape shape_ = shape::full;
    tally paths_;
    std::uint64_t refused_ = 0;
};

void run(order o)
{
    use_order(o);
    const std::uint64_t seed = setting("VORL_DIFFERENTIAL_SEED", 11);
    writing_run writes(o, seed);
    random_source random(seed + 1);
    std::uint64_t runs = 0;
    for (; !writes.paths().is_enough(runs, 5); ++runs) {
        const message &m = *all_messages()[random() % all_messages().size()];
        ASSERT_EQ(writes.once(m), "") << name_of(m) << ", run " << runs;
        ASSERT_FALSE(::testing::Test::HasFailure()) << name_of(m) << ", run " << runs;
    }
    EXPECT_EQ(the_platform().live_blocks, 0u);
    writes.paths().print();
    // The damage is neither too little nor too much to mean anything.
    EXPECT_GT(writes.refused(), runs / 10);
    EXPECT_LT(writes.refused(), runs / 2);
    EXPECT_GT(writes.paths().least(5), runs / 40);
    reset_platform();
    forget_bindings();
}

TEST(differential_writing, little) { run(order::little); }
TEST(differential_writing, big) { run(order::big); }

} // namespace
} // namespace vorl::test
