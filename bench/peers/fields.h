// The flat records of the peers, field by field, for the code that copies them to and fro: SCALAR(slot) for a number,
// BLOCK(slot) for sixteen bytes.
#pragma once

#include <cstdint>

#include "srv6_cfg.h"

namespace vorl::bench {
/// Elements of the one array of tables here.
inline constexpr uint32_t trastat_items =
    sizeof(srv6_cfg_query_trastat_rec_info) / sizeof(srv6_cfg_query_trastat_item);
} // namespace vorl::bench

// clang-format off
#define VORL_FIELDS_VrfClassData(SCALAR, BLOCK) \
    SCALAR(0) SCALAR(1) SCALAR(2) SCALAR(3) SCALAR(4) SCALAR(5)

#define VORL_FIELDS_CommonFwd(SCALAR, BLOCK) \
    SCALAR(0) SCALAR(1) SCALAR(2) SCALAR(3) SCALAR(4) SCALAR(5) \
    BLOCK(6) BLOCK(7) SCALAR(8) SCALAR(9) SCALAR(10) SCALAR(11) \
    SCALAR(12) SCALAR(13) SCALAR(14)

#define VORL_FIELDS_PolicyFwd(SCALAR, BLOCK) \
    SCALAR(0) SCALAR(1) SCALAR(2) SCALAR(3) SCALAR(4) SCALAR(5) \
    SCALAR(6) BLOCK(7) SCALAR(8) BLOCK(9) SCALAR(10) SCALAR(11) \
    SCALAR(12) SCALAR(13) SCALAR(14) SCALAR(15) SCALAR(16) SCALAR(17)

#define VORL_FIELDS_SidstackFwd(SCALAR, BLOCK) \
    SCALAR(0) SCALAR(1) SCALAR(2) SCALAR(3) SCALAR(4) SCALAR(5) \
    BLOCK(6) BLOCK(7) BLOCK(8) BLOCK(9) BLOCK(10) BLOCK(11) \
    BLOCK(12) BLOCK(13) BLOCK(14) BLOCK(15) BLOCK(16) SCALAR(17) \
    SCALAR(18) SCALAR(19)

#define VORL_FIELDS_TrastatItem(SCALAR, BLOCK) \
    SCALAR(0) SCALAR(1) SCALAR(2) SCALAR(3) SCALAR(4) SCALAR(5) \
    SCALAR(6) SCALAR(7) SCALAR(8) SCALAR(9) SCALAR(10) SCALAR(11)

/// TYPE(record, Name): every flat record and its name in the schemas.
#define VORL_FLAT_TYPES(TYPE) \
    TYPE(srv6_vrf_class_data, VrfClassData) \
    TYPE(srv6_common_fwd, CommonFwd) \
    TYPE(srv6_policy_fwd, PolicyFwd) \
    TYPE(srv6_sidstack_fwd, SidstackFwd) \
    TYPE(srv6_cfg_query_trastat_item, TrastatItem)
// clang-format on
