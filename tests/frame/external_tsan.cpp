// Threads that define the same EXTERNAL item at once get one item.  Built
// with ThreadSanitizer together with the library's sources, so that a data
// race in the lookup or the creation of items fails the test.

#include <pthread.h>
#include <stdio.h>
#include <string.h>

#include <set>
#include <thread>
#include <vector>

#include "kvr2/kvr2.h"

int main() {
    constexpr int kThreads = 8, kItems = 40;
    // Every thread names the same items, in a different order.
    alignas(16) static uint8_t tables[kThreads][36 + 36 * kItems];
    static void* addresses[kThreads][kItems];
    for (int t = 0; t < kThreads; ++t) {
        uint32_t n = kItems;
        memcpy(tables[t], &n, 4);
        for (int i = 0; i < kItems; ++i) {
            int item = (i * 7 + t * 3) % kItems;
            uint32_t length = 8 + static_cast<uint32_t>(item);
            memcpy(tables[t] + 36 + 36 * i, &length, 4);
            snprintf(reinterpret_cast<char*>(tables[t] + 36 + 36 * i + 4), 32, "ITEM-%03d", item);
        }
    }
    pthread_barrier_t start;
    pthread_barrier_init(&start, nullptr, kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            pthread_barrier_wait(&start);
            _zvkExtVarInit(reinterpret_cast<uint32_t*>(tables[t]), addresses[t]);
        });
    for (auto& th : threads) th.join();
    // Each thread resolved every name once: any name that got two items
    // would show as more than kItems distinct addresses.
    int bad = 0;
    std::set<void*> distinct;
    for (int t = 0; t < kThreads; ++t)
        for (int i = 0; i < kItems; ++i) {
            distinct.insert(addresses[t][i]);
            if (!addresses[t][i]) ++bad;
        }
    printf("items=%zu bad=%d\n", distinct.size(), bad);
    return distinct.size() == kItems && bad == 0 ? 0 : 1;
}
