#include <cstdarg>
#include <cstdio>
#include <exception>
#include <ostream>

#include <sorvex/bstring.h>

#include "strings/failure.h"
#include "strings/formatting.h"

namespace Sorvex {

std::string asString(const char* format, ...) {
    FormatBuffer buffer;
    va_list values;
    va_start(values, format);
    const bool fits = buffer.format(format, values);
    va_end(values);
    if (!fits)
        failure::raise("asString() : buffer overflow");
    return buffer.text();
}

std::ostream& operator<<(std::ostream& stream, std::exception& failure) {
    return stream << "Exception !" << std::endl << failure.what() << std::endl;
}

}  // namespace Sorvex
