// The library as a program has it: the exported functions of a message, by name.
#pragma once

#include <cstdint>

#include "bench/data.h"
#include "catalogue/functions.h"

namespace vorl::bench {

using catalogue::message_functions;

/// Those that the program is linked with: functions_by_name.cpp or functions_linked.cpp.in has it.
message_functions functions_of(const message &m);

const message &message_named(const char *name);

encodings frames_of(const record_set &records);
encodings packed(const record_set &records);

/// Every encoding must unpack to the record that it was made of, or the program ends.
void check_round_trip(const record_set &records, const encodings &encoded);

[[noreturn]] void give_up(const char *what, const char *name);

} // namespace vorl::bench
