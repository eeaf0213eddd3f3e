// Model -> files. One emitter an output; all of them put data into a fixed frame of text, none
// emits an algorithm.
#pragma once

#include <string>
#include <vector>

#include "model.h"

namespace idlc {

std::string emit_header(const package &p);   ///< <package>.h: the public C header
std::string emit_messages(const package &p); ///< <package>_messages.h: the messages as data
std::string emit_source(const package &p);   ///< <package>.cpp: what the library exports
std::string emit_catalogue(
    const package &p); ///< <package>_catalogue.cpp: names and comments, for tools and tests
std::string emit_page(const std::vector<package> &packages); ///< docs/messages.md
std::string emit_lua(const std::vector<package> &packages);  ///< wireshark/vorl/messages.lua

/// The lines that open every generated file.
std::string generated_notice(const package &p, const std::string &what);

} // namespace idlc
