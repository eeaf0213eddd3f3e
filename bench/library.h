// The library as a program has it: the exported functions of a message, by name.
#pragma once

#include <cstdint>

#include "bench/data.h"

namespace vorl::bench {

struct exported {
    uint32_t (*pack)(const void *in, void *buf, uint32_t *inout_len);
    uint32_t (*unpack)(const void *buf, int32_t len, void *out);
    void (*free_unpacked)(void *rec);
    uint32_t (*sendsingle)(uint32_t dest, const void *rec, uint32_t ignored, uint64_t to);
    uint32_t (*sendbatch)(uint32_t dest, const void *recs, uint32_t count, uint64_t to);
};

/// Ends the program when one is missing. (The catalogue's own pointers lead through a wrapper.)
exported exported_functions(const message_info &message);

const message_info &message_named(const char *name);

encodings frames_of(const record_set &records);
encodings packed(const record_set &records);

/// Every encoding must unpack to the record that it was made of, or the program ends.
void check_round_trip(const record_set &records, const encodings &encoded);

[[noreturn]] void give_up(const char *what, const char *name);

} // namespace vorl::bench
