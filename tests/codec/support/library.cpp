#include "tests/codec/support/library.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>

namespace vorl::test {

void print_calls(std::ostream &to, const std::vector<reference::log_event> &logs,
                 const std::vector<reference::memory_event> &memory)
{
    for (const auto &log : logs)
        to << "  log " << log.kind << " line " << log.line << ' ' << log.function << " \""
           << log.text << "\"\n";
    for (const auto &call : memory)
        to << (call.kind == reference::memory_event::allocate ? "  allocate " : "  release ")
           << call.size << " \"" << call.tag << "\" block " << call.block << '\n';
}

namespace {

void print(std::ostream &to, const reference::outcome &o)
{
    print_calls(to, o.logs, o.memory);
    const auto short_hex = [](const bytes &b) {
        return hex(std::span(b).first(std::min<std::size_t>(b.size(), 256)));
    };
    to << "  record\n" << short_hex(o.record);
    for (const bytes &block : o.blocks)
        to << "  block of " << block.size() << '\n' << short_hex(block);
}

/// Replaces addresses of blocks by their numbers, in the record and in nested ones.
void number_blocks(const message &m, std::uint8_t *record, const std::vector<void *> &blocks)
{
    for (const vorl::slot &slot : m.slots) {
        std::uint8_t *member = record + slot.record_at;
        if (slot.shape == slot_shape::table) {
            number_blocks(*slot.nested, member, blocks);
        } else if (slot.is_vector()) {
            void *address = nullptr;
            std::memcpy(&address, member, sizeof address);
            const auto found = std::find(blocks.begin(), blocks.end(), address);
            if (found != blocks.end())
                reference::store(member, static_cast<std::uint64_t>(found - blocks.begin()) + 1, 8,
                                 order::little);
        }
    }
}

} // namespace

std::vector<reference::log_event> take_logs(const message &m, side s)
{
    // One block for a package's side, and none of another's; its first two members are names.
    static std::map<std::pair<std::string, side>, const void *> blocks;
    std::vector<reference::log_event> logs;
    for (const log_call &call : the_platform().logs) {
        const auto own = blocks.try_emplace({catalogue::package_of(m).name, s}, call.ctx).first;
        for (const auto &[owner, block] : blocks)
            EXPECT_EQ(block == call.ctx, owner == own->first) << owner.first;
        const char *names[2];
        std::memcpy(names, call.ctx, sizeof names);
        EXPECT_STREQ(names[0], "ZELKO");
        EXPECT_STREQ(names[1], "ZELKO_VANTREL_SERIAL");
        EXPECT_EQ(call.level, 2u);
        EXPECT_EQ(call.empty, "");
        logs.push_back({call.kind, call.line, call.function, call.format, call.text});
    }
    return logs;
}

std::string difference(const reference::outcome &library, const reference::outcome &expected)
{
    return difference_by(print, library, expected);
}

namespace {

/// Bytes behind a record that __unpack is to leave alone.
constexpr std::size_t margin = 16;

} // namespace

unpacked::unpacked(const message &m, const void *buf, std::int32_t len, std::uint8_t fill,
                   std::uint32_t fail_allocation_at)
    : message_(m), bytes_at_(reinterpret_cast<std::uintptr_t>(buf)),
      bytes_len_(static_cast<std::uint32_t>(len)), fill_(fill), record_(m, fill, margin)
{
    the_platform().forget_calls();
    the_platform().fail_allocation_at = fail_allocation_at;
    EXPECT_EQ(functions_of(m).unpack(buf, len, record_.data()), m.record_size);
    the_platform().fail_allocation_at = 0;
    take_calls();
}

reference::outcome unpacked::into_null(const message &m, const void *buf, std::int32_t len)
{
    the_platform().forget_calls();
    EXPECT_EQ(functions_of(m).unpack(buf, len, nullptr), m.record_size);
    EXPECT_TRUE(the_platform().memory.empty());
    reference::outcome result;
    result.logs = take_logs(m, side::receive);
    return result;
}

unpacked::~unpacked()
{
    const auto held = [](const bytes &block) { return !block.empty(); };
    if (std::any_of(outcome_.blocks.begin(), outcome_.blocks.end(), held))
        functions_of(message_).free_unpacked(record_.data());
}

void unpacked::release()
{
    the_platform().forget_calls();
    functions_of(message_).free_unpacked(record_.data());
    take_calls();
}

void unpacked::take_calls()
{
    std::uint8_t *const end = record_.at(message_.record_size);
    EXPECT_TRUE(std::all_of(end, end + margin, [this](std::uint8_t byte) { return byte == fill_; }))
        << name_of(message_) << ": the bytes behind the record have changed";
    for (auto &log : take_logs(message_, side::receive))
        outcome_.logs.push_back(std::move(log));
    for (const memory_call &call : the_platform().memory) {
        EXPECT_EQ(call.id, 12u);
        EXPECT_NE(call.kind, memory_call::main_allocate);
        if (call.kind == memory_call::release) {
            // The latest: the heap may give one address out twice.
            const auto found = std::find(blocks_.rbegin(), blocks_.rend(), call.block);
            const auto number = static_cast<std::size_t>(blocks_.rend() - found);
            EXPECT_NE(number, 0u) << "released what was not allocated";
            outcome_.memory.push_back({reference::memory_event::release, 0, call.tag, number});
            if (number != 0)
                outcome_.blocks[number - 1].clear();
            continue;
        }
        if (call.block != nullptr) {
            blocks_.push_back(call.block);
            outcome_.blocks.emplace_back(call.size);
        }
        outcome_.memory.push_back({reference::memory_event::allocate, call.size, call.tag,
                                   call.block != nullptr ? blocks_.size() : 0});
    }
    expect_bounded_calls();
    for (std::size_t i = 0; i < blocks_.size(); ++i) {
        if (!outcome_.blocks[i].empty())
            std::memcpy(outcome_.blocks[i].data(), blocks_[i], outcome_.blocks[i].size());
    }
    outcome_.record.assign(record_.at(0), record_.at(0) + message_.record_size);
    number_blocks(message_, outcome_.record.data(), blocks_);
}

void unpacked::expect_bounded_calls() const
{
    const std::vector<memory_call> &memory = the_platform().memory;
    std::vector<bounded_call> expected;
    for (std::size_t i = 0; i < memory.size(); ++i) {
        const memory_call &call = memory[i];
        if (call.kind == memory_call::release || call.block == nullptr)
            continue;
        // A message that holds a vector itself holds one.
        const message &holder = message_named(call.tag.substr(0, call.tag.rfind("_unpack")));
        const bool copies =
            std::any_of(holder.slots.begin(), holder.slots.end(),
                        [](const vorl::slot &s) { return s.shape == slot_shape::byte_vector; });
        const void *from = nullptr;
        if (copies && expected.size() < the_platform().bounded.size()) {
            from = the_platform().bounded[expected.size()].from;
            const auto at = reinterpret_cast<std::uintptr_t>(from) - bytes_at_;
            EXPECT_LE(call.size, bytes_len_) << call.tag;
            EXPECT_LE(at, bytes_len_ - call.size) << call.tag;
        }
        expected.push_back({copies, call.block, call.size, 0, from, call.size, i + 1});
    }
    EXPECT_EQ(the_platform().bounded, expected) << name_of(message_);
}

reference::outcome expected_unpack(const message &m, std::span<const std::uint8_t> buffer,
                                   order byte_order, std::uint8_t fill,
                                   std::uint32_t fail_allocation_at, std::set<std::uint64_t> *edges)
{
    return reference::unpack(m,
                             {.buf = buffer.data(),
                              .len = static_cast<std::int32_t>(buffer.size()),
                              .record_before = bytes(m.record_size, fill),
                              .byte_order = byte_order,
                              .fail_allocation_at = fail_allocation_at},
                             edges);
}

std::string reading_difference(const message &m, std::span<const std::uint8_t> buffer,
                               order byte_order, std::uint8_t fill,
                               std::uint32_t fail_allocation_at)
{
    return reading_difference(m, buffer,
                              expected_unpack(m, buffer, byte_order, fill, fail_allocation_at),
                              fill, fail_allocation_at);
}

std::string reading_difference(const message &m, std::span<const std::uint8_t> buffer,
                               reference::outcome expected, std::uint8_t fill,
                               std::uint32_t fail_allocation_at)
{
    unpacked u(m, buffer.data(), static_cast<std::int32_t>(buffer.size()), fill,
               fail_allocation_at);
    std::string text = difference(u.what(), expected);
    if (expected.record == bytes(m.record_size, fill))
        return text;
    for (int i = 0; i < 2 && text.empty(); ++i) {
        u.release();
        reference::free_unpacked(m, expected);
        text = difference(u.what(), expected);
    }
    return text;
}

bytes library_pack(const message &m, const void *record)
{
    std::uint32_t length = 0xFFFFFFFF;
    if (functions_of(m).pack(record, nullptr, &length) != 0)
        return {};
    bytes out(length, 0xEE);
    EXPECT_EQ(functions_of(m).pack(record, out.data(), &length), 0u);
    EXPECT_EQ(length, out.size());
    return out;
}

namespace {

/// Leaves its mark where the next call has its frame.
[[gnu::noinline]] void dirty_the_stack()
{
    volatile std::uint8_t mark[8192];
    for (volatile std::uint8_t &byte : mark)
        byte = 0xEE;
}

} // namespace

bytes sent_single(const message &m, const void *record)
{
    the_platform().forget_calls();
    dirty_the_stack();
    EXPECT_EQ(functions_of(m).sendsingle(7, record, 0, 0), 0u);
    const auto &sends = the_platform().sends;
    EXPECT_EQ(sends.size(), 1u);
    if (sends.size() != 1 || sends[0].frames.size() != 1)
        return {};
    EXPECT_EQ(sends[0].frames[0].msg_id, m.msg_id);
    return sends[0].frames[0].bytes;
}

std::vector<bytes> sent_batch(const message &m, const void *records, std::uint32_t count)
{
    the_platform().forget_calls();
    EXPECT_EQ(functions_of(m).sendbatch(7, records, count, 0), 0u);
    std::vector<bytes> frames;
    EXPECT_EQ(the_platform().sends.size(), 1u);
    for (const bus_call &call : the_platform().sends) {
        for (const auto &frame : call.frames) {
            EXPECT_EQ(frame.msg_id, m.msg_id);
            frames.push_back(frame.bytes);
        }
    }
    return frames;
}

} // namespace vorl::test
