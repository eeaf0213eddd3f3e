// Text of a description -> model. The grammar (docs/idl.md):
//
//   description = "package" name ";" { message }
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

#include "model.h"

namespace idlc {

/// Throws description_error for the first thing that does not follow the grammar.
package parse(const std::string &file, const std::string &text);

} // namespace idlc
