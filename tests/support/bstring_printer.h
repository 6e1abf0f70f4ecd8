// Shows a BString in a test's message as the text it is.
#ifndef SORVEX_TESTS_SUPPORT_BSTRING_PRINTER_H
#define SORVEX_TESTS_SUPPORT_BSTRING_PRINTER_H

#include <ostream>
#include <string>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

namespace Sorvex {

inline void PrintTo(const BString& text, std::ostream* stream) {
    *stream << ::testing::PrintToString(std::string(text));
}

}  // namespace Sorvex

#endif
