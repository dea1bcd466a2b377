// Command-line language of ZRUpdate: splitting the arguments into option
// names and values, the check of the command that was asked for, and the
// usage text.
#ifndef ZR_CMDLINE_H
#define ZR_CMDLINE_H

#include "String.h"
#include "Vector.h"
#include "util/PrintText.h"  // every command prints through printText

class CmdLine {
public:
    // Keeps argc and argv (argv is not copied and must outlive the object).
    CmdLine(int argc, char** argv);
    virtual ~CmdLine();

    // Splits argv into option names and values. Every option takes at most
    // one value, and a value never begins with "-".
    void parse();

    // True when `name` was given; `value` then receives the value of its
    // first occurrence. An empty name is never found.
    bool getOption(const String& name, String& value) const;

    // True when `name` was given (its value is not needed).
    bool hasOption(const String& name) const;

    // True when the short or the long form of a command was given.
    bool hasEither(const char* shortName, const char* longName) const;

    // 2 for "--x...", 1 for "-x...", 0 for anything else (a stray word).
    virtual int optionPrefixLength(const String& arg) const;

    // Number of option names parsed (repeated options count each time).
    int optionCount() const { return names.size(); }

    // The options given as typed ("-x", "--colour") whose names the
    // program does not know, in order.
    Vector<String> unknownOptions() const;

    const Vector<String>& getNames() const { return names; }
    const Vector<String>& getValues() const { return values; }

private:
    int argc;
    char** argv;
    Vector<String> names;
    Vector<String> values;
};

// Parses the command line and validates the command that wins by precedence.
// A failing check has printed its own message; the caller adds the try-help
// line.
bool checkOptions(CmdLine& cmdLine);

// Names each unknown option on standard error, one line each, beside the
// try-help line of standard output.
void reportUnknownOptions(const CmdLine& cmdLine);

// The usage text, exactly as `printUsage` prints it.
const char* usageText();

// Prints the usage text to standard output.
void printUsage();

// Decimal value of an option (the library's number parse: digits and
// blanks, no sign). False when the text is not a decimal number.
bool parseNumberOption(const String& text, long& out);

#endif
