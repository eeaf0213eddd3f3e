#include "catalogue/catalogue.h"

namespace vorl::catalogue {
namespace {

template <class Matches>
const message_info *find_if(Matches matches)
{
    for (const package_info *package : packages) {
        for (const message_info *message : package->messages) {
            if (matches(*message))
                return message;
        }
    }
    return nullptr;
}

} // namespace

const message_info *find_message(std::string_view name)
{
    return find_if([name](const message_info &m) { return name == m.name; });
}

const message_info *find_message(std::uint32_t msg_id)
{
    return find_if([msg_id](const message_info &m) { return msg_id == m.msg_id; });
}

} // namespace vorl::catalogue
