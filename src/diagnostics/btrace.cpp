#include <iostream>

#include <sorvex/diagnostics.h>

#include "platform/platform.h"
#include "platform/width.h"

namespace Sorvex {

namespace {

const char* textOrNothing(const char* text) {
    return text == nullptr ? "" : text;
}

long asLong(long number) {
    return asSigned32(number);
}

}  // namespace

BTrace::BTrace(const char* name, long number)
    : theName(textOrNothing(name)), theThreadId(asSigned32(platform::GetCurrentThreadId())) {
    std::cerr << theThreadId << ": "
              << "+" << textOrNothing(name);
    if (asLong(number) != 0)
        std::cerr << " " << asLong(number);
    std::cerr << std::endl;
}

BTrace::~BTrace() {
    std::cerr << theThreadId << ": "
              << "-" << theName << std::endl;
}

BTrace::BTrace(const BTrace& other) = default;

BTrace& BTrace::operator=(const BTrace& other) = default;

void BTrace::write(const std::string& text) {
    std::cerr << text << std::endl;
}

void BTrace::write(const char* text) {
    std::cerr << textOrNothing(text) << std::endl;
}

void BTrace::write(const char* text, long number) {
    std::cerr << textOrNothing(text) << " " << asLong(number) << std::endl;
}

}  // namespace Sorvex
