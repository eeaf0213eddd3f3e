// What serial/plain/read.h makes of a slot that was sent as another type. The vtable leads it to the
// right field; from there on it goes by its own type.
#include "compat.h"

namespace idlc {
namespace {

const std::string no_log = "; nothing is logged";
const std::string zero_from_here = "zero in it and in every slot behind";
const std::string refused = "most often refuses the message there: " + zero_from_here;

bool is_scalar(const slot &s) { return s.type <= wire_type::uint64; }

/// Of a number, or of a value in an array or a vector; 0: tables.
std::uint64_t bytes_of(const slot &s)
{
    switch (s.type) {
    case wire_type::uint8:
    case wire_type::array_uint8:
    case wire_type::vector_uint8: return 1;
    case wire_type::uint16: return 2;
    case wire_type::uint32:
    case wire_type::array_uint32: return 4;
    case wire_type::uint64: return 8;
    default: return 0;
    }
}

std::string of_numbers(const slot &mine, const slot &theirs)
{
    const std::string bits =
        std::to_string(8 * bytes_of(bytes_of(mine) < bytes_of(theirs) ? mine : theirs));
    if (bytes_of(mine) < bytes_of(theirs))
        return "the low " + bits + " bits of the number" + no_log;
    return "the number in the low " + bits +
           " bits, and above them bytes of what lies behind it; where the message ends before, " +
           zero_from_here + no_log;
}

/// Bodies with a count: arrays and vectors.
std::string of_lists(const slot &mine, const slot &theirs)
{
    const std::string count = std::to_string(mine.count);
    const bool are_alike =
        bytes_of(mine) == bytes_of(theirs) && mine.message_name == theirs.message_name;
    if (is_array(mine.type) && is_array(theirs.type) && mine.count != theirs.count)
        return zero_from_here + ", since there are " + std::to_string(theirs.count) +
               " elements and not " + count + no_log;
    if (!are_alike)
        return "elements that were not sent, or " + zero_from_here;
    if (is_vector(mine.type))
        return "a vector of the " + std::to_string(theirs.count) + " elements, as they were sent";
    return "the elements, where there are " + count + "; zero, where there are none; otherwise " +
           zero_from_here + no_log;
}

} // namespace

std::string reading_of(const slot &mine, const slot &theirs)
{
    if (is_scalar(mine) && is_scalar(theirs))
        return of_numbers(mine, theirs);
    if (is_scalar(mine))
        return "part of an offset, taken for the number" + no_log;
    const bool mine_is_table = mine.type == wire_type::table;
    const bool theirs_is_table = theirs.type == wire_type::table;
    if (is_scalar(theirs))
        return "takes the number for an offset, and " + refused +
               (mine_is_table ? "; its log has a line of the table" : no_log) +
               ". A number that leads somewhere gives values that were not sent";
    if (mine_is_table && theirs_is_table)
        return "the slots of '" + theirs.message_name + "' as if they were those of '" +
               mine.message_name + "'";
    if (mine_is_table)
        return "takes a count for a table, and " + refused + "; its log has a line of the table";
    if (theirs_is_table)
        return "takes a table for a count, and " + refused + no_log;
    return of_lists(mine, theirs);
}

} // namespace idlc
