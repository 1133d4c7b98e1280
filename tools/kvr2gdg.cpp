// kvr2gdg: creates, changes, lists, verifies, rebuilds and removes
// generation data groups.
//
//   kvr2gdg [-D] [-p prefix] create <group> [-l limit] [-d days] [-e|-E] [-s|-S]
//   kvr2gdg [-D] [-p prefix] alter  <group> [-l limit] [-d days] [-e|-E] [-s|-S]
//   kvr2gdg [-D] [-p prefix] list|verify|rebuild|unlink <group>
//   kvr2gdg [-D] [-p prefix] remove <group>|<generation>
//
// -E sets Empty (every generation rolls off when the limit is reached),
// -S sets Scratch (rolled-off files are deleted); -e, -s clear them.  With
// neither, create gives Scratch and alter keeps the flags; with one, the
// other is cleared.  -p names the file system ("sys", "hdk", "rql", ...).
// -D traces the catalogue's changes on stderr.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <getopt.h>

#include "fileio/gdg.h"

namespace {

int usage() {
    fprintf(stderr,
            "usage: kvr2gdg [-D] [-p prefix] create|alter <group> [-l limit] [-d days] [-e|-E] [-s|-S]\n"
            "       kvr2gdg [-D] [-p prefix] list|verify|rebuild|unlink <group>\n"
            "       kvr2gdg [-D] [-p prefix] remove <group>|<generation>\n");
    return 2;
}

bool number(const char* text, int32_t* value) {
    char* end;
    long v = strtol(text, &end, 10);
    if (end == text || *end || v < 0 || v > 1000000) return false;
    *value = static_cast<int32_t>(v);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    int32_t limit = -1, days = -1, flags = -1;
    const char* prefix = nullptr;
    int opt;
    while ((opt = getopt(argc, argv, "Dp:l:d:eEsS")) != -1) {
        switch (opt) {
        case 'D': GDG_setDebug(1); break;
        case 'p': prefix = optarg; break;
        case 'l': if (!number(optarg, &limit)) return usage(); break;
        case 'd': if (!number(optarg, &days)) return usage(); break;
        case 'E': flags = (flags < 0 ? 0 : flags) | GDG_EMPTY; break;
        case 'e': flags = (flags < 0 ? 0 : flags) & ~static_cast<int32_t>(GDG_EMPTY); break;
        case 'S': flags = (flags < 0 ? 0 : flags) | GDG_SCRATCH; break;
        case 's': flags = (flags < 0 ? 0 : flags) & ~static_cast<int32_t>(GDG_SCRATCH); break;
        default: return usage();
        }
    }
    if (argc - optind != 2) return usage();
    const char* command = argv[optind];
    const char* name = argv[optind + 1];
    int rc;
    if (strcmp(command, "create") == 0) rc = GDG_Create(name, limit < 0 ? 0 : limit, days, flags, prefix);
    else if (strcmp(command, "alter") == 0) rc = GDG_Alter(name, limit, days, flags, prefix);
    else if (strcmp(command, "list") == 0) rc = GDG_List(name, prefix);
    else if (strcmp(command, "verify") == 0) rc = GDG_Verify(name, prefix);
    else if (strcmp(command, "rebuild") == 0) rc = GDG_Rebuild(name, prefix);
    else if (strcmp(command, "unlink") == 0) rc = GDG_Unlink(name, prefix);
    else if (strcmp(command, "remove") == 0) rc = GDG_remove(name, prefix);
    else return usage();
    return rc == 0 ? 0 : 1;
}
