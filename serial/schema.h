// What a message's slots are, as types: each names its wire type and the offset of its member in
// the record. The generated sources fill these in; everything else follows from them at compile
// time.
//
// A message is described by a struct M with
//   record            the C record
//   slots             slot_list<...>, in vtable order
//   name              the message's name
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <utility>

#include "serial/wire.h"

namespace vorl {

/// uint8 to uint64.
template <class T, size_t At>
struct scalar {
    using value_type = T;
    static constexpr size_t at = At;
};

/// array<uint8, N>, array<uint32, N>: inline in the record, counted on the wire.
template <class T, uint32_t N, size_t At>
struct array {
    using value_type = T;
    static constexpr uint32_t count = N;
    static constexpr size_t at = At;
    static constexpr uint32_t body_size =
        word_size + N * uint32_t{sizeof(T)}; ///< count and elements
};

/// table M: the nested record inline.
template <class M, size_t At>
struct table {
    using message = M;
    static constexpr size_t at = At;
};

/// array<table M, N>: N records inline, a vector of exactly N tables on the wire.
template <class M, uint32_t N, size_t At>
struct table_array {
    using message = M;
    static constexpr uint32_t count = N;
    static constexpr size_t at = At;
};

/// vector<uint8>: count and pointer in the record.
template <size_t CountAt, size_t At>
struct byte_vector {
    static constexpr size_t count_at = CountAt;
    static constexpr size_t at = At;
};

inline constexpr char usual_malloc_text[] = "[ZELKO]:Malloc unpack data unsuccess, size(%u)";

/// vector<table M>: count and pointer to records in the record. M holds no vector itself.
template <class M, size_t CountAt, size_t At, const char *MallocText = usual_malloc_text>
struct table_vector {
    using message = M;
    static constexpr size_t count_at = CountAt;
    static constexpr size_t at = At;
    static constexpr const char *malloc_text = MallocText;
};

template <class... Slots>
struct slot_list {
    static constexpr uint32_t size = sizeof...(Slots);
};

template <class M>
inline constexpr uint32_t slot_count = M::slots::size;

template <class... Slots, uint32_t... Index, class Visitor>
[[gnu::always_inline]] constexpr bool
all_slots(slot_list<Slots...>, std::integer_sequence<uint32_t, Index...>, Visitor &visit)
{
    return (visit.template operator()<Slots, Index>() && ...);
}

/// Calls visit.template operator()<Slot, index>() for each slot in order, as long as it returns
/// true. True: all did.
template <class... Slots, class Visitor>
[[gnu::always_inline]] constexpr bool all_slots(slot_list<Slots...> slots, Visitor &&visit)
{
    return all_slots(slots, std::make_integer_sequence<uint32_t, sizeof...(Slots)>{}, visit);
}

/// The same for a visitor that returns nothing.
template <class... Slots, class Visitor>
[[gnu::always_inline]] constexpr void each_slot(slot_list<Slots...> slots, Visitor &&visit)
{
    all_slots(
        slots, [&visit]<class Slot, uint32_t Index>() __attribute__((always_inline)) {
            visit.template operator()<Slot, Index>();
            return true;
        });
}

// Which kind a slot is.
template <class Slot>
inline constexpr bool is_scalar = false;
template <class T, size_t At>
inline constexpr bool is_scalar<scalar<T, At>> = true;

template <class Slot>
inline constexpr bool is_array = false;
template <class T, uint32_t N, size_t At>
inline constexpr bool is_array<array<T, N, At>> = true;

template <class Slot>
inline constexpr bool is_table = false;
template <class M, size_t At>
inline constexpr bool is_table<table<M, At>> = true;

template <class Slot>
inline constexpr bool is_table_array = false;
template <class M, uint32_t N, size_t At>
inline constexpr bool is_table_array<table_array<M, N, At>> = true;

template <class Slot>
inline constexpr bool is_byte_vector = false;
template <size_t CountAt, size_t At>
inline constexpr bool is_byte_vector<byte_vector<CountAt, At>> = true;

template <class Slot>
inline constexpr bool is_table_vector = false;
template <class M, size_t CountAt, size_t At, const char *MallocText>
inline constexpr bool is_table_vector<table_vector<M, CountAt, At, MallocText>> = true;

template <class Slot>
inline constexpr bool is_vector = is_byte_vector<Slot> || is_table_vector<Slot>;

/// No table and no vector anywhere in the slots: scalars and their arrays only.
template <class M>
inline constexpr bool is_flat = all_slots(typename M::slots{}, []<class Slot, uint32_t>() {
    return is_scalar<Slot> || is_array<Slot>;
});

/// A record of this message never owns memory, and its frame has one length.
template <class M>
inline constexpr bool is_fixed_size = all_slots(typename M::slots{}, []<class Slot, uint32_t>() {
    if constexpr (is_table<Slot>)
        return is_fixed_size<typename Slot::message>;
    return !is_vector<Slot>;
});

/// A message's name and a suffix, as the log and the allocators know its functions:
/// "srv6_class_item" "_unpack".
template <size_t N>
struct suffix {
    char text[N];
    consteval suffix(const char (&from)[N])
    {
        for (size_t i = 0; i < N; ++i)
            text[i] = from[i];
    }
};
template <class M, suffix Suffix>
struct function_name {
    static constexpr auto joined = [] {
        struct {
            char text[sizeof M::name - 1 + sizeof Suffix.text];
        } result{};
        size_t at = 0;
        for (size_t i = 0; i + 1 < sizeof M::name; ++i)
            result.text[at++] = M::name[i];
        for (const char c : Suffix.text)
            result.text[at++] = c;
        return result;
    }();
    static constexpr const char *text = joined.text;
};

/// A member of the record at `record`, wherever that lies.
template <class T>
T member(const uint8_t *record, size_t at)
{
    T value;
    memcpy(&value, record + at, sizeof value);
    return value;
}
template <class T>
void set_member(uint8_t *record, size_t at, T value)
{
    memcpy(record + at, &value, sizeof value);
}

} // namespace vorl
