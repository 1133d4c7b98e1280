// Records in and out: the USING and GIVING files through their FCB slots,
// the runtime's spill files and buffer in the forms _zvkRelease writes
// (a variable record: a native length word counting itself, then the
// data; a fixed one: recordLength bytes), and the engine's work files.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include "sort/engine/engine.h"

namespace vort {

namespace {

constexpr size_t kIoBuffer = size_t(4) << 20;

size_t ioBufferSize(const Job& job) {
    const size_t least = 2 * size_t(job.cfg.maxForm()) + 16;
    return least > kIoBuffer ? least : kIoBuffer;
}

// A file call may have run op 11, which released the job.
bool survived(Job& job) { return !job.abandoned; }

// No second thread runs while a file's slot is called: op 11 may come
// from inside it, and must find the job still.
bool quiet(Job& job) { return writeWait(job) || fail(job, ZVK_SORTENG_E_WORK_FILE); }

void* writeTask(void* arg) {
    auto* w = static_cast<WriteBehind*>(arg);
    w->ok = writeAll(w->fd, w->data, w->bytes);
    return nullptr;
}

// Starts the write of [p, p + n) on the second thread, once the write
// before it is done; the bytes must stay as they are until writeWait.
bool writeBehind(Job& job, int fd, const uint8_t* p, size_t n) {
    if (!writeWait(job)) return false;
    WriteBehind& w = job.writer;
    w.fd = fd, w.data = p, w.bytes = n, w.ok = false;
    if (job.cfg.threads < 2 || pthread_create(&w.thread, nullptr, writeTask, &w) != 0) return writeAll(fd, p, n);
    w.running = true;
    return true;
}

// The next record in bytes [p, p + n): its form's size, 0 if the bytes
// hold no whole record, or -1 if the length word is impossible.
int64_t formSize(const Config& c, const uint8_t* p, size_t n) {
    if (!c.variable()) return n >= c.recordLength ? int64_t(c.recordLength) : 0;
    if (n < 4) return 0;
    uint32_t total;
    memcpy(&total, p, 4);
    if (total < 4 || total - 4 > c.recordLength) return -1;
    return n >= total ? int64_t(total) : 0;
}

Rec recordOf(const Config& c, const uint8_t* form, uint32_t size) {
    return c.variable() ? Rec{form + 4, size - 4} : Rec{form, size};
}

// Moves the unread bytes to the front and reads until the buffer is full.
bool refill(Stream& s) {
    memmove(s.buf, s.buf + s.pos, s.end - s.pos);
    s.end -= s.pos;
    s.pos = 0;
    while (s.end < s.bufSize) {
        const ssize_t n = read(s.fd, s.buf + s.end, s.bufSize - s.end);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        if (n == 0) {
            s.ended = true;
            break;
        }
        s.end += size_t(n);
    }
    return true;
}

int nextFromFile(Job& job, Stream& s, Rec& rec) {
    for (;;) {
        const int64_t size = formSize(job.cfg, s.buf + s.pos, s.end - s.pos);
        if (size < 0) return fail(job, ZVK_SORTENG_E_BAD_RECORD), -1;
        if (size > 0) {
            rec = recordOf(job.cfg, s.buf + s.pos, uint32_t(size));
            s.pos += size_t(size);
            return 1;
        }
        if (s.ended) {
            if (s.pos == s.end) return 0;
            return fail(job, ZVK_SORTENG_E_BAD_RECORD), -1;
        }
        if (!refill(s)) return fail(job, ZVK_SORTENG_E_INPUT_FILE), -1;
    }
}

int nextFromMemory(Job& job, Stream& s, Rec& rec) {
    if (s.pos == s.memSize) return 0;
    const int64_t size = formSize(job.cfg, s.mem + s.pos, s.memSize - s.pos);
    if (size <= 0) return fail(job, ZVK_SORTENG_E_BAD_RECORD), -1;
    rec = recordOf(job.cfg, s.mem + s.pos, uint32_t(size));
    s.pos += size_t(size);
    return 1;
}

int nextFromFcb(Job& job, Stream& s, Rec& rec) {
    FCB* f = s.fcb;
    if (!quiet(job)) return -1;
    f->read(f, job.element, ZVK_READ_NEXT, 0);
    if (!survived(job)) return -1;
    if (f->status == 10) return 0;
    if (f->status >= 10) return fail(job, ZVK_SORTENG_E_USING_READ), -1;
    uint32_t length = f->recordArea ? f->recordArea->length : f->maxLength;
    if (length > f->maxLength) length = f->maxLength;
    const Config& c = job.cfg;
    if (length > c.recordLength) length = c.recordLength;
    if (c.variable()) {
        rec = Rec{f->record, length};
        return 1;
    }
    // A fixed record is recordLength bytes: a short one is padded, with
    // blanks in the blank-filled form, else with zeros.
    memcpy(s.buf, f->record, length);
    memset(s.buf + length, c.format == ZVK_SORT_FIXED_BLANK ? ' ' : 0, c.recordLength - length);
    rec = Rec{s.buf, c.recordLength};
    return 1;
}

}  // namespace

bool streamOpen(Job& job, Stream& s) {
    if (s.kind == StreamKind::Memory) return s.opened = true;
    s.bufSize = s.kind == StreamKind::File ? ioBufferSize(job) : job.cfg.recordLength;
    s.buf = static_cast<uint8_t*>(malloc(s.bufSize));
    if (!s.buf) return fail(job, ZVK_SORTENG_E_MEMORY);
    if (s.kind == StreamKind::File) return s.opened = true;
    if (!quiet(job)) return false;
    s.fcb->openMode = ZVK_OPEN_INPUT;
    s.fcb->open(s.fcb, job.element);
    if (!survived(job)) return false;
    if (s.fcb->status >= 10) return fail(job, ZVK_SORTENG_E_USING_OPEN);
    return s.opened = true;
}

int streamNext(Job& job, Stream& s, Rec& rec) {
    switch (s.kind) {
        case StreamKind::File: return nextFromFile(job, s, rec);
        case StreamKind::Memory: return nextFromMemory(job, s, rec);
        case StreamKind::Fcb: return nextFromFcb(job, s, rec);
    }
    return -1;
}

bool streamClose(Job& job, Stream& s) {
    if (!s.opened) return true;
    s.opened = false;
    free(s.buf), s.buf = nullptr;
    if (s.kind == StreamKind::File) {
        close(s.fd), s.fd = -1;
        return true;
    }
    if (s.kind != StreamKind::Fcb) return true;
    if (!quiet(job)) return false;
    s.fcb->closeOptions = 0;
    s.fcb->close(s.fcb, job.element);
    if (!survived(job)) return false;
    return s.fcb->status < 10 || fail(job, ZVK_SORTENG_E_CLOSE);
}

bool sinkOpen(Job& job, Sink& s) {
    if (s.kind == SinkKind::File) return spoolOpen(job, s.file, ioBufferSize(job));
    if (s.kind == SinkKind::Memory) return true;
    if (!quiet(job)) return false;
    for (; s.opened < s.count; ++s.opened) {
        FCB* f = s.files[s.opened];
        f->openMode = ZVK_OPEN_OUTPUT;
        f->open(f, job.element);
        if (!survived(job)) return false;
        if (f->status >= 10) return fail(job, ZVK_SORTENG_E_GIVING_OPEN);
    }
    return true;
}

bool sinkPut(Job& job, Sink& s, const uint8_t* data, uint32_t length) {
    ++s.records;
    const bool variable = job.cfg.variable();
    const size_t form = variable ? size_t(length) + 4 : length;
    if (s.kind == SinkKind::File) {
        uint8_t* p = spoolRoom(job, s.file, form);
        if (!p) return fail(job, ZVK_SORTENG_E_OUTPUT_FILE);
        if (variable) {
            const uint32_t total = length + 4;
            memcpy(p, &total, 4), p += 4;
        }
        memcpy(p, data, length);
        s.file.fill += form;
        return true;
    }
    if (s.kind == SinkKind::Memory) {
        if (form > s.memCap - s.memPos) return fail(job, ZVK_SORTENG_E_MEMORY_OUTPUT);
        uint8_t* p = s.mem + s.memPos;
        if (variable) {
            const uint32_t total = length + 4;
            memcpy(p, &total, 4), p += 4;
        }
        memmove(p, data, length);
        s.memPos += form;
        return true;
    }
    if (!quiet(job)) return false;
    for (uint32_t i = 0; i < s.count; ++i) {
        FCB* f = s.files[i];
        const uint32_t n = length < f->maxLength ? length : f->maxLength;
        memcpy(f->record, data, n);
        f->write(f, job.element, ZVK_WRITE_PLAIN, n);
        if (!survived(job)) return false;
        if (f->status >= 10) return fail(job, ZVK_SORTENG_E_GIVING_WRITE);
    }
    return true;
}

bool sinkClose(Job& job, Sink& s) {
    if (s.kind == SinkKind::File) {
        const bool ok = s.file.fd >= 0 && spoolFlush(job, s.file) && writeWait(job);
        const int rc = s.file.fd >= 0 ? close(s.file.fd) : -1;
        s.file.fd = -1;
        return (ok && rc == 0) || fail(job, ZVK_SORTENG_E_OUTPUT_FILE);
    }
    if (s.kind == SinkKind::Memory) return true;
    if (!quiet(job)) return false;
    bool ok = true;
    const uint32_t opened = s.opened;
    s.opened = 0;
    for (uint32_t i = 0; i < opened; ++i) {
        FCB* f = s.files[i];
        f->closeOptions = 0;
        f->close(f, job.element);
        if (!survived(job)) return false;
        if (f->status >= 10) ok = fail(job, ZVK_SORTENG_E_CLOSE);
    }
    return ok;
}

int workFile(Job& job) {
    char path[4096];
    const size_t n = strlen(job.tempDir);
    const char* slash = n && job.tempDir[n - 1] == '/' ? "" : "/";
    for (int tries = 0; tries < 100; ++tries) {
        snprintf(path, sizeof path, "%s%svortlite.%010u.%010u.%u", job.tempDir, slash, unsigned(getpid()),
                 unsigned(uint32_t(pthread_self())), job.workSerial++);
        const int fd = open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd >= 0) {
            // Nameless from here on: nothing is left behind, however the
            // sort ends.
            unlink(path);
            return fd;
        }
        if (errno != EEXIST) break;
    }
    fail(job, ZVK_SORTENG_E_WORK_FILE);
    return -1;
}

bool writeAll(int fd, const uint8_t* p, size_t n) {
    while (n) {
        const ssize_t w = write(fd, p, n);
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) return false;
        p += w, n -= size_t(w);
    }
    return true;
}

bool writeWait(Job& job) {
    WriteBehind& w = job.writer;
    if (!w.running) return true;
    pthread_join(w.thread, nullptr);
    w.running = false;
    return w.ok;
}

bool spoolOpen(Job& job, Spool& s, size_t half) {
    s.half = half, s.current = 0, s.fill = 0;
    s.buf = static_cast<uint8_t*>(malloc(2 * half));
    return s.buf || fail(job, ZVK_SORTENG_E_MEMORY);
}

uint8_t* spoolRoom(Job& job, Spool& s, size_t n) {
    if (s.fill + n > s.half && !spoolFlush(job, s)) return nullptr;
    return s.buf + s.current * s.half + s.fill;
}

bool spoolFlush(Job& job, Spool& s) {
    if (!s.fill) return true;
    if (!writeBehind(job, s.fd, s.buf + s.current * s.half, s.fill)) return false;
    s.handed += s.fill;
    s.fill = 0;
    s.current ^= 1;
    return true;
}

bool readAt(int fd, uint8_t* p, size_t n, uint64_t at, size_t* got) {
    size_t done = 0;
    while (done < n) {
        const ssize_t r = pread(fd, p + done, n - done, off_t(at + done));
        if (r < 0 && errno == EINTR) continue;
        if (r < 0) return false;
        if (r == 0) break;
        done += size_t(r);
    }
    *got = done;
    return true;
}

}  // namespace vort
