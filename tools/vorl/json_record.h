// Records of any message as JSON, one object a line:
//
//   {"message":"srv6_localsid_fwd","f0":1,"f5":"2001:db8:0:1::","f9":4}
//
//   SLOT                  JSON
//   uint8 to uint64       whole number
//   array<uint32, 4>      IPv6 address text; read from an array of 4 numbers, too
//   array<uint32, 8>      array of 8 numbers
//   array<uint8, N>       hex text of up to N bytes, the rest zero; trailing zero bytes not written
//   vector<uint8>         hex text
//   table                 object
//   array<table, N>       array of up to N objects, the rest zero; trailing zero ones not written
//   vector<table>         array of objects
//
// With labels (docs/labels.md) members have their names and forms.
//
// A member that is missing is zero. An IPv6 address is the 16 bytes of the member in memory, which
// are the address in network order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "inspect/labels.h"
#include "serial/slot.h"
#include "tools/vorl/json_node.h"

namespace vorl::json {

/// A record of a message known at run time, and the memory that its vectors lead to. Never to be
/// passed to the library's release function: the memory is this object's.
class record {
  public:
    explicit record(const message &type) : type_(&type), data_(allocate(type.record_size)) {}
    record(record &&) noexcept = default;
    record &operator=(record &&) noexcept = default;
    // A copy would lead to the memory of the original.
    record(const record &) = delete;
    record &operator=(const record &) = delete;
    ~record() = default;

    const message &type() const { return *type_; }
    std::uint8_t *data() { return data_; }
    const std::uint8_t *data() const { return data_; }

    /// Zeroed memory that lives as long as this record does, wherever that is moved to.
    std::uint8_t *allocate(std::size_t size);

  private:
    const message *type_;
    std::vector<std::unique_ptr<std::uint64_t[]>> blocks_;
    std::uint8_t *data_;
};

/// Records of one message, one behind the other, as the send functions take them. What their
/// vectors lead to stays with the records, which must outlive this.
class record_array {
  public:
    void push_back(const record &added);

    const void *data() const { return bytes_.data(); }
    std::uint32_t count() const { return count_; }

  private:
    std::vector<std::uint8_t> bytes_; ///< from operator new: aligned for any record
    std::uint32_t count_ = 0;
};

/// Members may be named as the labels name them, and have values in their forms. Throws
/// input_error.
record parse_record(std::string_view json, const inspect::labels *names = nullptr);

/// The object's members, into a record that may have values: of a table those that its object names are
/// replaced, of all else the whole. `prefix` is what errors have before a member. Throws input_error.
void read_members(const node &object, record &to, const std::string &prefix,
                  const inspect::labels *names = nullptr);

enum class zeros : bool { omit, write };

/// Takes a text in pieces.
using text_sink = std::function<void(std::string_view part)>;

/// Writes one line, without its end. A vector with a count but no pointer is written as an empty
/// one. However large the record, little of the text is in memory at a time.
void write_record(const message &type, const void *record, zeros zero_members,
                  const inspect::labels *names, const text_sink &to);

/// The same in one piece.
std::string format_record(const message &type, const void *record, zeros zero_members,
                          const inspect::labels *names = nullptr);

/// The value of one member.
std::string format_member(const message &type, const void *record, std::size_t slot,
                          const inspect::labels *names = nullptr);

/// The path of the first member in which two records differ, vectors by content; empty when equal.
std::string first_difference(const message &type, const void *a, const void *b);

} // namespace vorl::json
