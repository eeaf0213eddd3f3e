#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstring>

#include <nlohmann/json.hpp>

#include "catalogue/catalogue.h"
#include "inspect/hex.h"
#include "inspect/integers.h"
#include "tools/vorl/json_record.h"
#include "tools/vorl/record_slots.h"

namespace vorl::json {
namespace {

using tree = nlohmann::json;

std::size_t without_trailing_zeros(const std::uint8_t *elements, std::size_t count,
                                   std::size_t size)
{
    while (count > 0 && is_zero(elements + (count - 1) * size, size))
        --count;
    return count;
}

/// Writes objects piece by piece, so that a vector of a million records takes no more memory than the
/// piece that is being written.
class record_writer {
  public:
    record_writer(zeros zero_members, const inspect::labels *names, const text_sink &to)
        : zero_members_(zero_members), names_(names), to_(to)
    {}

    void write(const message &type, const std::uint8_t *record)
    {
        text_ = R"({"message":")" + std::string(name_of(type)) + '"';
        write_members(type, record, true);
        text_ += '}';
        to_(text_);
    }

    /// One member's value alone.
    void write_member(const message &type, std::size_t slot, const std::uint8_t *record)
    {
        write_value(type, slot, record);
        to_(text_);
    }

  private:
    static constexpr std::size_t piece = 1 << 16;

    void pass_on()
    {
        if (text_.size() < piece)
            return;
        to_(text_);
        text_.clear();
    }

    void write_members(const message &type, const std::uint8_t *record, bool is_continued)
    {
        const catalogue::message_info &info = catalogue::info_of(type);
        for (std::size_t i = 0; i < info.slots.size(); ++i) {
            const vorl::slot &slot = type.slots[i];
            if (zero_members_ == zeros::omit && is_zero_slot(slot, record))
                continue;
            const inspect::label *const as =
                names_ == nullptr ? nullptr : names_->label_of(type, i);
            // Names are letters, digits and underscores.
            text_ += is_continued ? ",\"" : "\"";
            text_ += as == nullptr || as->name.empty() ? info.slots[i].name : as->name.c_str();
            text_ += "\":";
            is_continued = true;
            write_value(type, i, record);
        }
    }

    void write_value(const message &type, std::size_t i, const std::uint8_t *record)
    {
        const inspect::label *const as = names_ == nullptr ? nullptr : names_->label_of(type, i);
        if (as == nullptr || !write_formed(*as, type, type.slots[i], record))
            write_slot(type.slots[i], record);
    }

    /// False: the value is written as without a label.
    bool write_formed(const inspect::label &as, const message &type, const vorl::slot &slot,
                      const std::uint8_t *record)
    {
        const std::uint8_t *const data = record + slot.record_at;
        if (as.shown_as == inspect::form::dec) {
            if (slot.shape != slot_shape::array)
                return false;
            write_words(data, slot.count);
            return true;
        }
        if (inspect::is_list(as, slot)) {
            text_ += tree(inspect::list_of(as, slot, data)).dump();
            return true;
        }
        std::optional<std::uint64_t> length;
        if (as.shown_as == inspect::form::prefix) {
            const vorl::slot &holder = type.slots[as.length_slot];
            length = load_integer(record + holder.record_at, holder.width);
        }
        const auto formed = inspect::text_of(as, slot, data, length);
        if (formed)
            text_ += tree(*formed).dump();
        return formed.has_value();
    }

    void write_words(const std::uint8_t *words, std::size_t count)
    {
        text_ += '[';
        for (std::size_t i = 0; i < count; ++i)
            text_ += (i == 0 ? "" : ",") + std::to_string(load_integer(words + 4 * i, 4));
        text_ += ']';
    }

    void write_table(const message &type, const std::uint8_t *record)
    {
        text_ += '{';
        write_members(type, record, false);
        text_ += '}';
        pass_on();
    }

    void write_tables(const message &type, const std::uint8_t *records, std::size_t count)
    {
        text_ += '[';
        for (std::size_t i = 0; i < count; ++i) {
            if (i != 0)
                text_ += ',';
            write_table(type, records + i * type.record_size);
        }
        text_ += ']';
    }

    void write_hex(const std::uint8_t *data, std::size_t count)
    {
        text_ += '"';
        for (std::size_t i = 0; i < count; i += piece) {
            text_ += to_hex(data + i, std::min(count - i, piece));
            pass_on();
        }
        text_ += '"';
    }

    void write_slot(const vorl::slot &slot, const std::uint8_t *record)
    {
        const auto [data, all] = content_of(slot, record);
        switch (slot.shape) {
        case slot_shape::array:
            if (slot.width == 1)
                write_hex(data, without_trailing_zeros(data, all, 1));
            else if (all == 4)
                write_address(data);
            else
                write_words(data, all);
            break;
        case slot_shape::byte_vector: write_hex(data, all); break;
        case slot_shape::table: write_table(*slot.nested, data); break;
        case slot_shape::table_array:
            write_tables(*slot.nested, data,
                         without_trailing_zeros(data, all, slot.nested->record_size));
            break;
        case slot_shape::table_vector: write_tables(*slot.nested, data, all); break;
        case slot_shape::scalar: text_ += std::to_string(load_integer(data, slot.width)); break;
        }
    }

    void write_address(const std::uint8_t *address)
    {
        std::array<char, INET6_ADDRSTRLEN> text{};
        inet_ntop(AF_INET6, address, text.data(), text.size());
        text_ += '"' + std::string(text.data()) + '"';
    }

    zeros zero_members_;
    const inspect::labels *names_;
    const text_sink &to_;
    std::string text_; ///< written and not passed on yet
};

} // namespace

void write_record(const message &type, const void *record, zeros zero_members,
                  const inspect::labels *names, const text_sink &to)
{
    record_writer(zero_members, names, to).write(type, static_cast<const std::uint8_t *>(record));
}

std::string format_record(const message &type, const void *record, zeros zero_members,
                          const inspect::labels *names)
{
    std::string all;
    write_record(type, record, zero_members, names, [&all](std::string_view part) { all += part; });
    return all;
}

std::string format_member(const message &type, const void *record, std::size_t slot,
                          const inspect::labels *names)
{
    std::string all;
    const text_sink to = [&all](std::string_view part) { all += part; };
    record_writer(zeros::omit, names, to)
        .write_member(type, slot, static_cast<const std::uint8_t *>(record));
    return all;
}

std::string first_difference(const message &type, const void *a, const void *b)
{
    const catalogue::message_info &info = catalogue::info_of(type);
    for (std::size_t s = 0; s < info.slots.size(); ++s) {
        const vorl::slot &slot = type.slots[s];
        std::string name = info.slots[s].name;
        const slot_content left = content_of(slot, static_cast<const std::uint8_t *>(a));
        const slot_content right = content_of(slot, static_cast<const std::uint8_t *>(b));
        if (left.count != right.count)
            return name + "_count";
        if (slot.nested == nullptr) {
            const std::size_t size = left.count * slot.width;
            if (size != 0 && std::memcmp(left.data, right.data, size) != 0)
                return name;
            continue;
        }
        const std::size_t size = slot.nested->record_size;
        for (std::size_t i = 0; i < left.count; ++i) {
            const std::string inner =
                first_difference(*slot.nested, left.data + i * size, right.data + i * size);
            if (!inner.empty())
                return slot.shape == slot_shape::table
                           ? name + "." + inner
                           : name + "[" + std::to_string(i) + "]." + inner;
        }
    }
    return {};
}

} // namespace vorl::json
