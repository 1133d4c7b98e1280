// The table sort called as compiled code calls it: byte images of tables
// and key records, keys passed as varargs.  Random tables are checked
// against an independent value model (model.py); the cases below pin the
// decisions a value model does not show.  The model's cases reach every
// key type and sign form both ways, ties past 256 rows and both modes.
#include <gtest/gtest.h>

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
