// Sequential files: fixed records back to back, or each variable record
// after its length word; code 5 files after the module's header.  Written
// through stdio's buffer, which CLOSE flushes.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

#include "stl.h"

namespace stl {

namespace {

FILE* streamOf(FCB* fcb) { return static_cast<FILE*>(openFile(fcb)->stream); }

// The length word of a variable record: code 5 a big-endian u32, code 1
// a big-endian u16 and two zero bytes.
void putLengthWord(uint8_t* word, uint32_t length, bool header) {
    if (header) {
        for (int i = 0; i < 4; ++i) word[i] = static_cast<uint8_t>(length >> (24 - 8 * i));
    } else {
        word[0] = static_cast<uint8_t>(length >> 8), word[1] = static_cast<uint8_t>(length), word[2] = word[3] = 0;
    }
}
uint32_t getLengthWord(const uint8_t* word, bool header) {
    if (header) return uint32_t{word[0]} << 24 | uint32_t{word[1]} << 16 | uint32_t{word[2]} << 8 | word[3];
    return uint32_t{word[0]} << 8 | word[1];
}

int32_t readSequential(FCB* fcb, IPCB* element, uint32_t how, uint32_t length) {
    const FIB* fib = zvkFileFib(fcb, element);
    OpenFile* file = openFile(fcb);
    fcb->verb = ZVK_VERB_READ;
    if (file->atEnd) {
        fcb->state &= ~ZVK_STATE_READ_GOOD;
        return finish(fcb, element, fib, ZVK_VERB_READ, 46, kFs2AfterEnd);
    }
    FILE* stream = streamOf(fcb);
    const off_t start = ftello(stream);
    uint32_t size = fcb->maxLength, skip = 0;
    size_t got;
    uint16_t status = 0;
    uint32_t fs2 = kFs2None;
    if (file->variable) {
        uint8_t word[4];
        got = fread(word, 1, 4, stream);
        if (got == 4) {
            size = getLengthWord(word, file->header);
            skip = size > fcb->maxLength ? size - fcb->maxLength : 0;
            size -= skip;
            if (skip) status = 4, fs2 = kFs2Length;
            got = fread(fcb->record, 1, size, stream);
            if (got < size) status = 30, fs2 = kFs2Damaged;
            else if (skip && fseeko(stream, skip, SEEK_CUR) != 0) status = 30, fs2 = kFs2ReadFailed;
        } else if (got) {
            status = 30, fs2 = kFs2Damaged;
        }
    } else {
        got = fread(fcb->record, 1, size, stream);
        if (got && got < size) {
            // A short last record: what there is, blank-padded.
            memset(fcb->record + got, ' ', size - got);
            status = 4, fs2 = kFs2Length;
        }
    }
    if (got == 0) {
        fcb->state &= ~(ZVK_STATE_READ_GOOD | ZVK_STATE_POSITIONED);
        if (ferror(stream)) return finish(fcb, element, fib, ZVK_VERB_READ, 30, kFs2ReadFailed);
        if (nextVolume(fcb, element)) {
            if (fcb->status > 9) return finish(fcb, element, fib, ZVK_VERB_READ, fcb->status, fcb->fs2);
            return fcb->read(fcb, element, how, length);
        }
        file->atEnd = true;
        return finish(fcb, element, fib, ZVK_VERB_READ, 10, kFs2AtEnd);
    }
    if (status > 9) {
        fcb->state &= ~ZVK_STATE_READ_GOOD;
        return finish(fcb, element, fib, ZVK_VERB_READ, status, fs2);
    }
    file->slot = static_cast<uint64_t>(start);
    file->lastWritten = size + skip;
    fcb->recordArea->length = size;
    fcb->state |= ZVK_STATE_READ_GOOD | ZVK_STATE_POSITIONED;
    return finish(fcb, element, fib, ZVK_VERB_READ, status, fs2);
}

int32_t writeSequential(FCB* fcb, IPCB* element, uint32_t, uint32_t length) {
    const FIB* fib = zvkFileFib(fcb, element);
    OpenFile* file = openFile(fcb);
    fcb->verb = ZVK_VERB_WRITE;
    bool bad;
    const uint32_t size = recordLength(fcb, fib, length, bad);
    if (bad || (file->variable && !file->header && size > 0xFFFF))
        return finish(fcb, element, fib, ZVK_VERB_WRITE, 44, kFs2Length);
    FILE* stream = streamOf(fcb);
    bool ok = true;
    if (file->variable) {
        uint8_t word[4];
        putLengthWord(word, size, file->header);
        ok = fwrite(word, 1, 4, stream) == 4;
    }
    ok = ok && fwrite(fcb->record, 1, size, stream) == size;
    return finish(fcb, element, fib, ZVK_VERB_WRITE, ok ? 0 : 30, ok ? kFs2None : kFs2WriteFailed);
}

int32_t rewriteSequential(FCB* fcb, IPCB* element, uint32_t, uint32_t length) {
    const FIB* fib = zvkFileFib(fcb, element);
    OpenFile* file = openFile(fcb);
    fcb->verb = ZVK_VERB_REWRITE;
    if (!(fcb->state & ZVK_STATE_READ_GOOD) || fcb->lastVerb != ZVK_VERB_READ)
        return finish(fcb, element, fib, ZVK_VERB_REWRITE, 43, kFs2NoCurrent);
    bool bad;
    const uint32_t size = recordLength(fcb, fib, length, bad);
    fcb->state &= ~ZVK_STATE_READ_GOOD;
    if (bad || size != file->lastWritten) return finish(fcb, element, fib, ZVK_VERB_REWRITE, 44, kFs2Length);
    FILE* stream = streamOf(fcb);
    const off_t after = ftello(stream);
    const off_t at = static_cast<off_t>(file->slot) + (file->variable ? 4 : 0);
    bool ok = fseeko(stream, at, SEEK_SET) == 0 && fwrite(fcb->record, 1, size, stream) == size;
    ok = fseeko(stream, after, SEEK_SET) == 0 && ok;
    return finish(fcb, element, fib, ZVK_VERB_REWRITE, ok ? 0 : 30, ok ? kFs2None : kFs2WriteFailed);
}

}  // namespace

int32_t openSequential(FCB* fcb, IPCB*, const FIB* fib) {
    OpenFile* file = openFile(fcb);
    const char* name = fcb->fileName ? fcb->fileName : "";
    const bool optional = fib->flags & ZVK_FIB_OPTIONAL;
    struct stat st;
    const bool exists = stat(name, &st) == 0;
    if (exists && S_ISDIR(st.st_mode)) return answer(fcb, file->mode == ZVK_OPEN_OUTPUT ? 30 : 37, kFs2Denied);
    uint16_t status = 0;
    const char* how = "rbe";
    switch (file->mode) {
        case ZVK_OPEN_OUTPUT: how = "wbe"; break;
        case ZVK_OPEN_EXTEND: how = "a+be"; break;
        case ZVK_OPEN_IO: how = "r+be"; break;
        default: break;
    }
    if (!exists && file->mode != ZVK_OPEN_OUTPUT) {
        if (!optional) return answer(fcb, 35, kFs2NoFile);
        if (file->mode == ZVK_OPEN_INPUT) {
            fcb->state |= ZVK_STATE_OPTIONAL_ABSENT;
            return answer(fcb, 5, kFs2None);
        }
        status = 5;
        if (file->mode == ZVK_OPEN_IO) how = "w+be";
    }
    FILE* stream = fopen(name, how);
    if (!stream) {
        const uint32_t fs2 = openErrorFs2(errno);
        return answer(fcb, fs2 == kFs2NoFile ? 30 : openErrorStatus(fs2), fs2);
    }
    file->stream = stream;
    uint8_t header[kHeaderSize];
    if (file->header) {
        // An empty file (the library counts it as absent) is given its header.
        size_t got = 0;
        if (file->mode != ZVK_OPEN_OUTPUT && fseeko(stream, 0, SEEK_SET) == 0) got = fread(header, 1, kHeaderSize, stream);
        uint32_t fs2 = kFs2None;
        if (got == kHeaderSize) fs2 = checkHeader(header, fib, 'S');
        else if (got) fs2 = kFs2Foreign;
        else if (file->mode != ZVK_OPEN_INPUT) {
            makeHeader(header, fib, 'S');
            if (fseeko(stream, 0, SEEK_SET) != 0 || fwrite(header, 1, kHeaderSize, stream) != kHeaderSize)
                fs2 = kFs2WriteFailed;
        }
        if (fs2) {
            fclose(stream);
            file->stream = nullptr;
            return answer(fcb, fs2 == kFs2WriteFailed ? 30 : 39, fs2);
        }
    }
    if (file->mode == ZVK_OPEN_INPUT || file->mode == ZVK_OPEN_IO) {
        fcb->read = readSequential;
        if (file->mode == ZVK_OPEN_IO) fcb->rewrite = rewriteSequential;
    } else {
        fcb->write = writeSequential;
    }
    return answer(fcb, status, kFs2None);
}

bool closeSequential(FCB* fcb) {
    OpenFile* file = openFile(fcb);
    if (!file->stream) return true;
    const bool ok = fclose(static_cast<FILE*>(file->stream)) == 0;
    file->stream = nullptr;
    return ok;
}

}  // namespace stl
