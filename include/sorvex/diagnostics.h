// Scopes traced on the standard error stream, and scopes timed into profile files.
#ifndef SORVEX_DIAGNOSTICS_H
#define SORVEX_DIAGNOSTICS_H

#include <cstdint>
#include <string>

#include <sorvex/export.h>

namespace Sorvex {

/// Prints a line on the standard error stream when it is built and one when it is destroyed.
///
/// A scope named open with the number 5 on the thread 1234 prints "1234: +open 5" and then
/// "1234: -open". Numbers are printed in the stream's own flags. Every object that is destroyed
/// prints an end line, copies too, with the id of the thread that built the first of them.
///
/// Nothing fails and nothing is locked: each piece of a line is an insertion of its own, so lines
/// of several threads can mix. The thread id at their head sorts them out.
class SORVEX_API BTrace {
public:
    /// Prints the start line, with the number unless it is 0. A null name is an empty one.
    explicit BTrace(const char* name = nullptr, long number = 0);

    ~BTrace();  ///< Prints the end line.

    /// Copying and assigning take the name and the thread id over and print nothing.
    BTrace(const BTrace& other);
    BTrace& operator=(const BTrace& other);  ///< Takes name and thread id over.

    /// Prints a line of its own, with neither thread id nor sign. A null text is an empty one.
    static void write(const std::string& text);
    static void write(const char* text);  ///< Prints a C text as a line.

    /// Prints the text, a blank and the number, 0 too, as a line.
    static void write(const char* text, long number);

private:
    std::string theName;
    long theThreadId;
};

}  // namespace Sorvex

/// Times a scope and files the measurement under a name, which is the name of a file.
///
/// A measurement is a number of nanoseconds, on Windows of ticks of the performance counter, in 32
/// bits: a scope of 2^32 of them, 4.3 seconds in nanoseconds, begins at 0 again. Measurements are
/// gathered in batches; when a batch is full it is appended to the file, one decimal number a line,
/// and the next one starts empty. The file is open only for that time. A file that can't be written
/// loses its batch, and nothing is ever reported. What is left of a batch when the process ends is
/// dropped.
///
/// Building an object touches nothing shared and may happen on any thread. Objects must not be
/// destroyed on two threads at once.
class SORVEX_API Profiler {
public:
    /// @param fileName the file's name. Measurements belong together by the address of the name,
    ///     not by its text; it has to stay valid until the process ends, as a literal does
    /// @param samples measurements in a batch, 32 bits wide; 0 counts as 1. The first object of a
    ///     name to be destroyed settles it for all
    Profiler(const char* fileName, unsigned long samples);

    ~Profiler();  ///< Takes the measurement and files it.

    Profiler(const Profiler&) = delete;
    Profiler& operator=(const Profiler&) = delete;

private:
    std::uint32_t startCount;
    const char* name;
    std::uint32_t batchSize;
};

#endif
