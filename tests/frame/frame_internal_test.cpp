// Internal routines of the frame: option parsing, wrapping, the
// per-thread area.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "frame/messages.h"
#include "frame/options.h"
#include "frame/threads.h"

extern "C" size_t zvkOptionKeywordCount(void);
extern "C" const char* zvkOptionKeyword(size_t i);

namespace {

struct Parsed {
    uint32_t program, runtime, errCount;
    std::string upsi, fs, messages;
};

Parsed parse(const char* cobrtopt) {
    if (cobrtopt)
        setenv("COBRTOPT", cobrtopt, 1);
    else
        unsetenv("COBRTOPT");
    Proccom* pc = _zvkProccom;
    pc->runtimeOptions = 0;
    memset(pc->fileSystem, 0, sizeof pc->fileSystem);
    testing::internal::CaptureStderr();
    zvkParseOptions();
    Parsed p;
    p.messages = testing::internal::GetCapturedStderr();
    p.program = pc->programOptions;
    p.runtime = pc->runtimeOptions;
    p.errCount = pc->errCount;
    p.upsi.assign(pc->upsi, 8);
    p.fs.assign(pc->fileSystem, strnlen(pc->fileSystem, 3));
    return p;
}

std::string wrap(std::string text, int width, size_t capacity = 4096) {
    std::string buf = text;
    buf.resize(capacity);
    size_t n = zvkWrapLines(buf.data(), text.size(), capacity, width);
    return buf.substr(0, n);
}

}  // namespace

TEST(Options, KeywordTableIsInStrcmpOrder) {
    ASSERT_EQ(zvkOptionKeywordCount(), 55u);
    for (size_t i = 1; i < zvkOptionKeywordCount(); ++i)
        EXPECT_LT(strcmp(zvkOptionKeyword(i - 1), zvkOptionKeyword(i)), 0) << zvkOptionKeyword(i);
}

TEST(Options, EveryKeywordIsAccepted) {
    for (size_t i = 0; i < zvkOptionKeywordCount(); ++i) {
        std::string k = zvkOptionKeyword(i);
        Parsed p = parse(k.c_str());
        EXPECT_EQ(p.messages, "") << k;
        // the spellings with "(" and lower case are the same option
        auto eq = k.find('=');
        if (eq != std::string::npos) {
            std::string alt = k.substr(0, eq) + "(" + k.substr(eq + 1) + ")";
            for (auto& c : alt) c = static_cast<char>(tolower(c));
            Parsed q = parse(alt.c_str());
            EXPECT_EQ(q.messages, "") << alt;
            EXPECT_EQ(q.runtime, p.runtime) << alt;
            EXPECT_EQ(q.program, p.program) << alt;
            EXPECT_EQ(q.fs, p.fs) << alt;
        }
        // blanks, tabs and newlines are dropped wherever they stand
        std::string spaced;
        for (char c : k) {
            spaced += c;
            spaced += " \t";
        }
        Parsed b = parse(("\n" + spaced + ",").c_str());
        EXPECT_EQ(b.messages, "") << spaced;
        EXPECT_EQ(b.runtime, p.runtime) << spaced;
        EXPECT_EQ(b.program, p.program) << spaced;
    }
}

// What each row does, by its own table: a row of the wrong kind, field or
// value shows here even where the table is sorted.
TEST(Options, EachKeywordHasItsEffect) {
    struct Row {
        const char* keyword;
        uint32_t program, runtime;
        const char* fs;
    } rows[] = {
        {"ACCEPT", 0x0A000000u, 0xD0000000u, ""},     {"ACCEPT=OLD", 0x0A000000u, 0xC0000000u, ""},
        {"CHECK=OFF", 0x02000000u, 0xC0000000u, ""},  {"CHECK=ON", 0x0A000000u, 0xC0000000u, ""},
        {"DEBUG=OFF", 0x08000000u, 0xC0000000u, ""},  {"NODEBUG", 0x08000000u, 0xC0000000u, ""},
        {"FILEMODE=LARGE", 0x0A000000u, 0xC0000000u, ""}, {"FM=S", 0x0A000000u, 0xC0000000u, ""},
        {"FILESYS", 0x0A000000u, 0xC0000000u, ""},    {"FS=RQL", 0x0A000000u, 0xC0000000u, "rql"},
        {"FILESYS=LSQ", 0x0A000000u, 0xC0000000u, "lsq"}, {"FS=PSX", 0x0A000000u, 0xC0000000u, "psx"},
        {"FILESYS=WBRN", 0x0A000000u, 0xC0000000u, "wbr"}, {"FS=RSD", 0x0A000000u, 0xC0000000u, "rsd"},
        {"FILESYS=JGT", 0x0A000000u, 0xC0000000u, "jgt"}, {"FS=HDK", 0x0A000000u, 0xC0000000u, "hdk"},
        {"FILESYS=STL", 0x0A000000u, 0xC0000000u, "stl"}, {"FS=PLX", 0x0A000000u, 0xC0000000u, "plx"},
        {"TRAP=NEW", 0x0A000000u, 0xC0000000u, ""},   {"TRAP=OLD", 0x0A000000u, 0x80000000u, ""},
        {"TRAP=DUMP", 0x0A000000u, 0xE0000000u, ""},  {"TRAP=OFF", 0x0A000000u, 0x00000000u, ""},
    };
    for (const Row& r : rows) {
        Parsed p = parse(r.keyword);
        EXPECT_EQ(p.program, r.program) << r.keyword;
        EXPECT_EQ(p.runtime, r.runtime) << r.keyword;
        EXPECT_EQ(p.fs, r.fs) << r.keyword;
    }
}

TEST(Options, BadSpellingsAreReportedAndIgnored) {
    EXPECT_EQ(parse("TRAPX").messages, "ZVK171W  Runtime option TRAPX is not known and is ignored.\n\n");
    EXPECT_EQ(parse("CHECK=MAYBE").messages,
              "ZVK172W  Value MAYBE is not allowed for runtime option CHECK; the option is ignored.\n\n");
    EXPECT_EQ(parse("TRAP((ON))").messages,
              "ZVK172W  Value =ON is not allowed for runtime option TRAP; the option is ignored.\n\n");
    Parsed p = parse("NOCHECK,FS=XYZ,TRAP=OLD");
    EXPECT_EQ(p.program, 0x02000000u);   // the options around a bad one still count
    EXPECT_EQ(p.runtime, 0x80000000u);
    EXPECT_EQ(p.fs, "");
}

TEST(Options, Defaults) {
    Parsed p = parse(nullptr);
    EXPECT_EQ(p.program, 0x0A000000u);
    EXPECT_EQ(p.runtime, 0xC0000000u);   // TRAP is on unless turned off
    EXPECT_EQ(p.upsi, "00000000");
    EXPECT_EQ(p.errCount, 0u);
    EXPECT_EQ(parse("").runtime, 0xC0000000u);
    EXPECT_EQ(parse(",,,").messages, "");
}

TEST(Options, TrapForms) {
    EXPECT_EQ(parse("TRAP=OFF").runtime, 0u);
    EXPECT_EQ(parse("TRAP=OLD,TRAP").runtime, 0xC0000000u);
    EXPECT_EQ(parse("TRAP=DUMP").runtime, 0xE0000000u);
    EXPECT_EQ(parse("TRAP=DUMP,TRAP=OFF").runtime, 0x60000000u);
    EXPECT_EQ(parse(" trap = old ").runtime, 0x80000000u);
    EXPECT_EQ(parse("ACCEPT").runtime, 0xD0000000u);
}

TEST(Options, ProgramBitsAndFileSystems) {
    EXPECT_EQ(parse("NOCHECK").program, 0x02000000u);
    EXPECT_EQ(parse("NOCHECK,NODEBUG").program, 0u);
    EXPECT_EQ(parse("fs=nat").fs, "lsq");
    EXPECT_EQ(parse("FILESYS(RAW)").fs, "wbr");
    EXPECT_EQ(parse("FS=PLXD").fs, "plx");
}

TEST(Options, Parameters) {
    EXPECT_EQ(parse("upsi(10000001)").upsi, "10000001");
    EXPECT_EQ(parse("UPSI").upsi, "00000000");
    EXPECT_EQ(parse("UPSI=").upsi, std::string(8, '\0'));
    Parsed p = parse("UPSI=1");
    EXPECT_EQ(p.upsi, "00000000");
    EXPECT_EQ(p.messages,
              "ZVK173W  Value 1 of runtime option UPSI does not have 8 characters of \"01\"; the default is used.\n\n");
    p = parse("UPSI=0000000X");
    EXPECT_EQ(p.messages, "ZVK174W  Value 0000000X of runtime option UPSI has characters that are not allowed; the "
                          "default is used.\n\n");
    EXPECT_EQ(parse("ERRCOUNT=7").errCount, 7u);
    EXPECT_EQ(parse("ERRCOUNT=4294967297").errCount, 1u);
    p = parse("ERRCOUNT=-1");
    EXPECT_EQ(p.errCount, 0u);
    EXPECT_EQ(p.messages, "ZVK181W  Value -1 of runtime option ERRCOUNT is not a number of 0 or more; the default is "
                          "used.\n\n");
    p = parse("ERRCOUNT=99999999999999999999");
    EXPECT_EQ(p.messages, "ZVK182W  Value 99999999999999999999 of runtime option ERRCOUNT is out of the range 0 to "
                          "9223372036854775807; the default is used.\n\n");
    EXPECT_EQ(parse("FILESYS=ABC").messages,
              "ZVK172W  Value ABC is not allowed for runtime option FILESYS; the option is ignored.\n\n");
    EXPECT_EQ(parse("FOO=1").messages, "ZVK171W  Runtime option FOO is not known and is ignored.\n\n");
}

TEST(Wrap, LineOfExactlyTheWidthStays) {
    std::string line(79, 'x');
    line = "ZVK171W  " + line.substr(9) + "y\n";
    ASSERT_EQ(line.size(), 81u);
    EXPECT_EQ(wrap(line, 80), line);
}

TEST(Wrap, BreaksAtBlankAndAtEquals) {
    // blank at the width itself: break there, the blank is dropped
    std::string a = std::string(20, 'a') + " " + std::string(10, 'b') + "\n";
    EXPECT_EQ(wrap(a, 20), std::string(20, 'a') + "\n         " + std::string(10, 'b') + "\n");
    // "=" stays on the first line
    std::string b = std::string(19, 'a') + "=" + std::string(10, 'b') + "\n";
    EXPECT_EQ(wrap(b, 25), std::string(19, 'a') + "=\n          " + std::string(10, 'b') + "\n");
    // two blanks dropped at the break: eight blanks of indent
    std::string c = std::string(20, 'a') + "  " + std::string(10, 'b') + "\n";
    EXPECT_EQ(wrap(c, 20), std::string(20, 'a') + "\n        " + std::string(10, 'b') + "\n");
    // the break is at the nearest blank; a blank before it stays
    std::string d = std::string(18, 'a') + "  " + std::string(10, 'b') + "\n";
    EXPECT_EQ(wrap(d, 24), std::string(18, 'a') + " \n         " + std::string(10, 'b') + "\n");
}

TEST(Wrap, HardBreakWhenNoBlankAfterColumn18) {
    std::string a = "ab " + std::string(40, 'x') + "\n";
    // each continuation is indented by ten, so it holds eight more
    EXPECT_EQ(wrap(a, 20), "ab " + std::string(15, 'x') + "\n          " + std::string(8, 'x') + "\n          " +
                               std::string(8, 'x') + "\n          " + std::string(9, 'x') + "\n");
}

TEST(Wrap, NoRoomLeavesTheLine) {
    std::string a = std::string(30, 'a') + " " + std::string(30, 'b') + "\n";
    EXPECT_EQ(wrap(a, 40, a.size() + 3), a);
}

TEST(ThreadScratch, RecordAndGrowth) {
    EXPECT_EQ(zvkThreadScratch(-1), nullptr);   // never allocates
    auto* rec = static_cast<ThreadRecord*>(zvkThreadScratch(0));
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(zvkThreadScratch(-1), rec);
    EXPECT_EQ(rec->threadId, static_cast<uint64_t>(pthread_self()));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(rec) % 16, 0u);
    void* s = zvkThreadScratch(10);
    EXPECT_EQ(rec->scratchSize, 16u);
    EXPECT_EQ(zvkThreadScratch(16), s);
    void* t = zvkThreadScratch(100);
    EXPECT_EQ(rec->scratchSize, 112u);
    EXPECT_NE(t, nullptr);
    // another thread has a record of its own
    void* other = nullptr;
    pthread_t th;
    pthread_create(
        &th, nullptr, [](void* out) -> void* {
            *static_cast<void**>(out) = zvkThreadScratch(0);
            return nullptr;
        },
        &other);
    pthread_join(th, nullptr);
    EXPECT_NE(other, nullptr);
    EXPECT_NE(other, rec);
}
