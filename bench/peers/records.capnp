@0xb1f7a3c95d20e684;
# The records of the benchmark as Cap'n Proto would have them. A 16-byte block is two 64-bit words.

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("vorl::bench::cp");

struct VrfClassData {
    f0 @0 :UInt32;
    f1 @1 :UInt32;
    f2 @2 :UInt32;
    f3 @3 :UInt32;
    f4 @4 :UInt32;
    f5 @5 :UInt8;
}

struct CommonFwd {
    f0 @0 :UInt32;
    f1 @1 :UInt32;
    f2 @2 :UInt8;
    f3 @3 :UInt8;
    f4 @4 :UInt8;
    f5 @5 :UInt8;
    f6Low @6 :UInt64;
    f6High @7 :UInt64;
    f7Low @8 :UInt64;
    f7High @9 :UInt64;
    f8 @10 :UInt8;
    f9 @11 :UInt8;
    f10 @12 :UInt16;
    f11 @13 :UInt16;
    f12 @14 :UInt8;
    f13 @15 :UInt8;
    f14 @16 :UInt32;
}

struct PolicyFwd {
    f0 @0 :UInt32;
    f1 @1 :UInt32;
    f2 @2 :UInt32;
    f3 @3 :UInt8;
    f4 @4 :UInt8;
    f5 @5 :UInt32;
    f6 @6 :UInt32;
    f7Low @7 :UInt64;
    f7High @8 :UInt64;
    f8 @9 :UInt32;
    f9Low @10 :UInt64;
    f9High @11 :UInt64;
    f10 @12 :UInt8;
    f11 @13 :UInt8;
    f12 @14 :UInt8;
    f13 @15 :UInt8;
    f14 @16 :UInt8;
    f15 @17 :UInt8;
    f16 @18 :UInt8;
    f17 @19 :UInt32;
}

struct SidstackFwd {
    f0 @0 :UInt32;
    f1 @1 :UInt32;
    f2 @2 :UInt32;
    f3 @3 :UInt8;
    f4 @4 :UInt8;
    f5 @5 :UInt32;
    f6Low @6 :UInt64;
    f6High @7 :UInt64;
    f7Low @8 :UInt64;
    f7High @9 :UInt64;
    f8Low @10 :UInt64;
    f8High @11 :UInt64;
    f9Low @12 :UInt64;
    f9High @13 :UInt64;
    f10Low @14 :UInt64;
    f10High @15 :UInt64;
    f11Low @16 :UInt64;
    f11High @17 :UInt64;
    f12Low @18 :UInt64;
    f12High @19 :UInt64;
    f13Low @20 :UInt64;
    f13High @21 :UInt64;
    f14Low @22 :UInt64;
    f14High @23 :UInt64;
    f15Low @24 :UInt64;
    f15High @25 :UInt64;
    f16Low @26 :UInt64;
    f16High @27 :UInt64;
    f17 @28 :UInt8;
    f18 @29 :UInt32;
    f19 @30 :UInt32;
}

struct TrastatItem {
    f0 @0 :UInt32;
    f1 @1 :UInt32;
    f2 @2 :UInt32;
    f3 @3 :UInt32;
    f4 @4 :UInt32;
    f5 @5 :UInt32;
    f6 @6 :UInt64;
    f7 @7 :UInt64;
    f8 @8 :UInt64;
    f9 @9 :UInt64;
    f10 @10 :UInt64;
    f11 @11 :UInt64;
}

struct VrfClassDataChg {
    f0 @0 :UInt32;
    f1 @1 :VrfClassData;
}

struct DfxItem {
    f0 @0 :Data;
    f1 @1 :UInt32;
    f2 @2 :Data;
    f3 @3 :Data;
    f4 @4 :Data;
}

struct TrastatRecInfo {
    f0 @0 :List(TrastatItem);
}

struct CommonFwdUpdate {
    f0 @0 :UInt32;
    f1 @1 :List(CommonFwd);
}
