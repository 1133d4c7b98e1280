// Scenario programs for the console verbs, each run in a process of its own
// by console_test (the device streams are bound once per process, from its
// environment).  DISPLAY requests and items are laid out byte by byte at the
// compiler's offsets, not through the library's structs.

#include <math.h>
#include <quadmath.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "cobol.h"

namespace {

// Compiler offsets: request (count, device, options, point); items of 32
// bytes (address, size, width, kind).
struct Statement {
    alignas(16) uint8_t request[8] = {};
    std::vector<uint8_t> items;
    explicit Statement(uint8_t device = 1, uint8_t options = 0, uint8_t point = '.') {
        request[4] = device;
        request[5] = options;
        request[6] = point;
    }
    Statement& item(const void* address, uint64_t size, uint64_t width, uint32_t kind) {
        size_t at = items.size();
        items.resize(at + 32, 0);
        cobol::put<const void*>(items.data(), at, address);
        cobol::put<uint64_t>(items.data(), at + 8, size);
        cobol::put<uint64_t>(items.data(), at + 16, width);
        cobol::put<uint32_t>(items.data(), at + 24, kind);
        return *this;
    }
    uint64_t width(int i) const { return cobol::get<uint64_t>(items.data(), size_t(i) * 32 + 16); }
    void run() {
        int32_t n = static_cast<int32_t>(items.size() / 32);
        memcpy(request, &n, 4);
        _zvkcDisplay(reinterpret_cast<const DisplayRequest*>(request),
                     items.empty() ? nullptr : reinterpret_cast<DisplayItem*>(items.data()));
    }
};

void text(const char* s, uint8_t device = 1) { Statement(device).item(s, strlen(s), 0, 2).run(); }

template <class T>
void binary(T v, uint64_t width, bool isSigned, uint64_t size = sizeof(T)) {
    Statement s;
    s.item(&v, size, width, isSigned ? 3 : 7).run();
}

void kinds() {
    // Character data: alphanumeric, zoned (trailing overpunched sign),
    // packed bytes and national, all shown as they stand.
    text("HELLO, WORLD");
    const uint8_t zoned[] = {'0', '0', '1', '2', 0x73};
    Statement().item(zoned, sizeof zoned, 0, 2).run();
    const uint8_t packed[] = {0x12, 0x34, 0x5C};
    Statement().item(packed, sizeof packed, 0, 2).run();
    const uint8_t national[] = {'N', 0, 'A', 0};
    Statement().item(national, sizeof national, 0, 4).run();

    // Binary of every width, signed and unsigned.
    binary<int8_t>(-5, 3, true);
    binary<uint8_t>(250, 3, false);
    binary<int16_t>(-1234, 4, true);
    binary<uint16_t>(65535, 5, false);
    // A 3-byte item holds -2 (FF FF FE); the byte after it is not part of it.
    const uint8_t three[] = {0xFE, 0xFF, 0xFF, 0x7F};
    Statement().item(three, 3, 7, 3).run();
    Statement().item(three, 3, 8, 7).run();
    binary<int32_t>(123456789, 9, true);
    binary<uint32_t>(4000000000u, 10, false);
    const uint8_t five[] = {0x01, 0x00, 0x00, 0x00, 0x80, 0x55, 0x55, 0x55};
    Statement().item(five, 5, 13, 3).run();   // -0x7FFFFFFFFF
    Statement().item(five, 5, 13, 7).run();
    const uint8_t six[] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01, 0x01};
    Statement().item(six, 6, 3, 3).run();   // -1
    const uint8_t seven[] = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x99};
    Statement().item(seven, 7, 17, 7).run();   // 2^48
    binary<int64_t>(INT64_MIN, 19, true);
    binary<uint64_t>(UINT64_MAX, 20, false);
    binary<int32_t>(12345, 3, true);    // high-order digits lost
    binary<int32_t>(-5, 4, true);       // "-0005"
    binary<int32_t>(12, 4, true);       // no sign position

    // Floating point.
    float f = 1.5f;
    Statement().item(&f, 4, 4, 1).run();
    double d = 0.15;
    Statement().item(&d, 8, 4, 1).run();
    d = 0.015;
    Statement().item(&d, 8, 4, 1).run();
    d = -123.456;
    Statement('\1', 0, ',').item(&d, 8, 6, 1).run();
    d = 1e100;
    Statement().item(&d, 8, 3, 1).run();
    d = 0;
    Statement().item(&d, 8, 4, 1).run();
    __float128 q = 2.5;
    Statement().item(&q, 16, 5, 1).run();
    d = -INFINITY;
    Statement().item(&d, 8, 4, 1).run();
    f = NAN;
    Statement().item(&f, 4, 4, 1).run();

    // Several items in one statement, a null one among them; and the
    // widths the call wrote back.
    int16_t h = 42;
    Statement s;
    s.item("A=", 2, 0, 2).item(nullptr, 9, 9, 3).item(&h, 2, 3, 3).item(&d, 8, 4, 1);
    s.run();
    printf("widths=%lu %lu %lu %lu\n", s.width(0), s.width(1), s.width(2), s.width(3));

    // No advancing, then the line ends with an empty statement.
    Statement(1, 1).item("NO-ADV ", 7, 0, 2).run();
    Statement(1, 1).run();   // nothing at all
    Statement().item("END", 3, 0, 2).run();
    Statement().run();   // only the line end
}

void capture() {
    static char buf[64];
    _zvkDebugBuf = buf;
    int32_t v = -77;
    Statement().item(&v, 4, 4, 3).item("LATER", 5, 0, 2).run();
    _zvkDebugBuf = nullptr;
    printf("captured=[%.*s] len=%u\n", static_cast<int>(_zvkDebugBufLen), buf, _zvkDebugBufLen);
}

void devices() {
    text("TO SYSOUT", 1);
    text("TO CONSOLE", 2);
    text("TO SYSPUNCH", 3);
    fflush(nullptr);
}

void invalid() {
    static const uint8_t bad[8] = {};
    Statement().item("AB", 2, 0, 2).item(bad, 4, 4, 6).item("CD", 2, 0, 2).run();
    fflush(stdout);
    Statement().item(bad, 9, 4, 3).run();
    fflush(stdout);
    Statement().item(bad, 5, 4, 1).run();
    fflush(stdout);
    Statement(9).item("XY", 2, 0, 2).run();
    text("GOES ON");
}

void acceptField(int length, int times, uint32_t flags) {
    for (int i = 0; i < times; ++i) {
        std::string field(static_cast<size_t>(length), '*');   // never a null data()
        _zvkcAccept(flags, length, reinterpret_cast<uint8_t*>(field.data()));
        printf("[%.*s]\n", length, field.c_str());
        fflush(stdout);
    }
}

void acceptNational(int units, int times) {
    for (int i = 0; i < times; ++i) {
        std::vector<uint16_t> field(static_cast<size_t>(units), 0x2A);
        uint64_t length = static_cast<uint64_t>(units);
        _zvkAcceptUnicode(0x02, &length, field.data());
        printf("[");
        for (uint16_t u : field) printf("%04X ", u);
        printf("]\n");
    }
}

void clock() {
    const uint32_t forms[] = {0x10, 0x50, 0x08, 0x48, 0x04, 0x01, 0x18};
    for (uint32_t f : forms) {
        uint8_t field[12];
        memset(field, '*', sizeof field);
        _zvkcAccept(f, 10, field);
        printf("%02x=[%.12s]\n", f, reinterpret_cast<char*>(field));
    }
    uint8_t hhmm[4];
    _zvkcAccept(0x04, 4, hhmm);
    printf("hhmm=[%.4s]\n", reinterpret_cast<char*>(hhmm));
    uint8_t untouched[3] = {'*', '*', '*'};
    _zvkcAccept(0x10, 0, untouched);
    printf("zero=[%.3s]\n", reinterpret_cast<char*>(untouched));
}

void stop() {
    const char* lit = "OPERATOR, PLEASE REPLY";
    _zvkcStopLiteral(strlen(lit), reinterpret_cast<const uint8_t*>(lit));
    acceptField(4, 1, 0x02);
    printf("after\n");
}

}  // namespace

int main(int argc, char** argv) {
    static cobol::Program pgm("CONSOLE1", reinterpret_cast<void*>(&main));
    std::string s = argc > 1 ? argv[1] : "";
    int rc = 0;
    COBOL_MAIN(pgm, {
        if (s == "kinds") kinds();
        else if (s == "capture") capture();
        else if (s == "devices") devices();
        else if (s == "invalid") invalid();
        else if (s == "flush") {
            text("FLUSHED?");
            _exit(0);
        } else if (s == "accept") acceptField(atoi(argv[2]), atoi(argv[3]), argc > 4 ? strtoul(argv[4], nullptr, 0) : 2);
        else if (s == "national") acceptNational(atoi(argv[2]), atoi(argv[3]));
        else if (s == "clock") clock();
        else if (s == "stop") stop();
        else rc = 2;
    });
    return rc;
}
