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
#include "tools/vorl/commands.h"
#include "tools/vorl/find_message.h"

namespace vorl::commands {
namespace {

using catalogue::message_info;
using catalogue::package_info;
using catalogue::slot_info;

std::string hex_id(const message_info &message)
{
    std::array<char, 11> text{};
    std::snprintf(text.data(), text.size(), "0x%08" PRIX32, message.msg_id);
    return text.data();
}

void print_json(const message_info &message)
{
    nlohmann::ordered_json line = {
        {"message", message.name},  {"package", message.package},
        {"msg_id", message.msg_id}, {"record_size", message.record_size},
        {"frame_length", nullptr},  {"slots", message.slots.size()},
    };
    if (message.is_fixed_size())
        line["frame_length"] = message.frame_length;
    std::puts(line.dump().c_str());
}

void print_line(const message_info &message)
{
    std::printf("%-36s  %s  %6zu  %8s  %5zu\n", message.name, hex_id(message).c_str(),
                message.record_size,
                message.is_fixed_size() ? std::to_string(message.frame_length).c_str() : "variable",
                message.slots.size());
}

/// Offsets that a slot has in the frame; a variable-size message has none.
std::string frame_columns(const message_info &message, const slot_info &slot)
{
    if (!message.is_fixed_size())
        return "";
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "  %6" PRIu32 "  %6" PRIu32, slot.frame_offset,
                  slot.frame_offset + 4);
    return text.data();
}

bool is_vector(const slot_info &slot)
{
    return slot.type == catalogue::wire_type::vector_uint8 ||
           slot.type == catalogue::wire_type::vector_table;
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
        for (const message_info *message : package->messages) {
            if (options.as_json)
                print_json(*message);
            else
                print_line(*message);
        }
    }
    if (!found)
        throw std::runtime_error("vorl list: no package is called " +
                                 json::printable(options.package) +
                                 "; there are srv6, srv6_cfg and srv6_sync");
    return 0;
}

int describe(const std::string &name)
{
    const message_info &message = find_message_or_throw(name);
    std::printf("%s\n  %s\n\n", message.name, message.doc);
    std::printf("  package       %s\n", message.package);
    std::printf("  msg_id        %s (%" PRIu32 ")\n", hex_id(message).c_str(), message.msg_id);
    std::printf("  record        %zu bytes\n", message.record_size);
    if (message.is_fixed_size())
        std::printf("  frame         %" PRIu32 " bytes, its table %" PRIu32 "\n\n",
                    message.frame_length, message.table_length);
    else
        std::puts("  frame         variable size, measured per record\n");

    int width = static_cast<int>(sizeof "wire type" - 1);
    for (const slot_info &slot : message.slots)
        width = std::max(width, static_cast<int>(std::strlen(slot.type_text)));
    std::printf("  slot  %-*s  record%s\n", width, "wire type",
                message.is_fixed_size() ? "   table   frame" : "");
    for (const slot_info &slot : message.slots) {
        std::printf("  %-4s  %-*s  %6zu%s", slot.name, width, slot.type_text,
                    is_vector(slot) ? slot.count_offset : slot.record_offset,
                    frame_columns(message, slot).c_str());
        if (is_vector(slot))
            std::printf("   pointer at %zu", slot.record_offset);
        if (*slot.doc != '\0')
            std::printf("   %s", slot.doc);
        std::putchar('\n');
    }
    std::puts("\n  record: offset in the record, of the count for a vector.");
    if (message.is_fixed_size())
        std::puts("  table, frame: offset of the field in a frame, from its table's start and from "
                  "its own.");
    return 0;
}

} // namespace vorl::commands
