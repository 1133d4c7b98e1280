// The table sort called as compiled code calls it: byte images of tables
// and key records, keys passed as varargs.  Random tables are checked
// against an independent value model (model.py); the cases below pin the
// orderings and decisions a value model does not show.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "kvr2/kvr2.h"
#include "model_cases.h"

namespace {

using modelcases::Bytes;

TableSortKey key(uint32_t offset, uint32_t length, uint32_t type, uint8_t sign = 0, bool asc = true) {
    TableSortKey k{};
    k.offset = offset, k.length = length, k.keyType = type, k.signFlags = sign;
    k.orderFlags = asc ? ZVK_TSORT_ASCENDING : 0;
    return k;
}

// Sorts a copy of the table in an exact-size heap block, so that an
// overrun of the table is seen by AddressSanitizer.
Bytes sorted(const Bytes& table, uint32_t elementLength, std::vector<TableSortKey> keys,
             const uint8_t* collating = nullptr) {
    Bytes t(table);
    const int32_t count = int32_t(t.size() / elementLength);
    TableSortKey* k = keys.data();
    switch (keys.size()) {
        case 0: _zvkcTSort(0, t.data(), elementLength, count, collating, 0); break;
        case 1: _zvkcTSort(0, t.data(), elementLength, count, collating, 1, &k[0]); break;
        case 2: _zvkcTSort(0, t.data(), elementLength, count, collating, 2, &k[0], &k[1]); break;
        case 3: _zvkcTSort(0, t.data(), elementLength, count, collating, 3, &k[0], &k[1], &k[2]); break;
        case 4: _zvkcTSort(0, t.data(), elementLength, count, collating, 4, &k[0], &k[1], &k[2], &k[3]); break;
        default: ADD_FAILURE() << "too many keys";
    }
    return t;
}

// The table sort's model: A is the element length.
std::vector<modelcases::Case> modelCases(int seed, int cases) {
    return modelcases::read(std::string(KVR2_SORT_TESTS) + "/model.py", seed, cases);
}

TEST(TableSort, AgreesWithTheValueModelOnRandomTablesOfEveryKeyType) {
    const auto cases = modelCases(20261125, 400);
    ASSERT_EQ(cases.size(), 400u);
    int copyMode = 0, permutationMode = 0;
    for (const auto& m : cases) {
        const size_t count = m.in.size() / m.a;
        (m.a <= 100 && count <= 200 ? copyMode : permutationMode)++;
        const Bytes got = sorted(m.in, m.a, m.keys, m.coll());
        ASSERT_EQ(got, m.out) << m.text;
    }
    EXPECT_GT(copyMode, 100);
    EXPECT_GT(permutationMode, 100);
}

// Each element widened past 100 bytes moves the same table to the
// permutation mode; the order must not change.
TEST(TableSort, CopyAndPermutationModesGiveTheSameOrder) {
    for (const auto& m : modelCases(7, 150)) {
        const size_t count = m.in.size() / m.a;
        if (m.a > 100 || count > 200) continue;
        const uint32_t wide = 101;
        Bytes widened(count * wide, 0xA5);
        for (size_t i = 0; i < count; ++i)
            memcpy(&widened[i * wide], &m.in[i * m.a], m.a);
        const uint8_t* coll = m.coll();
        const Bytes narrow = sorted(m.in, m.a, m.keys, coll);
        const Bytes wideSorted = sorted(widened, wide, m.keys, coll);
        for (size_t i = 0; i < count; ++i)
            ASSERT_EQ(0, memcmp(&wideSorted[i * wide], &narrow[i * m.a], m.a)) << m.text;
    }
}

// Rows: a 2-byte tag then the key.
Bytes rows(uint32_t el, const std::vector<Bytes>& keys) {
    Bytes t;
    for (size_t i = 0; i < keys.size(); ++i) {
        Bytes e(el, 0);
        e[0] = uint8_t(i), e[1] = uint8_t(i >> 8);
        memcpy(&e[2], keys[i].data(), keys[i].size());
        t.insert(t.end(), e.begin(), e.end());
    }
    return t;
}
std::vector<int> tags(const Bytes& t, uint32_t el) {
    std::vector<int> r;
    for (size_t i = 0; i < t.size(); i += el) r.push_back(t[i] | t[i + 1] << 8);
    return r;
}

TEST(TableSort, UnsignedPackedSortsAmongNegativesAndSignedZeroWithPositiveZero) {
    // 5F, 3F (unsigned), 0D (-0), 2C, 0C, 7D
    const Bytes t = rows(4, {{0x5F}, {0x3F}, {0x0D}, {0x2C}, {0x0C}, {0x7D}});
    // Negative by magnitude descending: 7D, 5F, 3F; then -0 and +0 as
    // equals in table order, then 2C.
    EXPECT_EQ(tags(sorted(t, 4, {key(2, 1, ZVK_TSORT_PACKED)}), 4), (std::vector<int>{5, 0, 1, 2, 4, 3}));
}

TEST(TableSort, ZonedOverpunchIsPositiveOnlyInZoneThree) {
    // 12 (zone 3), 12 with zone 7 (ASCII negative), 12 with zone C (EBCDIC
    // positive, negative here), 05 with a minus separate sign.
    const Bytes t = rows(5, {{'1', 0x32}, {'1', 0x72}, {'1', 0xC2}, {'0', 0x35}});
    EXPECT_EQ(tags(sorted(t, 5, {key(2, 2, ZVK_TSORT_ZONED, ZVK_TSORT_TRAILING_OVERPUNCH)}), 5),
              (std::vector<int>{1, 2, 3, 0}));
    const Bytes s = rows(5, {{'+', '1', '2'}, {'-', '0', '5'}, {'-', '0', '0'}, {'+', '0', '3'}});
    EXPECT_EQ(tags(sorted(s, 5, {key(2, 3, ZVK_TSORT_ZONED, ZVK_TSORT_LEADING_SEPARATE, false)}), 5),
              (std::vector<int>{0, 3, 2, 1}));
}

Bytes floats4(const std::vector<float>& v) {
    std::vector<Bytes> k;
    for (float f : v) {
        Bytes b(4);
        memcpy(b.data(), &f, 4);
        k.push_back(b);
    }
    return rows(6, k);
}

// A 4-byte float held in the high half of the 8-byte image keeps its sign
// bit where the order looks for it.
TEST(TableSort, NegativeFloatsOfBothWidthsOrderAndSignedZerosTie) {
    const Bytes t = floats4({1.5f, -2.0f, -0.0f, -0.5f, 0.0f, 3e20f, -3e20f});
    EXPECT_EQ(tags(sorted(t, 6, {key(2, 4, ZVK_TSORT_FLOAT)}), 6), (std::vector<int>{6, 1, 3, 2, 4, 0, 5}));
    EXPECT_EQ(tags(sorted(t, 6, {key(2, 4, ZVK_TSORT_FLOAT, 0, false)}), 6), (std::vector<int>{5, 0, 2, 4, 3, 1, 6}));
    std::vector<Bytes> d;
    for (double x : {-1.0, 2.0, -double(INFINITY), 0.25}) {
        Bytes b(8);
        memcpy(b.data(), &x, 8);
        d.push_back(b);
    }
    EXPECT_EQ(tags(sorted(rows(10, d), 10, {key(2, 8, ZVK_TSORT_FLOAT)}), 10), (std::vector<int>{2, 0, 3, 1}));
}

TEST(TableSort, BinaryExtremesOrderSignedAndUnsigned) {
    std::vector<Bytes> k;
    for (uint64_t v : {uint64_t(INT64_MIN), uint64_t(INT64_MAX), uint64_t(0), ~uint64_t(0)}) {
        Bytes b(8);
        memcpy(b.data(), &v, 8);
        k.push_back(b);
    }
    const Bytes t = rows(10, k);
    EXPECT_EQ(tags(sorted(t, 10, {key(2, 8, ZVK_TSORT_BINARY, ZVK_TSORT_SIGNED_BINARY)}), 10),
              (std::vector<int>{0, 3, 2, 1}));
    EXPECT_EQ(tags(sorted(t, 10, {key(2, 8, ZVK_TSORT_BINARY)}), 10), (std::vector<int>{2, 1, 0, 3}));
    EXPECT_EQ(tags(sorted(t, 10, {key(2, 8, ZVK_TSORT_BINARY, ZVK_TSORT_SIGNED_BINARY, false)}), 10),
              (std::vector<int>{1, 2, 3, 0}));
}

TEST(TableSort, NationalUnitsCompareInStoredByteOrder) {
    // U+0100 stored 00 01 comes before U+0041 stored 41 00.
    const Bytes t = rows(4, {{0x41, 0x00}, {0x00, 0x01}});
    EXPECT_EQ(tags(sorted(t, 4, {key(2, 2, ZVK_TSORT_NATIONAL)}), 4), (std::vector<int>{1, 0}));
}

// Equal keys are ordered by the little-endian bytes of the position: row
// 256 (low byte 0) comes before row 1, with keys or none.
TEST(TableSort, EqualKeysPast256RowsOrderByTheLowByteOfThePosition) {
    std::vector<Bytes> k(300, Bytes{'A'});
    const Bytes t = rows(3, k);
    for (const auto& keys : {std::vector<TableSortKey>{key(2, 1, ZVK_TSORT_ALPHANUMERIC)}, std::vector<TableSortKey>{}}) {
        const auto order = tags(sorted(t, 3, keys), 3);
        EXPECT_EQ(order[0], 0);
        EXPECT_EQ(order[1], 256);
        EXPECT_EQ(order[2], 1);
        EXPECT_EQ(order[3], 257);
    }
}

// The permutation mode with an element already in place at position 0
// and the rest in one long cycle: each element is moved once.
TEST(TableSort, PermutationModeAppliesCyclesAroundElementsInPlace) {
    std::vector<Bytes> k;
    k.push_back(Bytes{0});
    for (int i = 1; i < 250; ++i) k.push_back(Bytes{uint8_t(i == 249 ? 1 : i + 1)});
    const Bytes t = rows(120, k);
    std::vector<int> want{0, 249};
    for (int i = 1; i < 249; ++i) want.push_back(i);
    const Bytes got = sorted(t, 120, {key(2, 1, ZVK_TSORT_BINARY)});
    EXPECT_EQ(tags(got, 120), want);
}

// Rows of the permutation mode hold a header as copy-mode rows do, so its
// arena must have room for it; packed keys of odd lengths use all the
// padding.  Rows in an arena 8 bytes a row short run over the bitmap and
// the index behind them, and the order comes out wrong.
TEST(TableSort, PermutationModeArenaHoldsItsRows) {
    for (uint32_t n : {1u, 2u, 3u, 6u}) {
        std::vector<Bytes> k;
        for (int i = 0; i < 400; ++i) {
            Bytes b(n, 0x99);
            b[n - 1] = uint8_t((i % 10) << 4 | 0x0C);
            k.push_back(b);
        }
        const auto order = tags(sorted(rows(8, k), 8, {key(2, n, ZVK_TSORT_PACKED)}), 8);
        EXPECT_EQ(order[0] % 10, 0);
        EXPECT_EQ(order.back() % 10, 9);
    }
}

TEST(TableSort, DescendingOnTwoKeysInvertsEachIndependently) {
    const Bytes t = rows(4, {{'A', 1}, {'B', 2}, {'A', 2}, {'B', 1}});
    EXPECT_EQ(tags(sorted(t, 4, {key(2, 1, ZVK_TSORT_ALPHANUMERIC, 0, false), key(3, 1, ZVK_TSORT_BINARY)}), 4),
              (std::vector<int>{3, 1, 0, 2}));
    EXPECT_EQ(tags(sorted(t, 4, {key(2, 1, ZVK_TSORT_ALPHANUMERIC), key(3, 1, ZVK_TSORT_BINARY, 0, false)}), 4),
              (std::vector<int>{2, 0, 1, 3}));
}

// An unknown type, or a key reaching past the element, leaves the table
// as it was and writes no message (the table sort has none for it).
TEST(TableSort, UnusableKeysLeaveTheTableUntouched) {
    const Bytes t = rows(4, {{'B'}, {'A'}, {'C'}});
    testing::internal::CaptureStderr();
    EXPECT_EQ(sorted(t, 4, {key(2, 1, 7)}), t);
    EXPECT_EQ(sorted(t, 4, {key(2, 1, ZVK_TSORT_ALPHANUMERIC), key(3, 2, ZVK_TSORT_ALPHANUMERIC)}), t);
    EXPECT_EQ(sorted(t, 4, {key(2, 3, ZVK_TSORT_FLOAT)}), t);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    // A single element, or elements of no length, return at once.
    Bytes one{'Z'};
    _zvkcTSort(0, one.data(), 1, 1, nullptr, 0);
    _zvkcTSort(0, nullptr, 0, 100, nullptr, 0);
    EXPECT_EQ(one, Bytes{'Z'});
}

// A size beyond the signed 32-bit range is refused with 907 before the
// table is read; when the message returns (here: no process record, so
// no run unit to end) the routine returns and the table is as it was.
TEST(TableSort, RefusedStorageWrites907AndLeavesTheTable) {
    Bytes t = rows(4, {{'B'}, {'A'}});
    const Bytes before = t;
    TableSortKey k = key(2, 1, ZVK_TSORT_ALPHANUMERIC);
    Proccom* saved = _zvkProccom;
    _zvkProccom = nullptr;
    testing::internal::CaptureStderr();
    _zvkcTSort(0, t.data(), 4000, 1 << 28, nullptr, 1, &k);
    const std::string err = testing::internal::GetCapturedStderr();
    _zvkProccom = saved;
    EXPECT_NE(err.find("907"), std::string::npos) << err;
    EXPECT_EQ(t, before);
}

TEST(TableSortDeath, RefusedStorageEndsTheRunUnit) {
    EXPECT_DEATH(
        {
            uint8_t t[8] = {};
            TableSortKey k = key(0, 1, ZVK_TSORT_ALPHANUMERIC);
            _zvkcTSort(0, t, 4000, 1 << 28, nullptr, 1, &k);
        },
        "ZVK907");
}

}  // namespace
