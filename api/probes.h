// The library's static probes (docs/probes.md): places at which a tracer can be attached to a process
// that runs. Each is one instruction that does nothing, and a note in the file that says where it is
// and which registers have its arguments. Nothing is exported, linked or written for them.
//
// They are where something failed, and nowhere on the way of a call that succeeds.
#pragma once

// Arguments are in registers or constants: the forms that every tracer reads, on both architectures.
#define STAP_SDT_ARG_CONSTRAINT nr
#include <sys/sdt.h>

#include "serial/plain/listener.h"

namespace vorl::probe {

/// `line` as in the log; `at` the table's position; `a` and `b` the numbers of the log's line.
[[gnu::always_inline]] inline void table_refused(const message &m, uint32_t line, uint32_t at,
                                                 uint32_t a, uint32_t b)
{
    STAP_PROBE5(vorl_srv6, table_refused, m.msg_id, line, at, a, b);
}

/// As a reading_step of kind `refused` has them. Tracers know a check by its number.
[[gnu::always_inline]] inline void field_refused(const message &m, field_check check, uint32_t at,
                                                 uint32_t slot, uint64_t leads_to)
{
    STAP_PROBE5(vorl_srv6, field_refused, m.msg_id, static_cast<uint32_t>(check), at, slot,
                leads_to);
}

/// `line` as in the log, or 0 for the frames of a send; `at` where the elements are in the message.
[[gnu::always_inline]] inline void no_memory(const message &m, uint32_t line, uint32_t at,
                                             uint64_t size)
{
    STAP_PROBE4(vorl_srv6, no_memory, m.msg_id, line, at, size);
}

/// `result` of the bus, and what it was called with.
[[gnu::always_inline]] inline void bus_error(const message &m, uint32_t result, uint32_t dest,
                                             uint32_t count, uint64_t to)
{
    STAP_PROBE5(vorl_srv6, bus_error, m.msg_id, result, dest, count, to);
}

} // namespace vorl::probe
