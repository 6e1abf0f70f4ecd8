#include "strings/failure.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

#include <sorvex/bstring.h>

#include "platform/platform.h"
#include "platform/width.h"

namespace Sorvex::failure {

namespace {

// The user's default language.
constexpr std::uint32_t defaultLanguage = 0x400;

struct SystemMemoryRelease {
    void operator()(char* block) const { platform::LocalFree(block); }
};

std::unique_ptr<char, SystemMemoryRelease> systemText(std::uint32_t code) {
    char* text = nullptr;
    // With an allocated buffer the platform takes the address of the pointer as the buffer.
    platform::FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
        nullptr, code, defaultLanguage, reinterpret_cast<char*>(&text), 0, nullptr);
    return std::unique_ptr<char, SystemMemoryRelease>(text);
}

}  // namespace

void raise(const char* literal) {
    throw std::runtime_error(literal);
}

void raiseFor(const char* literal, const std::string& subject) {
    throw std::runtime_error(literal + subject);
}

void raiseFor(const char* literal, const char* subject) {
    raiseFor(literal, std::string(subject == nullptr ? "" : subject));
}

void raiseLogicFor(const char* literal, const std::string& subject) {
    throw std::logic_error(literal + subject);
}

void raiseWithErrno(const char* literal, const std::string& subject) {
    const int number = errno;
    throw std::runtime_error(literal + subject + " " + std::strerror(number));
}

void raiseForPair(const char* literal, const std::string& first, const std::string& second) {
    const int number = errno;
    throw std::runtime_error(literal + first + " to " + second + " " + std::strerror(number));
}

void raiseForMode(const char* literal, const std::string& subject, const char* mode) {
    throw std::runtime_error(literal + subject + " mode:" + mode + ".");
}

void raiseWithLastError(const char* call, const std::string& detail) {
    raiseWithCode(call, asUnsigned32(platform::GetLastError()), detail);
}

void raiseWithCode(const char* call, std::uint32_t code, const std::string& detail) {
    throw std::runtime_error(
        asString("%s: ErrorCode %d %s", call, asSigned32(code), detail.c_str()));
}

void raiseWithSystemText(const char* literal) {
    const auto text = systemText(asUnsigned32(platform::GetLastError()));
    throw std::runtime_error(text == nullptr ? std::string(literal)
                                             : literal + std::string(text.get()));
}

}  // namespace Sorvex::failure
