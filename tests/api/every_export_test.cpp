// Every exported function, found by its name in the shared library as a program would find it with
// dlsym, called, and seen to do its work.
#include <gtest/gtest.h>

#include <set>

#include "tests/api/exported.h"
#include "tests/facts/counts.h"
#include "tests/support/exports.h"
#include "tests/support/platform.h"
#include "tests/support/samples.h"

namespace vorl::test {
namespace {

/// Calls exported functions by name, and remembers which.
class exports {
  public:
    template <class... Arguments>
    std::uint32_t call(const std::string &name, Arguments... arguments)
    {
        called_.insert(name);
        const auto found = exported<std::uint32_t (*)(Arguments...)>(name);
        return found != nullptr ? found(arguments...) : 0xBAD;
    }

    /// A function without a result.
    template <class... Arguments>
    void run(const std::string &name, Arguments... arguments)
    {
        called_.insert(name);
        if (const auto found = exported<void (*)(Arguments...)>(name))
            found(arguments...);
    }

    const std::set<std::string> &called() const { return called_; }

  private:
    std::set<std::string> called_;
};

void call_message(exports &library, const message_fact &fact)
{
    const std::string name(fact.name);
    SCOPED_TRACE(name);
    const catalogue::message_info *known = catalogue::find_message(fact.name);
    ASSERT_NE(known, nullptr);
    const message *info = &known->data;
    sample in(*info, 2, 1);
    const void *records = in.record();
    void *buf = nullptr;
    reset_platform();

    std::uint32_t length = 1000000;
    EXPECT_EQ(library.call(name + "__pack", records, buf, &length), 0u);
    std::vector<std::uint8_t> bytes(length);
    buf = bytes.data();
    EXPECT_EQ(library.call(name + "__pack", records, buf, &length), 0u);
    EXPECT_EQ(length, bytes.size());

    std::vector<std::uint8_t> out(fact.record_size, 0x5A);
    void *to_record = out.data();
    const void *from = bytes.data();
    EXPECT_EQ(library.call(name + "__unpack", from, static_cast<std::int32_t>(length), to_record),
              fact.record_size);
    EXPECT_TRUE(same_record(*info, records, out.data()));

    library.run(name + "_free__unpacked", to_record);
    std::size_t vectors = 0;
    each_vector(*info, out.data(), [&vectors](const vorl::slot &slot, void *record) {
        EXPECT_EQ(pointer_of(record, slot), nullptr);
        ++vectors;
    });
    EXPECT_EQ(vectors > 0, !fact.is_fixed_size());
    EXPECT_EQ(the_platform().memory.size(), 2 * vectors);

    the_platform().bus_result = 0x600D;
    const std::uint32_t dest = 3;
    const std::uint32_t two = 2;
    const std::uint32_t ignored = 9;
    const std::uint64_t to = 0xAA00000000;
    EXPECT_EQ(library.call(name + "__sendsingle", dest, records, ignored, to), 0x600Du);
    EXPECT_EQ(library.call(name + "__sendbatch", dest, records, two, to), 0x600Du);
    EXPECT_EQ(library.call(name + "__sendmsg", dest, records, two), 0x600Du);
    EXPECT_EQ(library.call(name + "__sendtomsg", dest, records, two, to), 0x600Du);
    const auto &sends = the_platform().sends;
    ASSERT_EQ(sends.size(), 4u);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(sends[i].dest, 3u);
        EXPECT_EQ(sends[i].count, i == 0 ? 1u : 2u);
        EXPECT_EQ(sends[i].to, i == 2 ? 0u : to);
        EXPECT_EQ(sends[i].frames.at(0).msg_id, fact.msg_id);
        EXPECT_EQ(sends[i].frames.at(0).bytes, sends[0].frames.at(0).bytes);
    }
    EXPECT_EQ(the_platform().live_blocks, 0u);
}

TEST(every_export, does_its_work)
{
    exports library;
    for (const message_fact &fact : message_facts)
        call_message(library, fact);
    EXPECT_EQ(library.called().size(), counts::message_functions);

    for (const auto &[package, messages] : counts::packages) {
        reset_platform();
        EXPECT_EQ(library.call(std::string(package) + "_recv_init"), 0u);
        EXPECT_EQ(the_platform().registrations.size(), messages);
        EXPECT_EQ(library.call(std::string(package) + "_send_init"), 0u);
        ASSERT_EQ(the_platform().clean_registrations.size(), 1u);
        the_platform().clean_registrations[0]();
        library.run(std::string(package) + "__send_resource_clean");
        EXPECT_EQ(the_platform().registrations.size(), messages);
    }
    EXPECT_EQ(library.called().size(), counts::exports);

    expect_listed(listed_exports(EXPORTS_FILE), library.called());
}

} // namespace
} // namespace vorl::test
