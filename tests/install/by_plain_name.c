/* What a process does that knows the library by its plain name: one that needs it under that name (this program is linked
   with a library of that SONAME, PLAIN_STUB below), and one that opens it by that name. */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <srv6.h>

#ifdef PLAIN_STUB

uint32_t srv6_localsid_fwd__pack(const srv6_localsid_fwd *in, void *buf, uint32_t *inout_len)
{
    (void)in, (void)buf, (void)inout_len;
    return 1;
}

#else

int main(void)
{
    typedef uint32_t pack(const srv6_localsid_fwd *, void *, uint32_t *);
    void *plain = dlopen("libvorl_srv6.so", RTLD_NOW);
    void *versioned = dlopen("libvorl_srv6.so.1", RTLD_NOW);
    srv6_localsid_fwd sid = {0};
    unsigned char bytes[256];
    uint32_t opened = sizeof bytes, needed = sizeof bytes;

    if (!plain || !versioned)
        return fprintf(stderr, "%s\n", dlerror()), 1;
    if (plain != versioned)
        return fputs("the two names are two libraries in one process\n", stderr), 1;
    sid.f0 = 1;
    memcpy(sid.f5, "\x20\x01\x0d\xb8", 4); /* 2001:db8:: */
    sid.f6 = 48;
    if ((*(pack **)&(void *){dlsym(plain, "srv6_localsid_fwd__pack")})(&sid, bytes, &opened) != 0 ||
        srv6_localsid_fwd__pack(&sid, bytes, &needed) != 0)
        return fputs("__pack fails\n", stderr), 1;
    printf("%u bytes, %u bytes\n", (unsigned)opened, (unsigned)needed);
    return 0;
}

#endif
