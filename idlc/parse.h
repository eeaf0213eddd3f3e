// Text of a description -> model. The grammar (docs/idl.md):
//
//   description = "package" name ";" message { message }
//   message     = "message" name "{" slot { slot } "}"
//   slot        = type name [ "[" "malloc_text" "=" string "]" ] ";"
//   type        = "uint8" | "uint16" | "uint32" | "uint64"
//               | "array" "<" ( "uint8" | "uint32" | "table" name ) "," number ">"
//               | "vector" "<" ( "uint8" | "table" name ) ">"
//               | "table" name
//
// `//` opens a comment; `///` opens a documentation comment for what follows, `///<` one for what
// stands before it.
#pragma once

#include "faults.h"
#include "model.h"

namespace idlc {

/// What does not follow the grammar is added to `to`, and marked in the model, so that check() can
/// go on with the rest. The result is for emitting only if nothing was added.
package parse(const source &from, faults &to);

} // namespace idlc
