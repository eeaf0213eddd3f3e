#include "inspect/reading.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "catalogue/catalogue.h"
#include "serial/plain/read.h"
#include "serial/plain/release.h"

namespace vorl::inspect {
namespace {

constexpr std::uint32_t largest_message = std::numeric_limits<std::int32_t>::max();

/// Records are forgotten in pieces of this many bytes. Otherwise a frame of a megabyte whose
/// elements all lead to one table, with a record of 16 KiB, would take 4 GiB.
constexpr std::size_t forgotten_at_once = std::size_t{1} << 20;

std::string in_parentheses(std::uint64_t value) { return "(" + std::to_string(value) + ")"; }

std::string from_4_to(std::uint32_t last)
{
    return ", which is not from 4 to " + std::to_string(last);
}

/// Gives back the memory of the whole pages between two addresses. They read as zeros again.
void forget_pages(std::uint8_t *begin, std::uint8_t *end)
{
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto first = (reinterpret_cast<std::uintptr_t>(begin) + page - 1) / page * page;
    const auto last = reinterpret_cast<std::uintptr_t>(end) / page * page;
    if (first < last)
        madvise(reinterpret_cast<void *>(first), last - first, MADV_DONTNEED);
}

void free_block(const listener &, void *block, const message &) { std::free(block); }
int leave_zero(void *, std::size_t) { return 0; }
int leave_to_reader(void *, const void *, std::size_t) { return 1; }

} // namespace

reading::reading(std::span<const std::uint8_t> bytes, records read_ones)
    : bytes_(bytes), read_ones_(read_ones)
{
    ears_.of = this;
    ears_.refused = [](const listener &l, table_check check, table_role, std::uint32_t a,
                       std::uint32_t b, const message &) { by(l).refuse_table(check, a, b); };
    ears_.allocate = [](const listener &l, std::uint32_t size, table_role, const message &) {
        return by(l).allocate(size);
    };
    // Not needed: the reader then reports a refused step, which says the same and more.
    ears_.no_memory = [](const listener &, std::uint32_t, std::uint32_t, table_role,
                         const message &) {};
    ears_.release = free_block;
    ears_.set_zero = leave_zero; // calloc's memory is zero, and takes no room until it is touched
    ears_.copy_bytes = leave_to_reader;
    ears_.watch = [](const listener &l, const reading_step &step) { by(l).take(step); };
}

std::optional<refusal> reading::read(const message &m, std::uint8_t *record)
{
    std::memset(record, 0, m.record_size);
    if (bytes_.size() < word_size)
        return refusal{0, "",
                       std::to_string(bytes_.size()) + " bytes, where a message has at least 4"};
    if (bytes_.size() > largest_message)
        return refusal{0, "", "longer than 2^31 - 1 bytes"};

    const received from = {bytes_.data(), size()};
    levels_ = {{.m = &m, .slot = 0, .element = 0, .block = nullptr, .forgotten = 0}};
    table_at_ = word(0);
    hear_root(table_at_);
    if (!plain::read_table<byte_order::native>(table_at_, record, from, ears_, m))
        plain::release(record, ears_, m);
    return why_;
}

void reading::take(const reading_step &step)
{
    using kind = reading_step::kind;
    switch (step.what) {
    case kind::table: hear(step); break;
    case kind::field:
    case kind::body:
        levels_.back().slot = step.slot;
        hear(step);
        break;
    case kind::element:
        hear(step);
        levels_.back().element = step.size;
        levels_.push_back(
            {.m = step.of, .slot = 0, .element = 0, .block = nullptr, .forgotten = 0});
        table_at_ = static_cast<std::uint32_t>(step.to);
        break;
    case kind::leave:
        levels_.pop_back();
        leave(step.of->record_size);
        break;
    case kind::refused:
        if (step.check != field_check::position)
            levels_.back().slot = step.slot;
        hear(step);
        refuse(step);
        break;
    }
}

void reading::leave(std::size_t record_size)
{
    level &in = levels_.back();
    if (read_ones_ == records::keep || current().shape != slot_shape::table_vector)
        return;
    const std::size_t read = (in.element + std::size_t{1}) * record_size;
    if (read - in.forgotten < forgotten_at_once)
        return;
    forget_pages(in.block + in.forgotten, in.block + read);
    in.forgotten = read;
}

void *reading::allocate(std::uint32_t size)
{
    void *const block = std::calloc(1, size);
    levels_.back().block = static_cast<std::uint8_t *>(block);
    levels_.back().forgotten = 0;
    return block;
}

void reading::refuse_table(table_check check, std::uint32_t a, std::uint32_t b)
{
    hear_refused(check, table_at_);
    const std::string name = name_of(table_message());
    const std::uint32_t last = size() - word_size;
    switch (check) {
    case table_check::position:
        why_ = {a, table_path(),
                "the table of " + name + " would be at " + offset_text(a) + " " +
                    in_parentheses(a) + from_4_to(last)};
        break;
    case table_check::vtable_position: {
        const std::uint32_t vtable = a - word(a);
        why_ = {a, table_path(),
                "the vtable of " + name + " would be at " + offset_text(vtable) + " " +
                    in_parentheses(vtable) + from_4_to(last)};
        break;
    }
    case table_check::vtable_length:
        why_ = {size() - b, table_path(),
                "the vtable of " + name + " would be " + std::to_string(a) + " bytes long where " +
                    std::to_string(b) + " are left"};
        break;
    }
}

void reading::refuse(const reading_step &step)
{
    const slot &s = current();
    const std::string end = offset_text(bytes_.size());
    if (step.check == field_check::position) {
        why_ = {step.at, element_path(step.size),
                "the offset " + std::to_string(word(step.at)) + " leads past 32 bits"};
        return;
    }
    why_ = {step.at, member_path(step.slot), ""};
    std::string &what = why_->what;
    switch (step.check) {
    case field_check::field:
        what = catalogue::type_text(s) + " of " + std::to_string(field_size(s)) +
               " bytes passes the end of the message, " + end;
        break;
    case field_check::body:
        what = "the offset leads to " + offset_text(step.to) +
               ", where no count fits before the end of the message, " + end;
        break;
    case field_check::elements:
        what = std::to_string(word(step.at)) + " elements of " + std::to_string(element_size(s)) +
               " bytes pass the end of the message, " + end;
        break;
    case field_check::count:
        what = "the count is " + std::to_string(word(step.at)) + " and must be " +
               std::to_string(s.count);
        break;
    case field_check::memory: {
        why_->at = step.at - word_size; // the count, as for `elements` and `count` above
        const std::string elements = std::to_string(word(why_->at)) + " elements";
        what = step.to > std::numeric_limits<std::uint32_t>::max()
                   ? "the records of " + elements + " need more memory than 32 bits can say"
                   : "there is no memory for " + elements + ", which take " +
                         std::to_string(step.to) + " bytes";
        break;
    }
    case field_check::position: break;
    }
}

std::uint64_t reading::integer(std::uint32_t at, std::size_t width) const
{
    std::uint64_t value = 0;
    std::memcpy(&value, bytes_.data() + at, width);
    return value;
}

std::uint32_t reading::word(std::uint32_t at) const
{
    return static_cast<std::uint32_t>(integer(at, word_size));
}

std::string reading::path(std::size_t depth) const
{
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) {
        const level &in = levels_[i];
        text += (i == 0 ? "" : ".") + std::string(catalogue::info_of(*in.m).slots[in.slot].name);
        if (in.m->slots[in.slot].shape != slot_shape::table)
            text += "[" + std::to_string(in.element) + "]";
    }
    return text;
}

std::string reading::member_path(std::uint32_t slot) const
{
    const std::string table = table_path();
    return (table.empty() ? "" : table + ".") +
           catalogue::info_of(table_message()).slots[slot].name;
}

std::string reading::element_path(std::uint32_t number) const
{
    const std::string member = member_path(levels_.back().slot);
    return current().shape == slot_shape::table ? member
                                                : member + "[" + std::to_string(number) + "]";
}

std::string reading::offset_text(std::uint64_t offset)
{
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "0x%04llx", static_cast<unsigned long long>(offset));
    return text.data();
}

std::string to_text(const refusal &why)
{
    std::array<char, 16> at{};
    std::snprintf(at.data(), at.size(), "0x%04x", why.at);
    return std::string("offset ") + at.data() + (why.member.empty() ? "" : ", " + why.member) +
           ": " + why.what;
}

std::optional<refusal> decode(const message &m, std::span<const std::uint8_t> bytes, void *record)
{
    return reading(bytes, reading::records::keep).read(m, static_cast<std::uint8_t *>(record));
}

void release(const message &m, void *record)
{
    const listener heap = {.refused = nullptr,
                           .allocate = nullptr,
                           .no_memory = nullptr,
                           .release = free_block,
                           .set_zero = nullptr,
                           .copy_bytes = nullptr};
    plain::release(static_cast<std::uint8_t *>(record), heap, m);
}

} // namespace vorl::inspect
