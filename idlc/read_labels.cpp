#include "read_labels.h"

#include <cstdio>
#include <memory>

#include "catalogue/catalogue.h"
#include "files.h"
#include "inspect/labels.h"
#include "inspect/printable.h"

namespace idlc {

labels labels_of(const std::string &path)
{
    namespace inspect = vorl::inspect;
    auto read = std::make_shared<inspect::labels_file>(
        inspect::read_labels(read_file(path, inspect::longest_labels_file)));
    for (const inspect::labels_problem &p : read->problems)
        std::fprintf(stderr, "%s:%zu: warning: %s\n", vorl::printable(path).c_str(), p.line,
                     p.what.c_str());
    return [read](const message &m, std::size_t slot) -> std::optional<slot_label> {
        const vorl::catalogue::message_info *const info = vorl::catalogue::find_message(m.msg_id);
        const inspect::label *const found =
            info == nullptr ? nullptr : read->right.label_of(info->data, slot);
        if (found == nullptr)
            return std::nullopt;
        slot_label label{found->name, found->unit, {}};
        for (const auto &named : found->names)
            label.values.emplace(named.value, named.name);
        return label;
    };
}

} // namespace idlc
