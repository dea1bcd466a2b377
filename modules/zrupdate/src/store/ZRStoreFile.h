#ifndef ZR_STORE_FILE_H
#define ZR_STORE_FILE_H

#include "String.h"
#include "io/AtomicFile.h"

class XMLTree;
class ZRXmlDocument;

// Whole-document reading and writing shared by the state stores.
//
// A state document is always replaced as a whole through a temporary file and
// a rename, never rewritten in place: a crash, a kill, a power cut or a full
// disk in the middle of a save leaves either the complete old document or the
// complete new one on disk, never a truncated mixture that would make the
// next start-up fail with a broken inventory.
namespace ZRStoreFile {

// Parses the file at `path` into `doc`. An IOException from opening the file
// passes to the caller; a document that does not parse gives false.
bool read(ZRXmlDocument& doc, const String& path);

// Writes the text form of `tree` as the new content of `path`. On failure
// the previous content stays, the reason is written to the log at the debug
// level as `failurePrefix` followed by the exception's message, and the
// result is false. `modeLimit` bounds the file's permission bits
// (AtomicFile::PRIVATE_MODE for a document holding credentials).
bool write(XMLTree& tree, const String& path, const String& failurePrefix,
           mode_t modeLimit = AtomicFile::ANY_MODE);

// The same for a document already in text form.
bool writeText(const String& text, const String& path, const String& failurePrefix,
               mode_t modeLimit = AtomicFile::ANY_MODE);

// Writes the document made by `makeText` as the new content of `path`: 0 on
// success, -1 for a null or empty path, a document that cannot be made or a
// failed write (logged with `failurePrefix`, or the file's own prefix when
// that is null).
int createDocument(const char* path, String (*makeText)(), const char* failurePrefix,
                   mode_t modeLimit = AtomicFile::ANY_MODE);

// The text of a document holding only the empty root element `rootName`, or
// "" when it cannot be made.
String emptyDocumentText(const char* rootName);

// "ZRUpdate: store " + the file's name + " failed: ", the start of the log
// line that reports a failed write of that file.
String failurePrefix(const String& path);

// Writes a diagnostic line to the process log at the debug level.
void logDebug(const String& message);

// home + "/" + name: the full path of a state file named relative to the
// home directory.
String homeFile(const char* name);

}  // namespace ZRStoreFile

#endif
