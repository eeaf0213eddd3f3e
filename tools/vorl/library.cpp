#include "tools/vorl/library.h"

#include <dlfcn.h>

#include <stdexcept>
#include <vector>

namespace vorl {
namespace {

constexpr const char *file_name = "libvorl_srv6.so.1";

/// Where this program's libraries are looked for, by the dynamic linker's own account: "/a, /b".
std::string searched_directories()
{
    void *const program = dlopen(nullptr, RTLD_LAZY);
    Dl_serinfo size{};
    if (program == nullptr || dlinfo(program, RTLD_DI_SERINFOSIZE, &size) != 0)
        return "the system's directories of libraries";
    std::vector<std::max_align_t> room(size.dls_size / sizeof(std::max_align_t) + 1);
    auto *const found = reinterpret_cast<Dl_serinfo *>(room.data());
    std::string text;
    if (dlinfo(program, RTLD_DI_SERINFOSIZE, found) == 0 &&
        dlinfo(program, RTLD_DI_SERINFO, found) == 0) {
        for (unsigned i = 0; i < found->dls_cnt; ++i)
            text += std::string(i == 0 ? "" : ", ") + found->dls_serpath[i].dls_name;
    }
    return text;
}

} // namespace

library::library(const std::string &user)
    // Its symbols and the bus's are everybody's, as if this program were linked with both: what is
    // preloaded before the bus finds the bus behind it.
    : handle_(dlopen(file_name, RTLD_NOW | RTLD_GLOBAL))
{
    if (handle_ == nullptr) {
        const std::string why = dlerror();
        throw std::runtime_error(user + ": cannot load " + file_name + " (" + why +
                                 "), looked for in " + searched_directories() +
                                 "; install package libvorl-srv6-1 and the platform's bus, "
                                 "libkavrovorl.so, or name their directories in LD_LIBRARY_PATH");
    }
}

const catalogue::message_functions &library::functions_of(const message &m)
{
    const auto known = functions_.find(m.msg_id);
    if (known != functions_.end())
        return known->second;
    return functions_.emplace(m.msg_id, catalogue::functions_of(m, handle_)).first->second;
}

catalogue::package_functions library::functions_of(const catalogue::package_info &p) const
{
    return catalogue::functions_of(p, handle_);
}

// As the program's own calls would find it: what is preloaded before the bus, such as the tap, is called.
void *library::find(const char *name) { return dlsym(RTLD_DEFAULT, name); }

} // namespace vorl
