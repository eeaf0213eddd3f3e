#include "compat_rules.h"

#include <iterator>

namespace idlc {
namespace {

constexpr const char *keep_the_name =
    "keep the message as it is; add one of the new name, and send both until no old peer is left";
constexpr const char *append = "leave the slot as it is, and append one";
constexpr const char *next_major = "raise the major version; programs are compiled anew";

// In the order of rule_id.
const rule table[] = {
    {"message-added", level::none, "send it to peers that have it"},
    {"message-removed", level::wire, "keep it until no peer sends or wants it"},
    {"message-renamed", level::wire, keep_the_name},
    {"message-moved", level::wire, keep_the_name},
    {"package-added", level::none, ""},
    {"package-removed", level::api, next_major},
    {"registration-order", level::none, "new messages belong at the end"},
    {"slot-appended", level::none, "send it to old peers as well; they do without it"},
    {"slot-inserted", level::wire, "append it instead"},
    {"slot-removed", level::wire, "leave the slot, and send it as zero or empty"},
    {"slot-type-changed", level::wire, append},
    {"slots-exchanged", level::wire, "exchange them back"},
    {"slot-moved", level::wire, "put it back; append what is new"},
    {"slot-unit-changed", level::wire, append},
    {"slot-values-changed", level::wire, "give new meanings new numbers"},
    {"slot-relabelled", level::none, "nothing, if it means the same; otherwise append a slot"},
    {"record-grown", level::api, next_major},
    {"record-changed", level::api, next_major},
    {"record-owns-memory", level::api,
     "raise the major version; receivers call _free__unpacked for each record"},
    {"frame-changed", level::none, ""},
    {"log-text-changed", level::none, "tell whoever searches logs for the text"},
};
static_assert(std::size(table) == static_cast<std::size_t>(rule_id::log_text_changed) + 1);

} // namespace

std::span<const rule> all_rules() { return table; }

} // namespace idlc
