// A program that opens the library, registers with the bus, and closes it again: the bus still has
// the hooks, and calls them.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <map>

#include "tests/facts/counts.h"
#include "tests/support/platform.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

/// Opens the library in a scope of its own, and calls what registers its hooks.
void *open_and_register()
{
    void *library = dlopen(LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        throw std::runtime_error(dlerror());
    for (const catalogue::package_info *package : catalogue::packages) {
        const catalogue::package_functions functions = catalogue::functions_of(*package, library);
        EXPECT_EQ(functions.recv_init(), 0u);
        EXPECT_EQ(functions.send_init(), 0u);
    }
    return library;
}

TEST(unloading, leaves_every_hook_that_was_registered)
{
    void *library = open_and_register();
    std::map<std::uint32_t, std::vector<std::uint8_t>> frames;
    for (const known_message &m : all_messages()) {
        sample in(*m.info);
        std::vector<std::uint8_t> &frame = frames[m.fact->msg_id];
        frame.resize(100000);
        auto length = static_cast<std::uint32_t>(frame.size());
        ASSERT_EQ(
            catalogue::functions_of(*m.info, library).pack(in.record(), frame.data(), &length), 0u);
        frame.resize(length);
    }
    ASSERT_EQ(dlclose(library), 0);

    const std::vector<registration_call> hooks = the_platform().registrations;
    ASSERT_EQ(hooks.size(), counts::messages);
    std::size_t called = 0;
    for (const known_message &m : all_messages()) {
        SCOPED_TRACE(name_of(*m.info));
        sample in(*m.info);
        const std::vector<std::uint8_t> &frame = frames.at(m.fact->msg_id);
        for (const registration_call &hook : hooks) {
            if (hook.msg_id != m.fact->msg_id)
                continue;
            ++called;
            std::vector<std::uint8_t> out(m.fact->record_size);
            EXPECT_EQ(
                hook.unpack(frame.data(), static_cast<std::int32_t>(frame.size()), out.data()),
                m.fact->record_size);
            EXPECT_TRUE(same_record(*m.info, in.record(), out.data()));
            hook.release(out.data());
        }
    }
    EXPECT_EQ(called, counts::messages);
    EXPECT_EQ(the_platform().live_blocks, 0u);
    ASSERT_EQ(the_platform().clean_registrations.size(), 3u);
    for (const resource_clean_hook clean : the_platform().clean_registrations)
        clean();
}

TEST(unloading, is_no_new_beginning)
{
    void *library = open_and_register();
    void *function = dlsym(library, "srv6_localsid_fwd__unpack");
    ASSERT_NE(function, nullptr);
    ASSERT_EQ(dlclose(library), 0);
    void *again = dlopen(LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
    ASSERT_NE(again, nullptr) << "the library has been unloaded";
    EXPECT_EQ(dlsym(again, "srv6_localsid_fwd__unpack"), function);
}

} // namespace
} // namespace vorl::test
