// Scenario programs for the code-page layer, each run in a process of its
// own by chardata_test: the code pages are chosen once per process, from
// the locale and EBCDIC_CODEPAGE of that process.

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "cobol.h"

namespace {

void hex(const char* what, const uint8_t* p, size_t n) {
    printf("%s=", what);
    for (size_t i = 0; i < n; ++i) printf("%02X", p[i]);
    printf("\n");
}

int locale() {
    _zvkcSetCodePages();
    char name[64], ebcdic[16];
    _zvkGetLocaleCP(name, ebcdic);
    printf("locale=%s\nebcdic=%s\nrow=%d\n", name, ebcdic, _zvkProccom->codePageRow);
    return 0;
}

// All 256 byte values native -> EBCDIC -> native, in one call and one by
// one, through each of the entry points that convert.
int table() {
    uint8_t all[256], out[256], one[256], back[256];
    for (int i = 0; i < 256; ++i) all[i] = static_cast<uint8_t>(i);
    uint32_t left = sizeof out;
    int32_t rc = _zvkUniAtoE(all, 256, out, &left);
    printf("atoe.rc=%d left=%u\n", rc, left);
    hex("atoe", out, 256);
    left = sizeof out;
    _zvkUniEtoA(all, 256, out, &left);
    hex("etoa", out, 256);
    for (int i = 0; i < 256; ++i) {
        int32_t cap = 1, capBack = 1;
        one[i] = back[i] = 0xEE;
        _zvkConvToEBCDIC(&all[i], 1, &one[i], &cap);
        _zvkConvToASCII(&all[i], 1, &back[i], &capBack);
        if (cap != 1 || capBack != 1) printf("cap[%d]=%d %d\n", i, cap, capBack);
    }
    hex("toebcdic1", one, 256);
    hex("toascii1", back, 256);
    int32_t cap = 256;
    _zvkConvToEBCDIC(all, 256, out, &cap);
    hex("toebcdic", out, 256);
    cap = 256;
    _zvkConvToASCII(all, 256, out, &cap);
    hex("toascii", out, 256);
    // The translate tables of an alphabet record.
    alignas(16) uint8_t record[96] = {};
    _zvkcEBCDIC(record);
    const uint8_t* t1 = cobol::get<const uint8_t*>(record, 80);
    const uint8_t* t2 = cobol::get<const uint8_t*>(record, 88);
    printf("tables.distinct=%d\n", t1 != t2);
    hex("table80", t1, 256);
    hex("table88", t2, 256);
    return 0;
}

// Conversions through named code pages, and their failures.
int named() {
    uint8_t text[] = {'A', 'b', 0xE9}, e[8] = {};
    uint16_t u[8] = {};
    uint32_t cap = sizeof u;
    int32_t rc = _zvkConvToUnicode(text, 3, u, &cap, "TQX-819", 7);
    printf("tounicode.rc=%d cap=%u u=%04X %04X %04X\n", rc, cap, u[0], u[1], u[2]);
    cap = sizeof e;
    rc = _zvkConvFromUnicode(u, 6, e, &cap, "TQX-037", 7);
    printf("fromunicode.rc=%d cap=%u e=%02X %02X %02X\n", rc, cap, e[0], e[1], e[2]);
    // The cached pages: native (0) and EBCDIC (-1).
    cap = sizeof u;
    rc = _zvkConvToUnicode(text, 3, u, &cap, nullptr, 0);
    printf("native.rc=%d cap=%u u=%04X\n", rc, cap, u[2]);
    cap = sizeof e;
    rc = _zvkConvFromUnicode(u, 6, e, &cap, nullptr, -1);
    printf("ebcdic.rc=%d cap=%u e=%02X %02X %02X\n", rc, cap, e[0], e[1], e[2]);
    // Too small a destination for UTF-16: an informational message, the
    // part that fits, and the overflow status.
    uint16_t small[2];
    cap = sizeof small;
    rc = _zvkConvToUnicode(text, 3, small, &cap, nullptr, 0);
    printf("overflow.rc=%d cap=%u\n", rc, cap);
    fflush(stdout);
    // Unknown code page: message 221, and its status back.
    cap = sizeof u;
    printf("unknown.rc=%d\n", _zvkConvToUnicode(text, 3, u, &cap, "NOSUCHPAGE", 10));
    fflush(stdout);
    printf("validate=%d %d %d %d\n", _zvkValidateCPID("TQX-1140", 8), _zvkValidateCPID("tqx-037", 7),
           _zvkValidateCPID("NOPE", 4), _zvkValidateCPID("TQX-1140XXXXXXXXXXXXXXXXXXXXXXXXXX", 34));
    for (const char* page : {"TQX-1140", "UTF-8", "NOPE"}) {
        uint32_t id = 0;
        int r = _zvkGetCCSID(page, &id);
        printf("ccsid.%s=%d %u\n", page, r, id);
    }
    printf("maxchar=%d %d %d\n", _zvkGetMaxCharSize("TQX-1140"), _zvkGetMaxCharSize("UTF-8"),
           _zvkGetMaxCharSize("NOPE"));
    // A destination shorter than the text: the capacity's worth, success.
    uint8_t full[3] = {0, 0, 0};
    uint32_t left = 2;
    rc = _zvkUniAtoE(text, 3, full, &left);
    printf("short.rc=%d left=%u e=%02X %02X %02X\n", rc, left, full[0], full[1], full[2]);
    // To native with blanks after the text, or (negative capacity) in front.
    const uint8_t ebc[] = {0xC1, 0xC2};
    uint8_t pad[6];
    for (int32_t width : {6, -6}) {
        int32_t pcap = width;
        rc = _zvkConvToASCII(ebc, 2, pad, &pcap);
        printf("pad%d.rc=%d cap=%d [%.6s]\n", width, rc, pcap, pad);
    }
    return 0;
}

// Mixed and pure DBCS through a DBCS EBCDIC page (native UTF-8).
int dbcs() {
    const uint8_t nihon[] = {0xE6, 0x97, 0xA5, 0xE6, 0x9C, 0xAC}, so = 0x0E;
    uint8_t out[16];
    // Mixed (negative capacity), pure DBCS (negative length), a mixed
    // result cut inside the DBCS part (closed again), one shift byte.
    struct {
        const char* name;
        const uint8_t* text;
        int32_t length, capacity;
    } cases[] = {{"mixed", nihon, 6, -16}, {"pure", nihon, -6, 16}, {"cut", nihon, 6, -4}, {"shift", &so, 1, 4}};
    for (auto& c : cases) {
        int32_t cap = c.capacity;
        _zvkConvToEBCDIC(c.text, c.length, out, &cap);
        hex(c.name, out, static_cast<size_t>(cap));
    }
    // Back to native: bare DBCS gets its shift codes; an unbalanced one is
    // repaired.
    const uint8_t bare[] = {0x45, 0x62, 0x45, 0x66}, open[] = {0x0E, 0x45, 0x62, 0x0E, 0x45, 0x66};
    uint8_t text[16];
    int32_t cap = 16;
    int32_t rc = _zvkConvToASCII(bare, -4, text, &cap);
    printf("bare.rc=%d cap=%d\n", rc, cap);
    hex("bare", text, 6);
    cap = 16;
    rc = _zvkConvToASCII(open, -6, text, &cap);
    printf("open.rc=%d cap=%d\n", rc, cap);
    hex("open", text, 6);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::string s = argc > 1 ? argv[1] : "";
    if (s == "locale") return locale();
    if (s == "table") return table();
    if (s == "named") return named();
    if (s == "dbcs") return dbcs();
    fprintf(stderr, "unknown scenario %s\n", s.c_str());
    return 2;
}
