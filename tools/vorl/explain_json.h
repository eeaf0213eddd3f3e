// An explanation as one JSON object on one line, for programs.
#pragma once

#include <iosfwd>

#include "inspect/explain.h"

namespace vorl::json {

/// {"message":"srv6_class_item","bytes":32,"accepted":true,
///  "parts":[{"at":0,"size":4,"hex":"04000000","what":"root offset","path":"","label":"","text":"...",
///            "leads_to":4}, ...],
///  "refusals":[{"at":26,"size":2,"leads_to":33,"path":"f2","label":"","rule":"field","actual":37,"least":0,
///               "most":32,"text":"...","hint":"","log":null}, ...],
///  "more_refusals":0,"is_cut":false}
void write_explanation(const inspect::explanation &e, const inspect::labels *names,
                       std::ostream &out);

} // namespace vorl::json
