#include "scenario.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>

extern char** environ;

namespace scenario {

namespace {

std::vector<std::string> buildEnv(const Options& o) {
    std::map<std::string, std::string> env;
    for (char** e = environ; *e; ++e) {
        const char* eq = strchr(*e, '=');
        if (eq) env[std::string(static_cast<const char*>(*e), eq)] = eq + 1;
    }
    env["COBRTOPT"] = "TRAP=OFF";
    for (auto& [k, v] : o.env) {
        if (v)
            env[k] = *v;
        else
            env.erase(k);
    }
    std::vector<std::string> out;
    for (auto& [k, v] : env) out.push_back(k + "=" + v);
    return out;
}

void drain(int fds[2], std::string* sinks[2]) {
    bool open[2] = {fds[0] >= 0, fds[1] >= 0};
    char buf[4096];
    while (open[0] || open[1]) {
        pollfd p[2];
        int n = 0, idx[2];
        for (int i = 0; i < 2; ++i)
            if (open[i]) {
                p[n] = {fds[i], POLLIN, 0};
                idx[n++] = i;
            }
        if (poll(p, n, 60000) <= 0) break;
        for (int j = 0; j < n; ++j) {
            if (!(p[j].revents & (POLLIN | POLLHUP | POLLERR))) continue;
            ssize_t r = read(p[j].fd, buf, sizeof buf);
            if (r <= 0) {
                open[idx[j]] = false;
                close(p[j].fd);
            } else {
                sinks[idx[j]]->append(buf, static_cast<size_t>(r));
            }
        }
    }
    // Silent for a minute: the program is stuck (waiting for input, say).
    // Closing its streams (a hangup on a terminal) lets it end.
    for (int i = 0; i < 2; ++i)
        if (open[i]) close(fds[i]);
}

}  // namespace

Result run(const std::string& program, const std::vector<std::string>& args, const Options& o) {
    std::vector<std::string> envStrings = buildEnv(o);
    std::vector<char*> envp, argv;
    for (auto& s : envStrings) envp.push_back(const_cast<char*>(s.c_str()));
    envp.push_back(nullptr);
    argv.push_back(const_cast<char*>(program.c_str()));
    for (auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);

    Result r;
    pid_t pid;
    if (o.ptyColumns > 0) {
        int master;
        winsize ws{};
        ws.ws_row = 24;
        ws.ws_col = static_cast<unsigned short>(o.ptyColumns);
        pid = forkpty(&master, nullptr, nullptr, &ws);
        if (pid == 0) {
            execve(argv[0], argv.data(), envp.data());
            _exit(127);
        }
        if (!o.input.empty()) {
            ssize_t w = write(master, o.input.data(), o.input.size());
            (void)w;
        }
        int fds[2] = {master, -1};
        std::string* sinks[2] = {&r.out, &r.err};
        drain(fds, sinks);
    } else {
        int in[2], out[2], err[2];
        if (pipe(in) || pipe(out) || pipe(err)) return r;
        pid = fork();
        if (pid == 0) {
            dup2(in[0], 0);
            dup2(out[1], 1);
            dup2(err[1], 2);
            close(in[0]); close(in[1]); close(out[0]); close(out[1]); close(err[0]); close(err[1]);
            execve(argv[0], argv.data(), envp.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        close(err[1]);
        signal(SIGPIPE, SIG_IGN);
        if (!o.input.empty()) {
            ssize_t w = write(in[1], o.input.data(), o.input.size());
            (void)w;
        }
        close(in[1]);
        int fds[2] = {out[0], err[0]};
        std::string* sinks[2] = {&r.out, &r.err};
        drain(fds, sinks);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status)) r.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) r.signal = WTERMSIG(status);
    return r;
}

std::string binDir() { return KVR2_TEST_BIN_DIR; }
std::string binPath(const std::string& name) {
    std::string path = KVR2_TEST_BIN_DIR;
    path += '/';
    path += name;
    return path;
}
std::string libDir() { return KVR2_TEST_LIB_DIR; }
std::string sourceDir() { return KVR2_SOURCE_DIR; }

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> v;
    std::istringstream s(text);
    std::string line;
    while (std::getline(s, line)) v.push_back(line);
    return v;
}

bool hasLine(const std::string& text, const std::string& line) {
    for (auto& l : lines(text))
        if (l == line) return true;
    return false;
}

std::string locale(const std::string& input, const std::string& charmap, const std::string& name) {
    const std::string dir = binDir() + "/locales";
    if (access((dir + "/" + name + "/LC_CTYPE").c_str(), F_OK) == 0) return dir;
    // Built under a name of this process's own, then renamed into place:
    // a rename over a directory another process made first fails, harmlessly.
    const std::string work = dir + "/" + name + ".build" + std::to_string(getpid());
    const std::string cmd = "mkdir -p " + dir + " && localedef -i " + input + " -f " + charmap + " " + work +
                            " >/dev/null 2>&1; mv -T " + work + " " + dir + "/" + name + " 2>/dev/null; rm -rf " +
                            work;
    int rc = system(cmd.c_str());
    (void)rc;   // localedef warns (exit 1) about some sources and still builds
    return access((dir + "/" + name + "/LC_CTYPE").c_str(), F_OK) == 0 ? dir : std::string();
}

std::map<std::string, std::string> values(const std::string& out) {
    std::map<std::string, std::string> m;
    for (auto& l : lines(out)) {
        auto eq = l.find('=');
        if (eq != std::string::npos && l.find(' ') > eq) m[l.substr(0, eq)] = l.substr(eq + 1);
    }
    return m;
}

std::string mismatches(const std::string& out, const std::string& expected) { return mismatches(values(out), expected); }

std::string mismatches(const std::map<std::string, std::string>& got, const std::string& expected) {
    std::istringstream words(expected);
    std::string word, report;
    while (words >> word) {
        auto eq = word.find('=');
        std::string key = word.substr(0, eq), want = eq == std::string::npos ? "" : word.substr(eq + 1);
        auto it = got.find(key);
        if (it == got.end())
            report += key + " missing (want " + want + ")\n";
        else if (it->second != want)
            report += key + "=" + it->second + " (want " + want + ")\n";
    }
    return report;
}

}  // namespace scenario
