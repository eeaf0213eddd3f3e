// In place of read_labels.cpp where the tools are not built, and with them the reader of labels files.
#include "options.h"
#include "read_labels.h"

namespace idlc {

labels labels_of(const std::string &)
{
    throw usage_error(
        "this idlc reads no labels files; build it with the tools, as ./dev build does");
}

} // namespace idlc
