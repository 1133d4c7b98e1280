// Runs one scenario in a process of its own: the library's state is
// process-wide, its constructor runs at load, and the endings of a run
// unit call exit, raise signals or jump.  A scenario is a program linked
// with the library (as compiled code is), run with a chosen environment.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace scenario {

struct Result {
    int exitCode = -1;     // when it exited
    int signal = 0;        // when a signal ended it
    std::string out, err;
};

struct Options {
    // Variables to set (over the test's own environment); a value of
    // std::nullopt removes the variable.  COBRTOPT defaults to TRAP=OFF.
    std::map<std::string, std::optional<std::string>> env;
    // Run with stdin/stdout/stderr on a pseudo-terminal of this width
    // (0: pipes).  Output then arrives merged in `out`.
    int ptyColumns = 0;
    std::string input;     // fed to stdin (on a terminal: typed, echo and all)
};

// Runs `program args...`; program is a path.
Result run(const std::string& program, const std::vector<std::string>& args, const Options& options = {});

// The directory holding the test programs (set by CMake).
std::string binDir();
// The path of the test program `name` in binDir().
std::string binPath(const std::string& name);
std::string libDir();
std::string sourceDir();

// Lines of text.
std::vector<std::string> lines(const std::string& text);

// Whether text has this line exactly.
bool hasLine(const std::string& text, const std::string& line);

// The "key=value" lines of a scenario's output (a key holds no blank).
std::map<std::string, std::string> values(const std::string& out);

// The LOCPATH directory in the build tree holding locale `name`, built by
// localedef from `input` and `charmap` on first need; empty when it cannot
// be built.  Tests running at once may ask for the same locale.
std::string locale(const std::string& input, const std::string& charmap, const std::string& name);

// The blank-separated "key=value" words of `expected` that the output's
// values do not match, one "key=<got> (want <value>)" line each: empty
// when all agree, and otherwise the whole difference in one failure.
std::string mismatches(const std::string& out, const std::string& expected);
// The same against key=value pairs already read.
std::string mismatches(const std::map<std::string, std::string>& got, const std::string& expected);

}  // namespace scenario
