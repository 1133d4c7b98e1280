// Drives one group for gdg_model.py: a line per operation on stdin, the
// result on stdout.
//   create <limit> <days> <flags> | alter <limit> <days> <flags>
//   add           GDS_Name(group(+1)) with create, then the file made
//   direct <n>    the file group.gNNNNv00 made, then GDS_Name on it

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fileio/gdg.h"

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const char* group = argv[1];
    char line[256], name[2048];
    while (fgets(line, sizeof line, stdin)) {
        int limit = 0, days = 0, flags = 0, n = 0, rc = -2;
        char* file = nullptr;
        if (sscanf(line, "create %d %d %d", &limit, &days, &flags) == 3) {
            rc = GDG_Create(group, limit, days, flags, nullptr);
        } else if (sscanf(line, "alter %d %d %d", &limit, &days, &flags) == 3) {
            rc = GDG_Alter(group, limit, days, flags, nullptr);
        } else if (strncmp(line, "add", 3) == 0) {
            snprintf(name, sizeof name, "%s(+1)", group);
            rc = GDS_Name(name, &file, 1, nullptr);
        } else if (sscanf(line, "direct %d", &n) == 1) {
            snprintf(name, sizeof name, "%s.g%04dv00", group, n);
            close(open(name, O_CREAT | O_WRONLY, 0644));
            rc = GDS_Name(name, &file, 0, nullptr);
        }
        if (file && rc == 1) close(open(file, O_CREAT | O_WRONLY, 0644));
        printf("%d %s\n", rc, file ? file : "-");
        fflush(stdout);
        free(file);
    }
    return 0;
}
