// Runs a reference program (the same statements compiled by another COBOL
// compiler) and reports the CPU time of one execution of its statement,
// for comparison with the cpu_time of the library's own benchmarks.  The
// program takes a mode and a count; mode "loop" runs the bare loop.
#pragma once

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <string>

extern char** environ;

namespace kvr2bench {

// CPU seconds of one run (user and system, from the child's resource
// usage: on a shared machine wall time mostly measures the neighbours).
inline double runReference(const char* program, const char* mode, long count) {
    const std::string n = std::to_string(count);
    char* argv[] = {const_cast<char*>(program), const_cast<char*>(mode), const_cast<char*>(n.c_str()), nullptr};
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, 1, "/dev/null", 1, 0);
    pid_t pid;
    if (posix_spawn(&pid, program, &fa, nullptr, argv, environ) != 0) return -1;
    int status;
    struct rusage ru;
    wait4(pid, &status, 0, &ru);
    posix_spawn_file_actions_destroy(&fa);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
    auto sec = [](const timeval& t) { return double(t.tv_sec) + double(t.tv_usec) * 1e-6; };
    return sec(ru.ru_utime) + sec(ru.ru_stime);
}

// The statement's time per execution, the bare loop taken off.
inline void reference(benchmark::State& s, const char* program, const char* mode, long count) {
    for (auto _ : s) {
        const double t = runReference(program, mode, count), base = runReference(program, "loop", count);
        if (t < 0 || base < 0) {
            s.SkipWithError("reference program failed");
            return;
        }
        s.SetIterationTime((t - base) / double(count));
        s.counters["with_loop_ns"] = t / double(count) * 1e9;
    }
}

}  // namespace kvr2bench
