// One call of each exported name that no other test reaches, made as
// compiled code makes it (items as their bytes, records at their offsets)
// through the shared library, each result checked.  The routines that act
// on the whole process (the program cache, CANCEL's reset, the signal
// routine) run in scenario programs of their own.

#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>
#include <link.h>
#include <locale.h>
#include <stdint.h>
#include <string.h>

#include <functional>
#include <map>
#include <string>

#include "kvr2/kvr2.h"
#include "scenario.h"

namespace {

std::string hexOf(const void* p, size_t n) {
    std::string s;
    char b[3];
    for (size_t i = 0; i < n; ++i) {
        snprintf(b, sizeof b, "%02X", static_cast<const uint8_t*>(p)[i]);
        s += b;
    }
    return s;
}

// A call that stores an item of n bytes, which starts as 0xEE; the bytes
// after it must stay so.  Its result: the item in hex.
std::function<std::string()> into(size_t n, void (*call)(uint8_t*)) {
    return [n, call] {
        uint8_t buf[32];
        memset(buf, 0xEE, sizeof buf);
        call(buf);
        for (size_t i = n; i < sizeof buf; ++i)
            if (buf[i] != 0xEE) return std::string("stored past the item");
        return hexOf(buf, n);
    };
}

std::string text(const std::string& s) { return s; }

// The scenario's "name=result" lines, and its stderr between the markers
// "[name]" and the next one.
struct Scenario {
    std::map<std::string, std::string> out, err;
    explicit Scenario(const std::string& what) {
        scenario::Options o;
        o.env["COBPATH"] = scenario::binDir() + "/exports-cobpath";
        o.env["COBOL_CPM_CACHE"] = std::nullopt;
        scenario::Result r = scenario::run(scenario::binDir() + "/export_scenarios", {what}, o);
        EXPECT_EQ(r.exitCode, 0) << r.err;
        out = scenario::values(r.out);
        std::string name;
        for (const std::string& line : scenario::lines(r.err)) {
            if (line.size() > 2 && line.front() == '[' && line.back() == ']')
                name = line.substr(1, line.size() - 2);
            else if (!name.empty())
                err[name] += line + "\n";
        }
    }
};

struct Call {
    const char* name;
    std::function<std::string()> result;
    std::string expected;   // "~" first: the result need only contain the rest
};

TEST(DirectCalls, EveryExportNoOtherTestReaches) {
    const uint8_t packed255[] = {0x25, 0x5C}, packedMax4[] = {0x04, 0x29, 0x49, 0x67, 0x29, 0x5C};
    const char* zonedMax8 = "18446744073709551615";
    Scenario cache("cache"), reset("closereset"), sig("signal");
    const Call calls[] = {
        // Binary to decimal and back, each width at its extreme value;
        // digits beyond the item are dropped, the sign stays.
        {"_zvkcBCD_CONV_Uns1_To_Pckd", into(2, [](uint8_t* d) { _zvkcBCD_CONV_Uns1_To_Pckd(255, d, 3); }), "255C"},
        {"_zvkcBCD_CONV_Uns2_To_Pckd", into(3, [](uint8_t* d) { _zvkcBCD_CONV_Uns2_To_Pckd(65535, d, 5); }), "65535C"},
        {"_zvkcBCD_CONV_Uns4_To_Pckd",
         into(6, [](uint8_t* d) { _zvkcBCD_CONV_Uns4_To_Pckd(UINT32_MAX, d, 10); }), "04294967295C"},
        {"_zvkcBCD_CONV_Int2_To_Pckd", into(2, [](uint8_t* d) { _zvkcBCD_CONV_Int2_To_Pckd(-32768, d, 3); }), "768D"},
        {"_zvkcBCD_CONV_Int4_To_Znd",
         into(10, [](uint8_t* d) { _zvkcBCD_CONV_Int4_To_Znd(INT32_MIN, d, 10); }), "32313437343833363478"},
        {"_zvkcBCD_CONV_UInt4_To_Znd",
         into(4, [](uint8_t* d) { _zvkcBCD_CONV_UInt4_To_Znd(UINT32_MAX, d, 4); }), "37323935"},
        {"_zvkcBCD_CONV_UInt8_To_Znd",
         into(20, [](uint8_t* d) { _zvkcBCD_CONV_UInt8_To_Znd(UINT64_MAX, d, 20); }), hexOf(zonedMax8, 20)},
        {"_zvkcBCD_CONV_Pckd_To_Uns1", [&] { return std::to_string(_zvkcBCD_CONV_Pckd_To_Uns1(packed255, 3)); }, "255"},
        {"_zvkcBCD_CONV_Pckd_To_Uns4",
         [&] { return std::to_string(_zvkcBCD_CONV_Pckd_To_Uns4(packedMax4, 10)); }, "4294967295"},
        {"_zvkcBCD_CONV_Znd_To_UInt8",
         [&] { return std::to_string(_zvkcBCD_CONV_Znd_To_UInt8(zonedMax8, 20)); }, zonedMax8},
        // -17 (trailing overpunch "1w") remainder 5 is -2, with the dividend's sign.
        {"_zvkcBCD_MOD_Znd", into(2, [](uint8_t* d) { _zvkcBCD_MOD_Znd("1w", "5", d, 2, 1, 2); }), "3072"},
        // Case conversion under the C locale, in place as well.
        {"_zvkToLower", [] {
             uint8_t s[] = "MiXed 9";
             _zvkToLower(7, s, s);
             return text(reinterpret_cast<char*>(s));
         }, "mixed 9"},
        // The longest character of the thread's locale.
        {"_zvkGetMBCurMax", [] {
             const std::string before = setlocale(LC_CTYPE, nullptr);
             setlocale(LC_CTYPE, "C");
             std::string r = std::to_string(_zvkGetMBCurMax());
             if (setlocale(LC_CTYPE, "C.UTF-8")) {
                 r += ' ';
                 r += std::to_string(_zvkGetMBCurMax());
             }
             setlocale(LC_CTYPE, before.c_str());
             return r;
         }, "1 6"},
        // The memory routines: the C library's result; the tracing form
        // says what it does on stderr.
        {"dbg_memcpy", [] {
             char d[4] = "...";
             testing::internal::CaptureStderr();
             void* r = dbg_memcpy(d, "AB", 2);
             std::string err = testing::internal::GetCapturedStderr();
             return text(d) + (r == d ? " same" : " other") + (err.find(", 2\n") != std::string::npos ? " traced" : "");
         }, "AB. same traced"},
        {"c__memcmp", [] {
             std::string r = std::to_string(c__memcmp("AB", "AC", 2) < 0);
             r += std::to_string(c__memcmp("AB", "AB", 2));
             return r;
         }, "10"},
        {"c__memset", [] {
             char d[5] = "....";
             void* r = c__memset(d + 1, '*', 2);
             return text(d) + (r == d + 1 ? " same" : " other");
         }, ".**. same"},
        // The data area compiled code shares: 168 bytes, aligned, zero at load.
        {"_Dmr_rut", [] {
             Dl_info info;
             ElfW(Sym)* sym = nullptr;
             if (!dladdr1(_Dmr_rut, &info, reinterpret_cast<void**>(&sym), RTLD_DL_SYMENT) || !sym) return text("?");
             bool zero = true;
             for (uint8_t b : _Dmr_rut) zero &= b == 0;
             return std::to_string(sym->st_size) + (reinterpret_cast<uintptr_t>(_Dmr_rut) % 16 ? "" : " aligned") +
                    (zero ? " zero" : "");
         }, "168 aligned zero"},
        // The program cache, a program loaded by CALL kept in it between
        // run units and unloaded by each control.
        {"ZVK_CPM_ENABLE",
         [&] { return cache.out["ZVK_CPM_ENABLE"] + " " + cache.out["cached.call"]; }, "cache=1 env=1 7 loaded=1"},
        {"_zvk_cpm_stats",
         [&] { return cache.err["_zvk_cpm_stats"]; }, "~COBOL is Inactive\nExternal Programs - Cache\n"},
        {"_zvk_cpm_print", [&] { return cache.err["_zvk_cpm_print"]; }, "~contents:\nEntries: 1\n"},
        {"_zvk_cpm_unload", [&] { return cache.out["unload.call"] + " " + cache.out["_zvk_cpm_unload"]; },
         "7 loaded=1 0 1 loaded=0"},
        {"ZVK_CPM_UNLOAD_ALL", [&] { return cache.out["UNLOAD_ALL.call"] + " " + cache.out["ZVK_CPM_UNLOAD_ALL"]; },
         "7 loaded=1 loaded=0"},
        {"_zvk_cpm_unload_all", [&] { return cache.out["unload_all.call"] + " " + cache.out["_zvk_cpm_unload_all"]; },
         "7 loaded=1 loaded=0"},
        {"_zvk_cpm_destroy", [&] { return cache.out["destroy.call"] + " " + cache.out["_zvk_cpm_destroy"]; },
         "7 loaded=1 loaded=0"},
        {"ZVK_CPM_DISABLE",
         [&] { return cache.out["ZVK_CPM_DISABLE"] + " " + cache.out["uncached.call"]; }, "cache=0 env=0 7 loaded=0"},
        {"_zvk_cpm_disable", [&] { return cache.out["_zvk_cpm_disable"] + " " + cache.out["uncached2.call"]; },
         "cache=0 env=0 7 loaded=0"},
        {"_zvkCloseReset", [&] { return reset.out["_zvkCloseReset"]; }, "ent 0 0 status 123 123 flag 1 lle 0"},
        {"_zvkSignal", [&] { return sig.out["_zvkSignal"] + "\n" + sig.err["_zvkSignal"]; },
         "~goes on\n\n  Signal received: 10 (User defined signal 1)\n"},
    };
    for (const Call& c : calls) {
        const std::string got = c.result();
        if (!c.expected.empty() && c.expected[0] == '~')
            EXPECT_NE(got.find(c.expected.substr(1)), std::string::npos) << c.name << ": " << got;
        else
            EXPECT_EQ(got, c.expected) << c.name;
    }
}

}  // namespace
