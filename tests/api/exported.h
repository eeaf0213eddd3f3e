// The shared library as dlsym shows it.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

namespace vorl::test {

/// The exported function of that name; fails the test unless the library itself defines it.
template <class Function>
Function exported(const std::string &name)
{
    // By its name: the one that the program has loaded, or the one that it was linked with.
    static void *const library = dlopen(VORL_LIBRARY, RTLD_NOW);
    void *address = library != nullptr ? dlsym(library, name.c_str()) : nullptr;
    Dl_info where = {};
    if (address == nullptr || dladdr(address, &where) == 0) {
        ADD_FAILURE() << "the library does not export " << name;
        return nullptr;
    }
    EXPECT_NE(std::string(where.dli_fname).find("/libvorl_srv6.so"), std::string::npos) << name;
    EXPECT_EQ(where.dli_sname, name);
    return reinterpret_cast<Function>(address);
}

} // namespace vorl::test
