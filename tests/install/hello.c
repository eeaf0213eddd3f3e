/* A program as its author writes it: one header, the bus and the codec. Compiled as C and as C++. */
#include <arpa/inet.h>
#include <stdio.h>
#include <string.h>

#include <srv6.h>
#include <srv6_cfg.h>
#include <srv6_sync.h>

int main(void)
{
    srv6_localsid_fwd sid;
    srv6_localsid_fwd back;
    struct in6_addr address;
    unsigned char bytes[256];
    uint32_t length = sizeof bytes;

    memset(&sid, 0, sizeof sid);
    memset(&back, 0, sizeof back);
    sid.f0 = 1;
    if (inet_pton(AF_INET6, "2001:db8::", &address) != 1)
        return 1;
    memcpy(sid.f5, &address, sizeof sid.f5);
    sid.f6 = 48;
    if (srv6_send_init() != 0 || srv6_localsid_fwd__pack(&sid, bytes, &length) != 0)
        return 1;
    srv6_localsid_fwd__unpack(bytes, (int32_t)length, &back);
    printf("%u bytes, f6 = %u\n", (unsigned)length, (unsigned)back.f6);
    return memcmp(&sid, &back, sizeof sid) != 0;
}
