// Two threads multiplying different items at once, under ThreadSanitizer:
// each thread's products come out right, every time, and the race
// detector sees no shared digits.  Exit 0 when all is well.

#include <atomic>
#include <cstdio>
#include <cstring>
#include <thread>

#include "kvr2/kvr2.h"

namespace {

// A packed item of n digits, all equal to d.
void fill(unsigned char* p, int n, int d, unsigned char sign) {
    const int b = n / 2 + 1;
    memset(p, d * 0x11, b);
    p[b - 1] = static_cast<unsigned char>((d << 4) | sign);
    if (n % 2 == 0) p[0] &= 0x0F;
}

std::atomic<int> ready{0};
std::atomic<int> failures{0};

// Thread t multiplies dd..d (31 digits) by 3 (packed) and "77..7" by "2"
// (zoned), with its own digit d, and checks each product.
void worker(int d) {
    unsigned char a[16], b[1] = {0x3C}, p[32], want[32];
    fill(a, 31, d, 0xC);
    unsigned char za[31], zb[1] = {'2'}, zp[31], zwant[31];
    memset(za, '0' + d, sizeof za);
    ready.fetch_add(1);
    while (ready.load() < 2) {
    }
    // The expected product, computed once here: 3 * dd..d in 62 digits.
    _zvkcBCD_MPY_Pckd(a, b, want, 62, 1, 31);
    _zvkcBCD_MPY_Znd(za, zb, zwant, 31, 1, 31);
    for (int i = 0; i < 20000; ++i) {
        _zvkcBCD_MPY_Pckd(a, b, p, 62, 1, 31);
        _zvkcBCD_MPY_Znd(za, zb, zp, 31, 1, 31);
        if (memcmp(p, want, 32) || memcmp(zp, zwant, 31)) failures.fetch_add(1);
    }
    // The first product against the digits it must have: d * 3 repeated.
    const int units = (3 * d) % 10;
    if ((want[31] >> 4) != units) failures.fetch_add(1);
}

}  // namespace

int main() {
    std::thread t1(worker, 4), t2(worker, 9);
    t1.join();
    t2.join();
    const int f = failures.load();
    printf("%s: %d wrong products\n", f ? "FAILED" : "ok", f);
    return f ? 1 : 0;
}
