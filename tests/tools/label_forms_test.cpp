// Values in the forms of labels: their texts, and texts back to values.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "inspect/integers.h"
#include "inspect/label_forms.h"

using namespace vorl;
using namespace vorl::inspect;

namespace {

vorl::slot scalar(std::uint8_t width)
{
    return {.shape = slot_shape::scalar, .width = width, .record_at = 0};
}
vorl::slot array(std::uint8_t width, std::uint32_t count)
{
    return {.shape = slot_shape::array, .width = width, .count = count, .record_at = 0};
}

label in(form f)
{
    label as;
    as.shown_as = f;
    return as;
}
label time_in(const std::string &unit, bool since_start = false)
{
    label as = in(form::time);
    as.unit = unit;
    as.since_start = since_start;
    return as;
}
label sid_of(std::uint32_t locator, std::uint32_t function)
{
    label as = in(form::sid);
    as.locator = locator;
    as.function = function;
    return as;
}
label named(form f)
{
    label as = in(f);
    as.names = {{0, "none"}, {1, "psp"}, {3, "usd"}, {7, "last"}};
    return as;
}
label unit_of(const std::string &unit)
{
    label as = in(form::unit);
    as.unit = unit;
    return as;
}

/// "-" where the form has no text for it.
std::string text(const label &as, std::uint8_t width, std::uint64_t value)
{
    std::array<std::uint8_t, 8> bytes{};
    store_integer(bytes.data(), value, width);
    return text_of(as, scalar(width), bytes.data()).value_or("-");
}

/// The value, or "what; remedy".
std::string value(const label &as, std::uint8_t width, const std::string &of)
{
    std::array<std::uint8_t, 8> bytes{};
    bytes.fill(0xA5);
    try {
        EXPECT_EQ(read_text(as, scalar(width), of, bytes.data()).has_value(),
                  as.shown_as == form::prefix && of.find('/') != std::string::npos);
    } catch (const form_error &error) {
        return error.what();
    }
    for (std::size_t i = width; i < bytes.size(); ++i)
        EXPECT_EQ(bytes[i], 0xA5) << "a byte behind the slot";
    return std::to_string(load_integer(bytes.data(), width));
}

using bytes16 = std::array<std::uint8_t, 16>;

constexpr bytes16 address = {0x20, 0x01, 0x0d, 0xb8, 0xa0, 0x01, 0x00, 0x01,
                             0x12, 0x34, 0,    0,    0,    0,    0,    0};

std::string address_error(const label &as, const std::string &of)
{
    bytes16 to{};
    try {
        read_text(as, array(4, 4), of, to.data());
    } catch (const form_error &error) {
        return error.what();
    }
    return "accepted";
}

constexpr std::uint64_t most = 0xFFFFFFFFFFFFFFFF;

/// Values at the edges of bits and of the forms.
std::vector<std::uint64_t> edges()
{
    std::vector<std::uint64_t> values = {86399,           86400,          951782400,
                                         1000000007,      253402300799,   253402300800,
                                         253402300799999, 253402300800000};
    for (unsigned bit = 0; bit < 64; ++bit) {
        for (const std::uint64_t near : {std::uint64_t{0}, std::uint64_t{1}, most})
            values.push_back((std::uint64_t{1} << bit) + near);
    }
    return values;
}

void goes_through_text(const label &as, std::uint8_t width, std::uint64_t number)
{
    std::array<std::uint8_t, 8> bytes{};
    store_integer(bytes.data(), number, width);
    const auto shown = text_of(as, scalar(width), bytes.data());
    if (!shown)
        return; // written as a number
    ASSERT_EQ(value(as, width, *shown), std::to_string(number)) << *shown;
}

} // namespace

TEST(label_forms, numbers)
{
    EXPECT_EQ(text(in(form::dec), 8, most), "18446744073709551615");
    EXPECT_EQ(text(in(form::hex), 1, 0), "0x00");
    EXPECT_EQ(text(in(form::hex), 1, 0xAB), "0xab");
    EXPECT_EQ(text(in(form::hex), 2, 0xAB), "0x00ab");
    EXPECT_EQ(text(in(form::hex), 8, most), "0xffffffffffffffff");
    EXPECT_EQ(value(in(form::hex), 2, "0xAB"), "171");
    EXPECT_EQ(value(in(form::hex), 2, "0x0000000000000000000AB"), "171");
    EXPECT_EQ(value(in(form::hex), 1, "0x100"),
              "\"0x100\" is out of range; give 0x and up to 2 hex digits");
    EXPECT_EQ(value(in(form::hex), 8, "0x10000000000000000"),
              "\"0x10000000000000000\" is out of range; give 0x and up to 16 hex digits");
    for (const char *bad : {"", "0x", "ab", "0xg", "0x-1", "0x1 ", "0x1g"})
        EXPECT_EQ(value(in(form::hex), 1, bad),
                  '"' + std::string(bad) + "\" is no hex number; give 0x and up to 2 hex digits");
    EXPECT_EQ(value(in(form::dec), 1, "1"), "\"1\" is not a number; give it without quotes");
}

TEST(label_forms, arrays_of_numbers)
{
    const std::array<std::uint32_t, 4> words = {1, 0x20010db8, 0, 0xFFFFFFFF};
    const auto *const bytes = reinterpret_cast<const std::uint8_t *>(words.data());
    EXPECT_TRUE(is_list(in(form::hex), array(4, 4)));
    EXPECT_TRUE(is_list(in(form::dec), array(4, 8)));
    EXPECT_FALSE(is_list(in(form::hex), array(1, 16)));
    EXPECT_FALSE(is_list(in(form::hex), scalar(4)));
    EXPECT_EQ(list_of(in(form::hex), array(4, 4), bytes),
              (std::vector<std::string>{"0x00000001", "0x20010db8", "0x00000000", "0xffffffff"}));
    EXPECT_EQ(text_of(in(form::dec), array(4, 4), bytes), "1 536939960 0 4294967295");
    EXPECT_EQ(text_of(in(form::hex), array(1, 16), bytes), std::nullopt);
}

TEST(label_forms, ipv4_is_the_number_from_its_highest_byte_down)
{
    EXPECT_EQ(text(in(form::ipv4), 4, 0xC0000201), "192.0.2.1");
    EXPECT_EQ(value(in(form::ipv4), 4, "192.0.2.1"), std::to_string(0xC0000201));
    for (const char *bad : {"", "192.0.2", "192.0.2.256", "192.0.2.1 ", "2001:db8::1"})
        EXPECT_EQ(value(in(form::ipv4), 4, bad),
                  '"' + std::string(bad) +
                      "\" is not an IPv4 address; give one such as \"192.0.2.1\"");
    EXPECT_EQ(text(in(form::prefix), 4, 0x0A000000), "10.0.0.0");
    std::array<std::uint8_t, 4> bytes = {0, 0, 0, 10};
    EXPECT_EQ(text_of(in(form::prefix), scalar(4), bytes.data(), 8), "10.0.0.0/8");
}

TEST(label_forms, ipv6_and_prefixes_in_words_and_in_bytes)
{
    for (const vorl::slot &s : {array(4, 4), array(1, 16)}) {
        EXPECT_EQ(text_of(in(form::ipv6), s, address.data()), "2001:db8:a001:1:1234::");
        EXPECT_EQ(text_of(in(form::prefix), s, address.data()), "2001:db8:a001:1:1234::");
        EXPECT_EQ(text_of(in(form::prefix), s, address.data(), 48), "2001:db8:a001:1:1234::/48");
        EXPECT_EQ(text_of(in(form::prefix), s, address.data(), 65535),
                  "2001:db8:a001:1:1234::/65535");
        bytes16 to{};
        EXPECT_EQ(read_text(in(form::ipv6), s, "2001:db8:a001:1:1234::", to.data()), std::nullopt);
        EXPECT_EQ(to, address);
        to = {};
        EXPECT_EQ(read_text(in(form::prefix), s, "2001:db8:a001:1:1234::", to.data()),
                  std::nullopt);
        EXPECT_EQ(to, address);
        to = {};
        EXPECT_EQ(read_text(in(form::prefix), s, "2001:db8:a001:1:1234::/48", to.data()), 48u);
        EXPECT_EQ(to, address);
    }
    EXPECT_EQ(address_error(in(form::ipv6), "2001:db8::/32"),
              "\"2001:db8::/32\" is not an IPv6 address; give one such as \"2001:db8::1\"");
    EXPECT_EQ(address_error(in(form::ipv6), std::string("::\0", 3)),
              "\"::\\x00\" is not an IPv6 address; give one such as \"2001:db8::1\"");
    for (const char *bad : {"2001:db8::/", "2001:db8::/x", "2001:db8::/-1", "2001:db8::/1/2",
                            "2001:db8::/18446744073709551616"})
        EXPECT_EQ(address_error(in(form::prefix), bad),
                  '"' + std::string(bad) +
                      "\" is no prefix; give an address, a / and a length, such as "
                      "\"2001:db8::/32\"");
}

TEST(label_forms, sids)
{
    const vorl::slot words = array(4, 4);
    const auto shown = [&](std::uint32_t locator, std::uint32_t function) {
        return *text_of(sid_of(locator, function), words, address.data());
    };
    EXPECT_EQ(shown(48, 16),
              "2001:db8:a001:1:1234:: (locator 2001:db8:a001::/48, function 0x1, argument "
              "0x1234000000000000)");
    EXPECT_EQ(shown(48, 32),
              "2001:db8:a001:1:1234:: (locator 2001:db8:a001::/48, function 0x11234)");
    EXPECT_EQ(shown(45, 19), "2001:db8:a001:1:1234:: (locator 2001:db8:a000::/45, function "
                             "0x10001, argument 0x1234000000000000)");
    EXPECT_EQ(shown(128, 0),
              "2001:db8:a001:1:1234:: (locator 2001:db8:a001:1:1234::/128, function 0x0)");
    EXPECT_EQ(shown(1, 127), "2001:db8:a001:1:1234:: (locator ::/1, function "
                             "0x20010db8a00100011234000000000000)");
    for (const auto &[locator, function] : {std::pair{48U, 16U}, {45U, 19U}, {1U, 127U}}) {
        bytes16 to{};
        read_text(sid_of(locator, function), words, shown(locator, function), to.data());
        EXPECT_EQ(to, address);
    }
    bytes16 alone{};
    read_text(sid_of(48, 16), words, "2001:db8:a001:1:1234::", alone.data());
    EXPECT_EQ(alone, address);
    EXPECT_EQ(
        address_error(sid_of(48, 16),
                      "2001:db8:a001:2:: (locator 2001:db8:a001::/48, function 0x1)"),
        "\"2001:db8:a001:2:: (locator 2001:db8:a001::/48, function 0x1)\" is not the parts of "
        "that SID; give the SID alone, or \"2001:db8:a001:2:: (locator "
        "2001:db8:a001::/48, function 0x2)\"");
    EXPECT_EQ(address_error(sid_of(48, 16), "x (locator"),
              "\"x\" is not an IPv6 address; give one such as \"2001:db8::1\"");
}

TEST(label_forms, macs)
{
    EXPECT_EQ(text(in(form::mac), 8, 0x00005E005301), "00:00:5e:00:53:01");
    EXPECT_EQ(text(in(form::mac), 8, 0xFFFFFFFFFFFF), "ff:ff:ff:ff:ff:ff");
    EXPECT_EQ(text(in(form::mac), 8, 0x1000000000000), "-"); // longer than a MAC: the number
    EXPECT_EQ(value(in(form::mac), 8, "00:00:5E:00:53:01"), std::to_string(0x00005E005301));
    const std::array<std::uint8_t, 6> bytes = {0, 0, 0x5E, 0, 0x53, 1};
    EXPECT_EQ(text_of(in(form::mac), array(1, 6), bytes.data()), "00:00:5e:00:53:01");
    std::array<std::uint8_t, 6> to{};
    read_text(in(form::mac), array(1, 6), "00:00:5e:00:53:01", to.data());
    EXPECT_EQ(to, bytes);
    for (const char *bad : {"", "00:00:5e:00:53", "00:00:5e:00:53:01:02", "00-00-5e-00-53-01",
                            "00:00:5e:00:53:0g", "0:0:5e:0:53:1"})
        EXPECT_EQ(value(in(form::mac), 8, bad),
                  '"' + std::string(bad) +
                      "\" is not a MAC address; give one such as \"00:00:5e:00:53:01\"");
}

TEST(label_forms, dates)
{
    EXPECT_EQ(text(time_in("s"), 4, 0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(text(time_in("s"), 4, 951782400), "2000-02-29T00:00:00Z");
    EXPECT_EQ(text(time_in("s"), 4, 0xFFFFFFFF), "2106-02-07T06:28:15Z");
    EXPECT_EQ(text(time_in("s"), 8, 253402300799), "9999-12-31T23:59:59Z");
    EXPECT_EQ(text(time_in("s"), 8, 253402300800), "-"); // the number
    EXPECT_EQ(text(time_in("ms"), 8, 951782400007), "2000-02-29T00:00:00.007Z");
    EXPECT_EQ(text(time_in("us"), 8, 951782400000007), "2000-02-29T00:00:00.000007Z");
    EXPECT_EQ(text(time_in("ns"), 8, most), "2554-07-21T23:34:33.709551615Z");
    EXPECT_EQ(value(time_in("s"), 8, "9999-12-31T23:59:59Z"), "253402300799");
    EXPECT_EQ(value(time_in("ns"), 8, "2554-07-21T23:34:33.709551615Z"), "18446744073709551615");
    EXPECT_EQ(value(time_in("ns"), 8, "2554-07-21T23:34:33.709551616Z"),
              "\"2554-07-21T23:34:33.709551616Z\" is not within 64 bits; give an earlier time");
    EXPECT_EQ(value(time_in("s"), 4, "2106-02-07T06:28:16Z"),
              "\"2106-02-07T06:28:16Z\" is out of range; give at most 4294967295 s");
    for (const char *bad :
         {"", "2000-02-30T00:00:00Z", "2001-02-29T00:00:00Z", "2000-13-01T00:00:00Z",
          "2000-01-01T24:00:00Z", "2000-01-01T00:60:00Z", "2000-01-01T00:00:60Z",
          "2000-01-01T00:00:00", "2000-01-01 00:00:00Z", "1969-12-31T23:59:59Z",
          "2000-01-01T00:00:00.5Z", "02000-01-01T00:00:00Z", "2000-01-01T00:00:00Z "})
        EXPECT_EQ(value(time_in("s"), 8, bad),
                  '"' + std::string(bad) +
                      "\" is not a time in UTC from 1970 on; give one such as "
                      "1970-01-01T00:00:00Z, or the number");
    EXPECT_EQ(value(time_in("ms"), 8, "2000-01-01T00:00:00Z"),
              "\"2000-01-01T00:00:00Z\" is not a time in UTC from 1970 on; give one such as "
              "1970-01-01T00:00:00.000Z, or the number");
}

TEST(label_forms, durations)
{
    EXPECT_EQ(text(time_in("s", true), 4, 0), "00:00:00");
    EXPECT_EQ(text(time_in("s", true), 4, 86399), "23:59:59");
    EXPECT_EQ(text(time_in("s", true), 4, 86400), "1d 00:00:00");
    EXPECT_EQ(text(time_in("ms", true), 8, 273340125), "3d 03:55:40.125");
    EXPECT_EQ(text(time_in("s", true), 8, most), "213503982334601d 07:00:15");
    EXPECT_EQ(value(time_in("s", true), 8, "213503982334601d 07:00:15"), "18446744073709551615");
    EXPECT_EQ(value(time_in("s", true), 8, "0d 00:00:05"), "5");
    EXPECT_EQ(value(time_in("s", true), 8, "213503982334601d 07:00:16"),
              "\"213503982334601d 07:00:16\" is not within 64 bits; give a shorter time");
    EXPECT_EQ(value(time_in("s", true), 4, "49710d 06:28:16"),
              "\"49710d 06:28:16\" is out of range; give at most 4294967295 s");
    for (const char *bad : {"", "1", "1d", "d 00:00:00", "1d 24:00:00", "1d 00:00:00d ",
                            "99999999999999999999d 00:00:00", "00:00"})
        EXPECT_EQ(value(time_in("s", true), 8, bad),
                  '"' + std::string(bad) +
                      "\" is not a duration; give one such as 00:00:00 or 3d "
                      "00:00:00, or the number");
}

TEST(label_forms, enumerations)
{
    EXPECT_EQ(text(named(form::enumeration), 2, 3), "usd");
    EXPECT_EQ(text(named(form::enumeration), 2, 0), "none");
    EXPECT_EQ(text(named(form::enumeration), 2, 2), "-"); // the number
    EXPECT_EQ(value(named(form::enumeration), 2, "usd"), "3");
    EXPECT_EQ(value(named(form::enumeration), 2, "usp"),
              "\"usp\" is no name of its values; did you mean psp?");
    EXPECT_EQ(value(named(form::enumeration), 2, "End.X"),
              "\"End.X\" is no name of its values; give one that the labels have, or the number");
}

TEST(label_forms, flags)
{
    const label as = named(form::flags);
    EXPECT_EQ(text(as, 1, 0), "0x0");
    EXPECT_EQ(text(as, 1, 0x8B), "none|psp|usd|last");
    EXPECT_EQ(text(as, 1, 0x0E), "psp|usd|0x4");
    EXPECT_EQ(text(as, 8, most), "none|psp|usd|last|0xffffffffffffff74");
    std::array<std::uint8_t, 1> bytes = {0x0E};
    EXPECT_EQ(list_of(as, scalar(1), bytes.data()),
              (std::vector<std::string>{"psp", "usd", "0x4"}));
    bytes = {0};
    EXPECT_EQ(list_of(as, scalar(1), bytes.data()), std::vector<std::string>{});
    EXPECT_EQ(value(as, 1, "usd|psp|0x4"), "14");
    EXPECT_EQ(value(as, 1, "0x0"), "0");
    EXPECT_EQ(read_flags(as, scalar(1), {}), 0u);
    EXPECT_EQ(value(as, 1, "usd|0x100"),
              "\"0x100\" is out of range; give 0x and up to 2 hex digits");
    EXPECT_EQ(value(as, 1, "usd||psp"), "\"\" is no name of its values; give those that the labels "
                                        "have, other bits as in \"0x4\"");
    EXPECT_EQ(value(as, 1, "lsat"), "\"lsat\" is no name of its values; did you mean last?");
}

TEST(label_forms, numbers_with_a_unit)
{
    EXPECT_EQ(text(unit_of("bits"), 1, 48), "48 bits");
    EXPECT_EQ(text(unit_of("Mbit/s of it"), 8, most), "18446744073709551615 Mbit/s of it");
    EXPECT_EQ(value(unit_of("Mbit/s of it"), 8, "7 Mbit/s of it"), "7");
    EXPECT_EQ(value(unit_of("bits"), 1, "256 bits"),
              "\"256 bits\" is out of range; give at most 255");
    for (const char *bad : {"", "48", "48bits", "48 bytes", "48  bits", "-1 bits", " 48 bits",
                            "bits", "18446744073709551616 bits"})
        EXPECT_EQ(value(unit_of("bits"), 1, bad),
                  '"' + std::string(bad) +
                      "\" is not a number of bits; give one such as \"1 bits\", or the number "
                      "alone");
}

TEST(label_forms, numbers_of_every_width_go_through_text_and_back)
{
    const std::vector<label> every_width = {in(form::hex), named(form::enumeration),
                                            named(form::flags), unit_of("bits")};
    for (std::uint64_t number = 0; number < 65536; ++number) {
        for (const label &as : every_width) {
            goes_through_text(as, 2, number);
            if (number < 256)
                goes_through_text(as, 1, number);
        }
    }
    std::vector<label> wide = every_width;
    for (const char *unit : {"s", "ms", "us", "ns"}) {
        wide.push_back(time_in(unit));
        wide.push_back(time_in(unit, true));
    }
    for (const std::uint64_t number : edges()) {
        for (const label &as : wide) {
            goes_through_text(as, 8, number);
            if (number <= 0xFFFFFFFF)
                goes_through_text(as, 4, number);
        }
        goes_through_text(in(form::mac), 8, number);
        if (number <= 0xFFFFFFFF)
            goes_through_text(in(form::ipv4), 4, number);
    }
}
