// vorl list, vorl describe.
#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include "catalogue/catalogue.h"
#include "serial/layout.h"
#include "tools/vorl/commands.h"
#include "tools/vorl/find_message.h"
#include "tools/vorl/labels_file.h"

namespace vorl::commands {
namespace {

using catalogue::message_info;
using catalogue::package_info;

std::string hex_id(const message &m) { return identifier_text(m.msg_id); }

nlohmann::ordered_json as_json(const message &m)
{
    nlohmann::ordered_json line = {
        {"message", name_of(m)},   {"package", catalogue::package_of(m).name},
        {"msg_id", m.msg_id},      {"record_size", m.record_size},
        {"frame_length", nullptr}, {"slots", m.slots.size},
    };
    if (is_fixed_size(m))
        line["frame_length"] = catalogue::frame_length(m);
    return line;
}

void print_line(const message &m)
{
    const std::string frame =
        is_fixed_size(m) ? std::to_string(catalogue::frame_length(m)) : "variable";
    std::printf("%-36s  %s  %6" PRIu32 "  %8s  %5" PRIu32 "\n", name_of(m), hex_id(m).c_str(),
                m.record_size, frame.c_str(), m.slots.size);
}

/// Text in columns as wide as the widest of each.
class columns {
  public:
    void add(std::vector<std::string> row)
    {
        widths_.resize(std::max(widths_.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            widths_[i] = std::max(widths_[i], row[i].size());
        rows_.push_back(std::move(row));
    }
    /// Each column with two blanks behind it.
    std::string row(std::size_t index) const
    {
        std::string text;
        for (std::size_t i = 0; i < widths_.size(); ++i) {
            const std::string cell = i < rows_[index].size() ? rows_[index][i] : "";
            text += cell + std::string(widths_[i] - cell.size() + 2, ' ');
        }
        return text;
    }

  private:
    std::vector<std::vector<std::string>> rows_;
    std::vector<std::size_t> widths_;
};

/// Heading and slots: their names, what labels say of them, their types.
columns describe_slots(const message_info &info, const inspect::labels *labels)
{
    bool has_labels = false;
    for (std::size_t i = 0; labels != nullptr && i < info.slots.size(); ++i)
        has_labels = has_labels || labels->label_of(info.data, i) != nullptr;
    columns shown;
    const auto add = [&](std::vector<std::string> row, std::vector<std::string> label,
                         std::string type) {
        if (has_labels)
            row.insert(row.end(), label.begin(), label.end());
        row.push_back(std::move(type));
        shown.add(std::move(row));
    };
    add({"slot"}, {"name", "unit", "form"}, "wire type");
    for (std::size_t i = 0; i < info.slots.size(); ++i) {
        const inspect::label *const as = has_labels ? labels->label_of(info.data, i) : nullptr;
        std::vector<std::string> label(3);
        if (as != nullptr)
            label = {as->name, as->unit,
                     as->shown_as == inspect::form::none ? ""
                                                         : inspect::info_of(as->shown_as).name};
        add({info.slots[i].name}, std::move(label), catalogue::type_text(info.data.slots[i]));
    }
    return shown;
}

/// A member of the record, its place in frames, and what the description and the labels say of it.
nlohmann::ordered_json slot_as_json(const message_info &info, std::size_t index,
                                    const inspect::labels *labels)
{
    const message &m = info.data;
    const slot &s = m.slots[index];
    nlohmann::ordered_json object = {{"slot", info.slots[index].name},
                                     {"type", catalogue::type_text(s)},
                                     {"record_offset", s.is_vector() ? s.count_at : s.record_at},
                                     {"frame_offset", nullptr},
                                     {"doc", info.slots[index].doc}};
    if (is_fixed_size(m))
        object["frame_offset"] = frame_table_at + catalogue::frame_offset(m, index);
    if (s.is_vector())
        object["pointer_offset"] = s.record_at;
    const inspect::label *const as = labels == nullptr ? nullptr : labels->label_of(m, index);
    if (as != nullptr) {
        object["name"] = as->name;
        object["unit"] = as->unit;
        object["form"] =
            as->shown_as == inspect::form::none ? "" : inspect::info_of(as->shown_as).name;
    }
    return object;
}

void describe_as_json(const message_info &info, const inspect::labels *labels)
{
    nlohmann::ordered_json object = as_json(info.data);
    object["doc"] = info.doc;
    object["slots"] = nlohmann::ordered_json::array();
    for (std::size_t i = 0; i < info.slots.size(); ++i)
        object["slots"].push_back(slot_as_json(info, i, labels));
    std::puts(object.dump().c_str());
}

/// Offsets that a slot has in the frame; a variable-size message has none.
std::string frame_columns(const message &m, std::size_t slot)
{
    if (!is_fixed_size(m))
        return "";
    const std::uint32_t at = catalogue::frame_offset(m, slot);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "  %6" PRIu32 "  %6" PRIu32, at, at + 4);
    return text.data();
}

} // namespace

int list(const list_options &options)
{
    bool found = false;
    for (const package_info *package : catalogue::packages) {
        if (!options.package.empty() && options.package != package->name)
            continue;
        if (!found && !options.as_json)
            std::puts(
                "message                                     msg_id  record     frame  slots");
        found = true;
        for (const message_info &info : package->messages) {
            if (options.as_json)
                std::puts(as_json(info.data).dump().c_str());
            else
                print_line(info.data);
        }
    }
    if (!found)
        throw std::runtime_error("vorl list: no package is called " +
                                 json::printable(options.package) +
                                 "; there are srv6, srv6_cfg and srv6_sync");
    return 0;
}

int describe(const describe_options &options)
{
    const message_info &info = find_message_or_throw(options.message);
    const chosen_labels labels(options.labels);
    const message &m = info.data;
    if (options.as_json) {
        describe_as_json(info, labels.get());
        return 0;
    }
    const bool has_one_frame = is_fixed_size(m);
    std::printf("%s\n  %s\n\n", name_of(m), info.doc);
    std::printf("  package       %s\n", catalogue::package_of(m).name);
    std::printf("  msg_id        %s (%" PRIu32 ")\n", hex_id(m).c_str(), m.msg_id);
    std::printf("  record        %" PRIu32 " bytes\n", m.record_size);
    if (has_one_frame)
        std::printf("  frame         %" PRIu32 " bytes, its table %" PRIu32 "\n\n",
                    catalogue::frame_length(m), catalogue::frame_table_length(m));
    else
        std::puts("  frame         variable size, measured per record\n");

    const columns shown = describe_slots(info, labels.get());
    std::printf("  %srecord%s\n", shown.row(0).c_str(), has_one_frame ? "   table   frame" : "");
    for (std::size_t i = 0; i < m.slots.size; ++i) {
        const slot &s = m.slots[i];
        const catalogue::slot_text &text = info.slots[i];
        std::printf("  %s%6" PRIu32 "%s", shown.row(i + 1).c_str(),
                    s.is_vector() ? s.count_at : s.record_at, frame_columns(m, i).c_str());
        if (s.is_vector())
            std::printf("   pointer at %" PRIu32, s.record_at);
        if (*text.doc != '\0')
            std::printf("   %s", text.doc);
        std::putchar('\n');
    }
    std::puts("\n  record: offset in the record, of the count for a vector.");
    if (has_one_frame)
        std::puts("  table, frame: offset of the field in a frame, from its table's start and from "
                  "its own.");
    return 0;
}

} // namespace vorl::commands
