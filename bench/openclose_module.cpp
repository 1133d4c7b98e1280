// A file-system module that does what any module does for OPEN INPUT and
// CLOSE of a sequential file, and nothing more: open, fstat, close.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kvr2/filemodule.h"

namespace {

int32_t closeFile(FCB* fcb, IPCB* element) {
    close(static_cast<int>(fcb->position[0]));
    fcb->status = 0;
    _zvkGenericClose(fcb, element, 0);
    return 0;
}

int32_t openFile(FCB* fcb, IPCB*) {
    const int fd = open(fcb->fileName, O_RDONLY | O_CLOEXEC);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0) {
        fcb->status = 35;
        return 35;
    }
    fcb->position[0] = static_cast<uint32_t>(fd);
    fcb->close = closeFile;
    fcb->status = 0;
    return 0;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void _IO_Init(FCB* fcb, IPCB*) { fcb->open = openFile; }
