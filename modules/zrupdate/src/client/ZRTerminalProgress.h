#ifndef ZR_TERMINAL_PROGRESS_H
#define ZR_TERMINAL_PROGRESS_H

#include "String.h"

// One self-rewriting line on standard error while a package downloads:
// name, percent, bytes and rate. Only when standard error is a terminal;
// otherwise nothing is written anywhere.
class ZRTerminalProgress {
public:
    ZRTerminalProgress(const String& name, long size, long start);
    ~ZRTerminalProgress();
    ZRTerminalProgress(const ZRTerminalProgress&) = delete;
    ZRTerminalProgress& operator=(const ZRTerminalProgress&) = delete;

    void update(long received);
    // Draws the last state and ends the line (once).
    void finish();

private:
    void draw(long received);

    bool active;
    String name;
    long size;
    long start;
    long received;
    double startTime;
    double lastDraw;
};

#endif
