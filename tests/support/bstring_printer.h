// Shows a BString in a test's message as the text it is.
#pragma once

#include <ostream>
#include <string>

#include <gtest/gtest.h>
#include <sorvex/bstring.h>

namespace Sorvex {

inline void PrintTo(const BString& text, std::ostream* stream) {
    *stream << ::testing::PrintToString(std::string(text));
}

}  // namespace Sorvex
