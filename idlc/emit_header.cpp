// The public C header: the contract once, then every message with its picture, its record and its
// functions.
#include "emit.h"

#include <algorithm>
#include <string_view>

namespace idlc {
namespace {

// In these texts %P stands for the package, %N for how many messages it has, %F for one of fixed
// size. Lines of the contract name a message M.
constexpr std::string_view contract = R"( *
 * Every message M has seven functions. Lengths and capacities are in bytes.
 *
 *   uint32_t M__pack(const M *in, void *buf, uint32_t *inout_len)
 *       Encodes *in into buf, compactly: scalars that are zero are left out. *inout_len is the
 *       capacity of buf on entry and the encoded size on success; it must not be null. buf and
 *       *in, with what that points to, must not overlap.
 *       Returns 0 on success. Returns VORL_FAILURE, with buf and *inout_len untouched, when in is
 *       null, the capacity is too small, a vector of the record has a count but no pointer, or
 *       the size does not fit in 32 bits.
 *       To measure a record, pass a null buf and enough capacity (0xFFFFFFFF, say). The call
 *       returns 0 with the size in *inout_len, and is logged although it has not failed.
 *
 *   uint32_t M__unpack(const void *buf, int32_t len, void *out)
 *       Decodes the len bytes at buf into *out, which is an M that the caller provides. Always
 *       returns sizeof(M), whether it succeeded or failed. buf may hold any bytes, at any
 *       alignment: every offset is checked before it is followed. But buf must not change during
 *       the call, nor overlap *out. What a failed call leaves in *out depends on what failed:
 *         - The arguments: buf or out is null, or len < 4. *out is untouched.
 *         - A check of the root table. *out is untouched when M has a table, a vector or an array
 *           of tables; otherwise it is all zero.
 *         - Anything later. Members that were read before it keep their values, and all others
 *           are zero. Every vector is released: its pointer is null, but its count may stay.
 *       Therefore, test the pointer of a vector, never its count alone. A slot that is absent from
 *       the bytes reads as zero, so a record of zeros may be a message of zeros or a refused one.
 *       Zero a record that holds a vector before its first M__unpack: a call that leaves the
 *       record untouched leaves its pointers as they were. After the call such a record owns
 *       memory: pass it to M_free__unpacked before you refill it or drop it.
 *       Only a message with a vector allocates. An element of a vector of tables takes 4 bytes of
 *       buf, its offset, but a whole record of memory, and all elements may lead to the same
 *       table. So the memory can be many times len, and the time grows with it. How many bytes of
 *       memory 4 bytes of buf can cost is stated below with each message that has a vector. No
 *       single block reaches 4 GiB. To keep below a limit of your own, bound len before the call,
 *       or let the cache allocator refuse.
 *
 *   void M_free__unpacked(void *rec)
 *       Releases the memory that M__unpack gave to the M at rec, and sets its pointers to null;
 *       its counts stay. Does nothing when rec is null, when M has no vector, and when it is
 *       called a second time. Never call it for a record that the caller filled: the library did
 *       not allocate that memory.
 *
 *   uint32_t M__sendsingle(uint32_t dest, const M *rec, uint32_t ignored, uint64_t to)
 *   uint32_t M__sendbatch(uint32_t dest, const M *recs, uint32_t count, uint64_t to)
 *   uint32_t M__sendmsg(uint32_t dest, const M *recs, uint32_t count)
 *   uint32_t M__sendtomsg(uint32_t dest, const M *recs, uint32_t count, uint64_t to)
 *       Encode each record into a frame, and hand all frames to the bus in one call. They go to
 *       the bus destination dest or, when to is not 0, to the explicit destination whose handle is
 *       to; the bus is told dest in both cases. The records remain the caller's, and may be
 *       released as soon as the call returns.
 *       Return the bus's result, where 0 means accepted; or VORL_FAILURE, with nothing sent, for
 *       one of these:
 *         - There is no memory for the frames. One record of a fixed-size message whose frame is
 *           at most 1024 bytes long needs none, unless __sendbatch sends it.
 *         - A record cannot be packed: M has a vector, and M__pack would refuse the record.
 *         - count is 0, in __sendmsg and __sendtomsg. __sendbatch then calls the bus with no
 *           frames, and returns its result.
 *         - The frames of a batch of a message with a vector take more than 65536 bytes in all.
 *           A record that is sent alone may be larger than that.
 *       For a fixed-size message rec and recs must not be null, unless count is 0.
 *
 * M__unpack and M_free__unpacked take void * because the bus calls them, through the hooks that
 * %P_recv_init registers.
 *
 * An IPv6 address or a SID is sixteen bytes, in the order of the address: copy them into the member
 * with memcpy, as inet_pton leaves them. A member that is filled with numbers, as in {0x20010db8},
 * has the bytes of each number the other way round, and is the address b80d:120::.
 *
 * What is logged. A line goes to the platform's log writer, if there is one, with level 2. Each
 * call writes one line at the most. docs/log.md of the library's sources explains every line.
 *
 *   KIND  TEXT                                                  WRITTEN BY
 *     22  [ZELKO]:Param invalid(%s, %d, %s)                     M__unpack: its arguments
 *     22  [ZELKO]:Table offset(%u) is out of range(4 - %u)      M__unpack: a table
 *     22  [ZELKO]:Vtable offset(%u) is out of range(4 - %u)     M__unpack: a table
 *     22  [ZELKO]:Vtable Len(%u) is out of range(0 - %u)        M__unpack: a table
 *     12  [ZELKO]:Malloc unpack data unsuccess, size(%u)        M__unpack: memory for a vector
 *     22  [ZELKO]:Param invalid(%s, %u, %s)                     M__pack: it was asked to measure
 *
 * Nothing else is logged: not why M__pack or a send returns VORL_FAILURE, not what the bus returns,
 * and not that M__unpack refuses a field, which leaves that member and all that follow zero, but
 * for the counts of vectors.
 *
 * Memory. That of unpacked vectors comes from the platform's cache allocator, where
 * ZDT_OsalMemUseFlagGet(12) returns 1, that of frames from its main allocator. Where the platform
 * does not have one of them, malloc takes its place.
 *
 * Threads. Any thread may call any function at any time, but the library does not guard what the
 * caller passes: threads that use the same record, buffer or length at the same time have to guard
 * it themselves. No function may be called by a signal handler, because it may take a lock,
 * allocate and log.
 *
 * First calls, constructors and fork. The first calls look the platform's services up, under a
 * lock of the library. While dlopen runs constructors, the dynamic linker holds a lock of its own;
 * and fork copies a lock that another thread holds, which nobody in the child ever releases. So a
 * first call in a constructor can wait for ever while another thread makes one, and so can a call
 * in the child of a fork during which another thread made one. Before you start threads, open
 * libraries or fork, make the calls that look everything up for this package. To receive, one
 * call, which writes one line to the log:
 *
 *   unsigned char bytes[1024] = {0};
 *   %F record = {0};
 *   %F__unpack(bytes, 4, &record);
 *
 * To send, two calls, of which the second writes one line to the log:
 *
 *   uint32_t size = sizeof bytes;
 *   %F__pack(&record, bytes, &size);
 *   %F__pack(&record, NULL, &size);
 *
 * Unloading. dlclose leaves the library where it is, because the bus keeps the functions that were
 * registered with it.
)";

/// The headers of several packages may be included together.
constexpr std::string_view failure =
    R"(/* What a function returns that has encoded or sent nothing, where it is not a code of the bus. */
#ifndef VORL_FAILURE
#define VORL_FAILURE UINT32_C(0xFFFFFFFF)
#endif

)";

constexpr std::string_view registration = R"(/*
 * A process that receives messages of the package calls %P_recv_init once. It registers
 * each of the %N messages with the bus and returns 0. At the first that the bus refuses it stops
 * and returns the bus's code; those before it stay registered.
 *
 * A process that sends calls %P_send_init once. It registers %P__send_resource_clean
 * with the bus, and returns the bus's code, 0 for success. The registered function returns at
 * once: sends keep nothing between calls, so it has nothing to clean.
 */
)";

constexpr std::string_view how_to_read = R"(/*
 * The messages. The member of slot n is named f<n>. A vector has two members: first its count,
 * f<n>_count, then its pointer, f<n>. In the tables below, 'record' is the offset of the member in
 * the record (of the count, for a vector). 'table' is the offset of the field in the table of a
 * frame; that table begins 4 bytes into the frame.
 */
)";

std::string replaced(std::string text, std::string_view what, const std::string &by)
{
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
    return text;
}

/// A message for the calls that bind: of scalars and their arrays, so that __unpack binds before it
/// refuses, and with room for its bytes in the contract's buffer.
std::string first_to_call(const package &p)
{
    for (const message &m : p.messages) {
        const bool is_flat = std::all_of(m.slots.begin(), m.slots.end(), [](const slot &s) {
            return s.refers_to == nullptr && s.type != wire_type::vector_uint8;
        });
        if (is_flat && m.frame_length <= 1024)
            return m.name;
    }
    return "F";
}

std::string of_package(std::string_view text, const package &p)
{
    std::string named = replaced(std::string(text), "%P", p.name);
    named = replaced(named, "%F", first_to_call(p));
    return replaced(named, "%N", std::to_string(p.messages.size()));
}

std::string padded(const std::string &text, std::size_t width)
{
    return text.size() < width ? text + std::string(width - text.size(), ' ') : text;
}

std::string right(std::uint64_t value, std::size_t width)
{
    const std::string digits = std::to_string(value);
    return digits.size() < width ? std::string(width - digits.size(), ' ') + digits : digits;
}

// The declaration of a slot's member: "uint32_t f6[4]".
std::string member_of(const slot &s)
{
    const std::string counted = s.name + "[" + std::to_string(s.count) + "]";
    switch (s.type) {
    case wire_type::uint8: return "uint8_t " + s.name;
    case wire_type::uint16: return "uint16_t " + s.name;
    case wire_type::uint32: return "uint32_t " + s.name;
    case wire_type::uint64: return "uint64_t " + s.name;
    case wire_type::array_uint8: return "uint8_t " + counted;
    case wire_type::array_uint32: return "uint32_t " + counted;
    case wire_type::array_table: return s.message_name + " " + counted;
    case wire_type::vector_uint8: return "uint8_t *" + s.name;
    case wire_type::vector_table: return s.message_name + " *" + s.name;
    case wire_type::table: break;
    }
    return s.message_name + " " + s.name;
}

// The most that __unpack allocates for every 4 bytes that it is given. An element is reached by an
// offset of 4 bytes; all offsets may lead to one table, and vectors may lie over each other.
std::uint64_t memory_per_word(const message &m)
{
    std::uint64_t sum = 0;
    for (const slot &s : m.slots) {
        if (s.type == wire_type::vector_uint8)
            sum += 4;
        else if (s.type == wire_type::vector_table)
            sum += s.refers_to->record_size; // elements hold no vectors
        else if (s.type == wire_type::table)
            sum += memory_per_word(*s.refers_to);
    }
    return sum;
}

void emit_picture(std::string &out, const message &m)
{
    out += "\n/*\n * " + m.name + "\n *\n";
    if (!m.doc.empty())
        out += " * " + replaced(m.doc, "\n", "\n * ") + "\n *\n";
    out += " * msg_id " + hexadecimal(m.msg_id) + " (" + std::to_string(m.msg_id) + "); record " +
           std::to_string(m.record_size) + " bytes; " +
           (m.fixed_size ? "frame " + std::to_string(m.frame_length) + " bytes, fixed size"
                         : "frame of variable size: the bytes of __pack") +
           "\n *\n";
    if (!m.fixed_size)
        out += " * __unpack allocates at most " + std::to_string(memory_per_word(m)) +
               " bytes for every 4 bytes of buf, whatever they hold.\n *\n";
    std::size_t width = 9;
    for (const slot &s : m.slots)
        width = std::max(width, spelling(s).size());
    out += " *   slot  " + padded("wire type", width) + "  record" +
           (m.fixed_size ? "   table" : "") + "\n";
    for (std::size_t i = 0; i < m.slots.size(); ++i) {
        const slot &s = m.slots[i];
        out += " *   " + right(i, 4) + "  " + padded(spelling(s), width) + "  " +
               right(is_vector(s.type) ? s.count_offset : s.record_offset, 6);
        if (m.fixed_size)
            out += "  " + right(s.frame_offset, 6);
        if (!s.doc.empty())
            out += "   " + replaced(s.doc, "\n", " ");
        out += "\n";
    }
    out += " */\n";
}

void emit_record(std::string &out, const message &m)
{
    out += "typedef struct " + m.name + " {\n";
    for (const slot &s : m.slots) {
        if (is_vector(s.type))
            out += "    uint32_t " + s.name + "_count;\n";
        out += "    " + member_of(s) + ";\n";
    }
    out += "} " + m.name + ";\n\n";
}

void emit_prototypes(std::string &out, const message &m)
{
    const std::string &n = m.name;
    out += "#define " + n + "_msg_id UINT32_C(" + hexadecimal(m.msg_id) + ")\n\n";
    out += "uint32_t " + n + "__pack(const " + n + " *in, void *buf, uint32_t *inout_len);\n";
    out += "uint32_t " + n + "__unpack(const void *buf, int32_t len, void *out);\n";
    out += "void " + n + "_free__unpacked(void *rec);\n";
    const auto send = [&out, &n](const std::string &how, const std::string &after_records) {
        const std::string record = how == "sendsingle" ? " *rec" : " *recs";
        const std::string head = "uint32_t " + n + "__" + how + "(";
        out += head + "uint32_t dest, const " + n + record + ",\n" + std::string(head.size(), ' ') +
               after_records + ");\n";
    };
    send("sendsingle", "uint32_t ignored, uint64_t to");
    send("sendbatch", "uint32_t count, uint64_t to");
    send("sendmsg", "uint32_t count");
    send("sendtomsg", "uint32_t count, uint64_t to");
}

} // namespace

std::string generated_notice(const package &p, const std::string &what)
{
    return "Generated by idlc from " + p.name + ".idl: " + what +
           "\nDo not edit; change the description and run ./dev regen.";
}

std::string emit_header(const package &p)
{
    std::string out =
        "/*\n * " +
        replaced(generated_notice(p, "the messages of package " + p.name + ", for C and C++."),
                 "\n", "\n * ") +
        "\n";
    out += of_package(contract, p);
    out += " */\n#pragma once\n\n#include <stdint.h>\n\n#ifdef __cplusplus\nextern \"C\" "
           "{\n#endif\n\n";
    out += failure;
    out += of_package(registration, p);
    out += "uint32_t " + p.name + "_recv_init(void);\n";
    out += "uint32_t " + p.name + "_send_init(void);\n";
    out += "void " + p.name + "__send_resource_clean(void);\n\n";
    out += how_to_read;
    for (const message *m : p.by_dependency) {
        emit_picture(out, *m);
        emit_record(out, *m);
        emit_prototypes(out, *m);
    }
    out += "\n#ifdef __cplusplus\n}\n#endif\n";
    return out;
}

} // namespace idlc
