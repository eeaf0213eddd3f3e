// Cap'n Proto: a message in scratch space, and a reader over the received words.
#pragma once

#include <capnp/message.h>
#include <capnp/serialize.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

#include "bench/peers/fields.h"
#include "records.capnp.h"
#include "srv6.h"
#include "srv6_cfg.h"

namespace vorl::bench {

namespace cp_copy {

inline uint64_t low(const uint32_t (&block)[4])
{
    uint64_t word;
    memcpy(&word, block, sizeof word);
    return word;
}
inline uint64_t high(const uint32_t (&block)[4])
{
    uint64_t word;
    memcpy(&word, block + 2, sizeof word);
    return word;
}
inline void set(uint32_t (&block)[4], uint64_t low, uint64_t high)
{
    memcpy(block, &low, sizeof low);
    memcpy(block + 2, &high, sizeof high);
}

#define PUT_SCALAR(n) to.setF##n(from.f##n);
#define PUT_BLOCK(n)                                                                               \
    to.setF##n##Low(low(from.f##n));                                                               \
    to.setF##n##High(high(from.f##n));
#define GET_SCALAR(n) to.f##n = from.getF##n();
#define GET_BLOCK(n) set(to.f##n, from.getF##n##Low(), from.getF##n##High());
#define COPY(record, Name)                                                                         \
    inline void put(cp::Name::Builder to, const record &from)                                      \
    {                                                                                              \
        VORL_FIELDS_##Name(PUT_SCALAR, PUT_BLOCK)                                                  \
    }                                                                                              \
    inline void get(cp::Name::Reader from,                                                         \
                    record &to){VORL_FIELDS_##Name(GET_SCALAR, GET_BLOCK)} cp::Name                \
    struct_of(const record &);
VORL_FLAT_TYPES(COPY)
#undef COPY
#undef GET_BLOCK
#undef GET_SCALAR
#undef PUT_BLOCK
#undef PUT_SCALAR

cp::VrfClassDataChg struct_of(const srv6_vrf_class_data_chg &);
inline void put(cp::VrfClassDataChg::Builder to, const srv6_vrf_class_data_chg &from)
{
    to.setF0(from.f0);
    put(to.initF1(), from.f1);
}
inline void get(cp::VrfClassDataChg::Reader from, srv6_vrf_class_data_chg &to)
{
    to.f0 = from.getF0();
    get(from.getF1(), to.f1);
}

template <size_t N>
capnp::Data::Reader data(const uint8_t (&from)[N])
{
    return {from, N};
}
template <size_t N>
void get_bytes(capnp::Data::Reader from, uint8_t (&to)[N])
{
    if (from.size() == N)
        memcpy(to, from.begin(), N);
}

cp::DfxItem struct_of(const srv6_cfg_query_dfx_item &);
inline void put(cp::DfxItem::Builder to, const srv6_cfg_query_dfx_item &from)
{
    to.setF0(data(from.f0));
    to.setF1(from.f1);
    to.setF2(data(from.f2));
    to.setF3(data(from.f3));
    to.setF4(data(from.f4));
}
inline void get(cp::DfxItem::Reader from, srv6_cfg_query_dfx_item &to)
{
    get_bytes(from.getF0(), to.f0);
    to.f1 = from.getF1();
    get_bytes(from.getF2(), to.f2);
    get_bytes(from.getF3(), to.f3);
    get_bytes(from.getF4(), to.f4);
}

cp::TrastatRecInfo struct_of(const srv6_cfg_query_trastat_rec_info &);
inline void put(cp::TrastatRecInfo::Builder to, const srv6_cfg_query_trastat_rec_info &from)
{
    auto items = to.initF0(trastat_items);
    for (uint32_t i = 0; i < trastat_items; ++i)
        put(items[i], from.f0[i]);
}
inline void get(cp::TrastatRecInfo::Reader from, srv6_cfg_query_trastat_rec_info &to)
{
    const auto items = from.getF0();
    if (items.size() != trastat_items)
        return;
    for (uint32_t i = 0; i < trastat_items; ++i)
        get(items[i], to.f0[i]);
}

cp::CommonFwdUpdate struct_of(const srv6_common_fwd_update &);
inline void put(cp::CommonFwdUpdate::Builder to, const srv6_common_fwd_update &from)
{
    to.setF0(from.f0);
    auto elements = to.initF1(from.f1_count);
    for (uint32_t i = 0; i < from.f1_count; ++i)
        put(elements[i], from.f1[i]);
}
inline void get(cp::CommonFwdUpdate::Reader from, srv6_common_fwd_update &to)
{
    const auto elements = from.getF1();
    to.f0 = from.getF0();
    to.f1_count = elements.size();
    to.f1 = static_cast<srv6_common_fwd *>(malloc(to.f1_count * sizeof *to.f1));
    for (uint32_t i = 0; i < to.f1_count; ++i)
        get(elements[i], to.f1[i]);
}

} // namespace cp_copy

template <class Record>
class capnp_peer {
  public:
    static constexpr const char *name = "capnp";
    /// A message that fits the scratch space is one segment and allocates nothing.
    capnp_peer(size_t scratch_size, bool) : scratch_(scratch_size / sizeof(uint64_t)) {}

    [[gnu::noinline]] void encode(const Record &from)
    {
        capnp::MallocMessageBuilder message(scratch());
        cp_copy::put(message.initRoot<schema>(), from);
        // The segments are what a socket would be given.
        const auto segments = message.getSegmentsForOutput();
        asm volatile("" : : "r"(segments.begin()) : "memory");
    }
    std::vector<uint8_t> encoded(const Record &from)
    {
        capnp::MallocMessageBuilder message(scratch());
        cp_copy::put(message.initRoot<schema>(), from);
        const auto words = capnp::messageToFlatArray(message);
        const auto bytes = words.asBytes();
        return {bytes.begin(), bytes.end()};
    }
    [[gnu::noinline]] bool decode(std::span<const uint8_t> bytes, Record &to)
    {
        capnp::FlatArrayMessageReader message(
            {reinterpret_cast<const capnp::word *>(bytes.data()), bytes.size() / 8});
        cp_copy::get(message.getRoot<schema>(), to);
        return true;
    }

  private:
    using schema = decltype(cp_copy::struct_of(std::declval<Record>()));

    kj::ArrayPtr<capnp::word> scratch()
    {
        return {reinterpret_cast<capnp::word *>(scratch_.data()), scratch_.size()};
    }

    std::vector<uint64_t> scratch_; ///< zero before and after each message
};

} // namespace vorl::bench
