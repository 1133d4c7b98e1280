// Product banner and version strings, shown under __ZVKDEBUG and when the
// library is run as a program.
#pragma once

inline constexpr const char kvr2Banner[] = "KVR2 COBOL Runtime Library 5.1.0 (x86-64, 64-bit)";
inline constexpr const char* kvr2Versions[] = {
    "libkvr2_64r.so 5.1.0",
    "interface KVR2_5.1.0",
};
