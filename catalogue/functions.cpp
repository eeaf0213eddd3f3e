#include "catalogue/functions.h"

#include <dlfcn.h>

#include <stdexcept>

namespace vorl::catalogue {
namespace {

template <class Function>
void look_up(Function *&function, const std::string &name, void *library)
{
    void *const found = dlsym(library, name.c_str());
    if (found == nullptr)
        throw std::runtime_error("the library has no function " + name +
                                 "; install the version of it that this program is of");
    function = reinterpret_cast<Function *>(found);
}

} // namespace

message_functions functions_of(const message &m, void *library)
{
    const std::string name = name_of(m);
    message_functions found{};
    look_up(found.pack, name + "__pack", library);
    look_up(found.unpack, name + "__unpack", library);
    look_up(found.free_unpacked, name + "_free__unpacked", library);
    look_up(found.sendsingle, name + "__sendsingle", library);
    look_up(found.sendbatch, name + "__sendbatch", library);
    look_up(found.sendmsg, name + "__sendmsg", library);
    look_up(found.sendtomsg, name + "__sendtomsg", library);
    return found;
}

package_functions functions_of(const package_info &p, void *library)
{
    const std::string name = p.name;
    package_functions found{};
    look_up(found.recv_init, name + "_recv_init", library);
    look_up(found.send_init, name + "_send_init", library);
    look_up(found.send_resource_clean, name + "__send_resource_clean", library);
    return found;
}

} // namespace vorl::catalogue
