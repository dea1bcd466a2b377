#include "util/FailureNote.h"

String FailureNote::note;
FailureNote::Weight FailureNote::weight = FailureNote::IF_COMMAND_FAILS;

void FailureNote::record(const String& what, Weight newWeight) {
    if (weight == ALWAYS && newWeight != ALWAYS && !note.isEmpty()) return;
    note = what;
    weight = newWeight;
}

bool FailureNote::has() {
    return !note.isEmpty();
}

bool FailureNote::toShow(bool commandFailed, String& what) {
    if (note.isEmpty() || (!commandFailed && weight != ALWAYS)) return false;
    what = note;
    return true;
}

void FailureNote::clear() {
    note.clear();
    weight = IF_COMMAND_FAILS;
}
