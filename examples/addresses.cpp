// Addresses in C++: packs a cross-connect key with three SIDs, reads it back, and prints them.
#include <arpa/inet.h>

#include <array>
#include <cstdio>
#include <cstring>

#include <srv6.h>

namespace {

using address = std::array<unsigned char, 16>; // in the order of the address

address address_of(const char *text)
{
    address result{};
    if (inet_pton(AF_INET6, text, result.data()) != 1)
        std::fprintf(stderr, "addresses: \"%s\" is not an IPv6 address\n", text);
    return result;
}

void print(const char *member, const uint32_t (&words)[4])
{
    char text[INET6_ADDRSTRLEN];
    std::printf("%s = %s\n", member, inet_ntop(AF_INET6, words, text, sizeof text));
}

} // namespace

int main()
{
    srv6_xsid_fwd_key key{};
    const address next = address_of("2001:db8:a001::1");
    std::memcpy(key.f2, next.data(), sizeof key.f2);
    std::memcpy(key.f3, address_of("2001:db8:a002::2").data(), sizeof key.f3);
    key.f4[0] = 0x20010db8; // a number, whose bytes are not those of an address

    std::array<unsigned char, 256> bytes{};
    auto length = static_cast<uint32_t>(bytes.size());
    if (srv6_xsid_fwd_key__pack(&key, bytes.data(), &length) != 0)
        return 1;
    srv6_xsid_fwd_key back{};
    srv6_xsid_fwd_key__unpack(bytes.data(), static_cast<int32_t>(length), &back);
    print("f2", back.f2);
    print("f3", back.f3);
    print("f4", back.f4);
    return 0;
}
