// The macros of a generated source, which has a line for each message. VORL_EXPORT_MESSAGE defines
// the seven functions that the public header declares, VORL_EXPORT_PACKAGE the package's three.
// Each function only calls into api/; nothing is decided here.
#pragma once

#include "api/message.h"
#include "api/registration.h"
#include "api/send.h"

/// For functions that only call another one: marked cold, they are not aligned to a cache line.
#define VORL_SMALL [[gnu::cold]]

#define VORL_EXPORT_MESSAGE(m)                                                                     \
    uint32_t m##__pack(const m *in, void *buf, uint32_t *inout_len)                                \
    {                                                                                              \
        return vorl::pack<vorl::m##_message>(in, buf, inout_len);                                  \
    }                                                                                              \
    uint32_t m##__unpack(const void *buf, int32_t len, void *out)                                  \
    {                                                                                              \
        return vorl::unpack<vorl::m##_message>(buf, len, out);                                     \
    }                                                                                              \
    void m##_free__unpacked(void *rec) { vorl::free_unpacked<vorl::m##_message>(rec); }            \
    uint32_t m##__sendsingle(uint32_t dest, const m *rec, uint32_t, uint64_t to)                   \
    {                                                                                              \
        return vorl::sendsingle<vorl::m##_message>(dest, rec, to);                                 \
    }                                                                                              \
    VORL_SMALL uint32_t m##__sendbatch(uint32_t dest, const m *recs, uint32_t count, uint64_t to)  \
    {                                                                                              \
        return vorl::sendbatch<vorl::m##_message>(dest, recs, count, to);                          \
    }                                                                                              \
    VORL_SMALL uint32_t m##__sendtomsg(uint32_t dest, const m *recs, uint32_t count, uint64_t to)  \
    {                                                                                              \
        return vorl::send_by_count(dest, recs, count, to, m##__sendsingle, m##__sendbatch);        \
    }                                                                                              \
    VORL_SMALL uint32_t m##__sendmsg(uint32_t dest, const m *recs, uint32_t count)                 \
    {                                                                                              \
        return vorl::send_by_count(dest, recs, count, 0, m##__sendsingle, m##__sendbatch);         \
    }

/// An entry of the list that VORL_EXPORT_PACKAGE takes.
#define VORL_REGISTER(m)                                                                           \
    {                                                                                              \
        vorl::m##_message.msg_id, m##__unpack, m##_free__unpacked                                  \
    }

/// The entries stand in the order in which the package registers its messages.
#define VORL_EXPORT_PACKAGE(package, ...)                                                          \
    uint32_t package##_recv_init(void)                                                             \
    {                                                                                              \
        static constexpr vorl::registration messages[] = {__VA_ARGS__};                            \
        return vorl::register_receiver(messages);                                                  \
    }                                                                                              \
    void package##__send_resource_clean(void) {}                                                   \
    uint32_t package##_send_init(void)                                                             \
    {                                                                                              \
        return vorl::register_sender(package##__send_resource_clean);                              \
    }
