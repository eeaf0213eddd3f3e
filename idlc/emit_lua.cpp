// wireshark/vorl/messages.lua: each message as data for the Wireshark dissector. Order: a message after all
// that it refers to.
#include "emit.h"

namespace idlc {
namespace {

// "scalar", 4 and the like: a slot's shape, and bytes of a value; 0 for tables.
std::string shape_and_width(wire_type type)
{
    switch (type) {
    case wire_type::uint8: return R"("scalar", 1)";
    case wire_type::uint16: return R"("scalar", 2)";
    case wire_type::uint32: return R"("scalar", 4)";
    case wire_type::uint64: return R"("scalar", 8)";
    case wire_type::array_uint8: return R"("array", 1)";
    case wire_type::array_uint32: return R"("array", 4)";
    case wire_type::array_table: return R"("table_array", 0)";
    case wire_type::vector_uint8: return R"("byte_vector", 1)";
    case wire_type::vector_table: return R"("table_vector", 0)";
    case wire_type::table: break;
    }
    return R"("table", 0)";
}

std::string line_of(const slot &s)
{
    return "    { \"" + s.name + "\", " + shape_and_width(s.type) + ", " + std::to_string(s.count) +
           (s.refers_to == nullptr ? "" : ", " + hexadecimal(s.refers_to->msg_id)) + " },\n";
}

} // namespace

std::string emit_lua(const std::vector<package> &packages)
{
    std::string out =
        "-- Written by idlc from the descriptions in idl/. Do not edit; run ./dev regen.\n"
        "-- Of a slot: member, shape, bytes of a value, count of an array, identifier of the\n"
        "-- message of its tables.\nreturn {\n";
    for (const package &p : packages) {
        for (const message *m : p.by_dependency) {
            out += "  { name = \"" + m->name + "\", identifier = " + hexadecimal(m->msg_id) +
                   ", record_size = " + std::to_string(m->record_size) + ", slots = {\n";
            for (const slot &s : m->slots)
                out += line_of(s);
            out += "  } },\n";
        }
    }
    return out + "}\n";
}

} // namespace idlc
