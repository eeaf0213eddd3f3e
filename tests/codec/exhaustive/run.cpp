#include "tests/codec/exhaustive/run.h"

#include <algorithm>
#include <cstring>
#include <sstream>

#include "api/message.h"
#include "srv6_cfg_messages.h"
#include "srv6_messages.h"
#include "srv6_sync_messages.h"
#include "tests/support/bindings.h"

namespace vorl::test::exhaustive {
namespace {

void add_pointers(const message &m, std::uint32_t at, std::vector<std::uint32_t> &to)
{
    for (const slot &s : m.slots) {
        if (s.is_vector())
            to.push_back(at + s.record_at);
        else if (s.shape == slot_shape::table)
            add_pointers(*s.nested, at + s.record_at, to);
    }
}

std::string short_hex(std::span<const std::uint8_t> of)
{
    constexpr std::size_t most = 256;
    return hex(of.first(std::min(of.size(), most))) + (of.size() > most ? "...\n" : "");
}

void print_call(std::ostream &to, bool is_allocation, std::uint32_t size, std::string_view tag,
                std::size_t block)
{
    to << (is_allocation ? "  allocate " : "  release ") << size << " \"" << tag << "\" block "
       << block << '\n';
}

void print_log(std::ostream &to, std::uint32_t kind, std::uint32_t line, std::string_view function,
               std::string_view text)
{
    to << "  log " << kind << " line " << line << ' ' << function << " \"" << text << "\"\n";
}

} // namespace

const std::vector<subject> &subjects()
{
    static const std::vector<subject> all = [] {
        std::vector<subject> list = {
#define FACT(name, ...) {&name##_message, name##__unpack, name##_free__unpacked, {}},
#include "tests/facts/messages.inc"
#undef FACT
        };
        for (subject &s : list)
            add_pointers(*s.data, 0, s.pointers);
        return list;
    }();
    return all;
}

run::run(codec which)
    : which_(which), memory_([] {
          std::size_t largest = 0;
          for (const subject &s : subjects())
              largest = std::max<std::size_t>(largest, s.data->record_size);
          return largest;
      }())
{}

void run::unpack(const subject &s, const std::uint8_t *buf, std::int32_t len)
{
    subject_ = &s;
    calls_.clear();
    the_calls = &calls_;
    record_ = memory_.space(s.data->record_size, dirt); // its end is the end of what may be written
    if (which_ == codec::plain)
        unpack_plainly(buf, len, record_, *s.data);
    else
        s.unpack(buf, len, record_);
}

void run::release()
{
    the_calls = &calls_;
    if (which_ == codec::exported) {
        subject_->free_unpacked(record_);
    } else if (!is_fixed_size(*subject_->data)) {
        bind_cache(ctx_of(*subject_->data, direction::receive));
        plain::release(record_, to_log, *subject_->data);
    }
}

void run::number_blocks(std::uint8_t *record) const
{
    for (const std::uint32_t at : subject_->pointers) {
        std::uint8_t *address = nullptr;
        std::memcpy(&address, record + at, sizeof address);
        for (std::uint64_t i = 0; i < calls_.block_count; ++i) {
            if (calls_.blocks[i].begin == address) {
                reference::store(record + at, i + 1, sizeof address, order::little);
                break;
            }
        }
    }
}

bytes run::record() const
{
    numbered_.assign(record_, record_ + subject_->data->record_size);
    number_blocks(numbered_.data());
    return numbered_;
}

bool run::agree_in_logs(const reference::outcome &expected) const
{
    if (calls_.log_count != expected.logs.size())
        return false;
    for (std::size_t i = 0; i < calls_.log_count; ++i) {
        const log_call &log = calls_.logs[i];
        const reference::log_event &other = expected.logs[i];
        if (log.ctx != &serial_ctxs[ctx_index(subject_->data->owner, direction::receive)] ||
            log.level != 2 || *log.empty != 0 || log.kind != other.kind || log.line != other.line ||
            log.function != other.function || log.format != other.format || log.text != other.text)
            return false;
    }
    return true;
}

bool run::agree_in_memory(const reference::outcome &expected) const
{
    if (calls_.memory_count != expected.memory.size() ||
        calls_.block_count != expected.blocks.size() || !calls_.margins_are_intact())
        return false;
    for (std::size_t i = 0; i < calls_.memory_count; ++i) {
        const memory_call &call = calls_.memory[i];
        const reference::memory_event &other = expected.memory[i];
        if ((call.kind == memory_call::cache_allocate) !=
                (other.kind == reference::memory_event::allocate) ||
            call.id != 12 || call.size != other.size || call.block != other.block ||
            call.tag != other.tag)
            return false;
    }
    for (std::size_t i = 0; i < calls_.block_count; ++i) {
        const block &b = calls_.blocks[i];
        const bytes &other = expected.blocks[i];
        if (b.is_released
                ? !other.empty()
                : other.size() != b.size || std::memcmp(b.begin, other.data(), b.size) != 0)
            return false;
    }
    return true;
}

bool run::agrees_with(const reference::outcome &expected)
{
    const std::size_t size = subject_->data->record_size;
    const std::uint8_t *record = record_;
    if (!subject_->pointers.empty()) {
        numbered_.assign(record_, record_ + size);
        number_blocks(numbered_.data());
        record = numbered_.data();
    }
    return std::memcmp(record, expected.record.data(), size) == 0 && agree_in_logs(expected) &&
           agree_in_memory(expected);
}

std::string run::text() const
{
    std::ostringstream to;
    for (std::size_t i = 0; i < calls_.log_count; ++i) {
        const log_call &log = calls_.logs[i];
        print_log(to, log.kind, log.line, log.function, log.text);
    }
    for (std::size_t i = 0; i < calls_.memory_count; ++i) {
        const memory_call &call = calls_.memory[i];
        print_call(to, call.kind == memory_call::cache_allocate, call.size, call.tag, call.block);
    }
    to << "  record\n" << short_hex(record());
    for (std::size_t i = 0; i < calls_.block_count; ++i) {
        const block &b = calls_.blocks[i];
        to << "  block of " << (b.is_released ? 0 : b.size) << '\n'
           << (b.is_released ? "" : short_hex({b.begin, b.size}));
    }
    if (!calls_.margins_are_intact())
        to << "  bytes behind a block were written\n";
    return to.str();
}

std::string text_of(const reference::outcome &o)
{
    std::ostringstream to;
    for (const reference::log_event &log : o.logs)
        print_log(to, log.kind, log.line, log.function, log.text);
    for (const reference::memory_event &call : o.memory)
        print_call(to, call.kind == reference::memory_event::allocate, call.size, call.tag,
                   call.block);
    to << "  record\n" << short_hex(o.record);
    for (const bytes &block : o.blocks)
        to << "  block of " << block.size() << '\n' << short_hex(block);
    return to.str();
}

std::string comparison::what_differs(const char *step, const run &library,
                                     const reference::outcome &expected) const
{
    return std::string(step) +
           (&library == &plain_ ? " by the plain codec:\n" : " by the exported function:\n") +
           library.text() + "expected:\n" + text_of(expected);
}

std::string comparison::difference(const subject &s, const std::uint8_t *buf, std::uint32_t len,
                                   order o)
{
    const auto length = static_cast<std::int32_t>(len);
    // In the other byte order the exported function is the plain codec.
    run *const both[] = {&exported_, &plain_};
    const std::span<run *const> libraries(both, o == order::little ? 2 : 1);
    for (run *library : libraries)
        library->unpack(s, buf, length);

    call_.buf = buf;
    call_.len = length;
    call_.byte_order = o;
    call_.record_before.assign(s.data->record_size, dirt);
    // A block larger than the platform gives away fails for all three.
    call_.fail_allocation_at = libraries.back()->failed_allocation();
    reference::outcome expected = reference::unpack(*s.data, call_);
    for (run *library : libraries) {
        if (!library->agrees_with(expected))
            return what_differs("read", *library, expected);
    }
    // A record that was left untouched is none, and one without vectors owns nothing.
    if (s.pointers.empty() || expected.record == call_.record_before)
        return {};
    for (const char *step : {"released", "released twice"}) {
        reference::free_unpacked(*s.data, expected);
        for (run *library : libraries) {
            library->release();
            if (!library->agrees_with(expected))
                return what_differs(step, *library, expected);
        }
    }
    return {};
}

void settle(order o)
{
    forget_bindings();
    for (serial_ctx &ctx : serial_ctxs) {
        bind_services(ctx);
        bind_cache(ctx);
    }
    if (o == order::big)
        swap_bytes();
}

} // namespace vorl::test::exhaustive
