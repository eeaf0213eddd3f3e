// FlatBuffers: a builder that is reused, the verifier, and a copy into the record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

#include "bench/peers/fields.h"
#include "records_generated.h"
#include "srv6.h"
#include "srv6_cfg.h"

namespace vorl::bench {

namespace fb_copy {

using flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;

#define PUT_SCALAR(n) table.add_f##n(from.f##n);
#define PUT_BLOCK(n) table.add_f##n(reinterpret_cast<const fb::Block *>(from.f##n));
#define GET_SCALAR(n) to.f##n = from.f##n();
#define GET_BLOCK(n)                                                                               \
    if (from.f##n() != nullptr)                                                                    \
        memcpy(to.f##n, from.f##n(), sizeof to.f##n);                                              \
    else                                                                                           \
        memset(to.f##n, 0, sizeof to.f##n);
#define COPY(record, Name)                                                                         \
    inline Offset<fb::Name> put(FlatBufferBuilder &builder, const record &from)                    \
    {                                                                                              \
        fb::Name##Builder table(builder);                                                          \
        VORL_FIELDS_##Name(PUT_SCALAR, PUT_BLOCK) return table.Finish();                           \
    }                                                                                              \
    inline void get(const fb::Name &from,                                                          \
                    record &to){VORL_FIELDS_##Name(GET_SCALAR, GET_BLOCK)} fb::Name                \
    table_of(const record &);
VORL_FLAT_TYPES(COPY)
#undef COPY
#undef GET_BLOCK
#undef GET_SCALAR
#undef PUT_BLOCK
#undef PUT_SCALAR

fb::VrfClassDataChg table_of(const srv6_vrf_class_data_chg &);
inline auto put(FlatBufferBuilder &builder, const srv6_vrf_class_data_chg &from)
{
    const auto f1 = put(builder, from.f1);
    return fb::CreateVrfClassDataChg(builder, from.f0, f1);
}
inline void get(const fb::VrfClassDataChg &from, srv6_vrf_class_data_chg &to)
{
    to.f0 = from.f0();
    if (from.f1() != nullptr)
        get(*from.f1(), to.f1);
}

template <size_t N>
void get_bytes(const flatbuffers::Vector<uint8_t> *from, uint8_t (&to)[N])
{
    if (from != nullptr && from->size() == N)
        memcpy(to, from->data(), N);
}

fb::DfxItem table_of(const srv6_cfg_query_dfx_item &);
inline auto put(FlatBufferBuilder &builder, const srv6_cfg_query_dfx_item &from)
{
    const auto f0 = builder.CreateVector(from.f0, sizeof from.f0);
    const auto f2 = builder.CreateVector(from.f2, sizeof from.f2);
    const auto f3 = builder.CreateVector(from.f3, sizeof from.f3);
    const auto f4 = builder.CreateVector(from.f4, sizeof from.f4);
    return fb::CreateDfxItem(builder, f0, from.f1, f2, f3, f4);
}
inline void get(const fb::DfxItem &from, srv6_cfg_query_dfx_item &to)
{
    get_bytes(from.f0(), to.f0);
    to.f1 = from.f1();
    get_bytes(from.f2(), to.f2);
    get_bytes(from.f3(), to.f3);
    get_bytes(from.f4(), to.f4);
}

fb::TrastatRecInfo table_of(const srv6_cfg_query_trastat_rec_info &);
inline auto put(FlatBufferBuilder &builder, const srv6_cfg_query_trastat_rec_info &from)
{
    Offset<fb::TrastatItem> items[trastat_items];
    for (uint32_t i = 0; i < trastat_items; ++i)
        items[i] = put(builder, from.f0[i]);
    return fb::CreateTrastatRecInfo(builder, builder.CreateVector(items, trastat_items));
}
inline void get(const fb::TrastatRecInfo &from, srv6_cfg_query_trastat_rec_info &to)
{
    if (from.f0() == nullptr || from.f0()->size() != trastat_items)
        return;
    for (uint32_t i = 0; i < trastat_items; ++i)
        get(*from.f0()->Get(i), to.f0[i]);
}

fb::CommonFwdUpdate table_of(const srv6_common_fwd_update &);
inline auto put(FlatBufferBuilder &builder, const srv6_common_fwd_update &from)
{
    static std::vector<Offset<fb::CommonFwd>> elements;
    elements.resize(from.f1_count);
    for (uint32_t i = 0; i < from.f1_count; ++i)
        elements[i] = put(builder, from.f1[i]);
    const auto f1 = builder.CreateVector(elements);
    return fb::CreateCommonFwdUpdate(builder, from.f0, f1);
}
inline void get(const fb::CommonFwdUpdate &from, srv6_common_fwd_update &to)
{
    to.f0 = from.f0();
    to.f1_count = from.f1() == nullptr ? 0 : from.f1()->size();
    to.f1 = static_cast<srv6_common_fwd *>(malloc(to.f1_count * sizeof *to.f1));
    for (uint32_t i = 0; i < to.f1_count; ++i)
        get(*from.f1()->Get(i), to.f1[i]);
}

} // namespace fb_copy

template <class Record>
class flatbuffers_peer {
  public:
    static constexpr const char *name = "flatbuffers";
    /// `varied`: the records leave out different members.
    flatbuffers_peer(size_t scratch_size, bool varied) : builder_(scratch_size), varied_(varied) {}

    [[gnu::noinline]] void encode(const Record &from)
    {
        builder_.Clear();
        // Each new vtable is compared with all before it, which pays only where they are few.
        builder_.DedupVtables(!varied_);
        builder_.Finish(fb_copy::put(builder_, from));
    }
    std::vector<uint8_t> encoded(const Record &from)
    {
        encode(from);
        return {builder_.GetBufferPointer(), builder_.GetBufferPointer() + builder_.GetSize()};
    }
    [[gnu::noinline]] bool decode(std::span<const uint8_t> bytes, Record &to)
    {
        using table = decltype(fb_copy::table_of(to));
        flatbuffers::Verifier verifier(bytes.data(), bytes.size());
        if (!verifier.VerifyBuffer<table>(nullptr))
            return false;
        fb_copy::get(*flatbuffers::GetRoot<table>(bytes.data()), to);
        return true;
    }

  private:
    flatbuffers::FlatBufferBuilder builder_;
    bool varied_;
};

} // namespace vorl::bench
