#include "client/ZRTerminalProgress.h"

#include <time.h>
#include <unistd.h>

#include <cstdio>

namespace {

double now() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

// Redraws at most this often, so a fast transfer is not slowed by output.
const double kRedrawSeconds = 0.2;

}  // namespace

ZRTerminalProgress::ZRTerminalProgress(const String& name, long size, long start)
    : active(::isatty(STDERR_FILENO) == 1),
      name(name),
      size(size),
      start(start),
      received(start),
      startTime(now()),
      lastDraw(0) {
    if (active) draw(start);
}

ZRTerminalProgress::~ZRTerminalProgress() {
    finish();
}

void ZRTerminalProgress::update(long bytes) {
    received = bytes;
    if (!active) return;
    double t = now();
    if (t - lastDraw < kRedrawSeconds) return;
    draw(bytes);
}

void ZRTerminalProgress::finish() {
    if (!active) return;
    draw(received);
    std::fputc('\n', stderr);
    active = false;
}

void ZRTerminalProgress::draw(long bytes) {
    lastDraw = now();
    double elapsed = lastDraw - startTime;
    double rate = elapsed > 0 ? static_cast<double>(bytes - start) / elapsed / 1024.0 : 0;
    long percent = size > 0 ? bytes * 100 / size : 100;
    // "\r" back to the start of the line, "\033[K" clears what a longer
    // earlier line left behind.
    std::fprintf(stderr, "\r%.40s %3ld%% %ld/%ld bytes %.1f KiB/s\033[K", name.c_str(), percent,
                 bytes, size, rate);
    std::fflush(stderr);
}
