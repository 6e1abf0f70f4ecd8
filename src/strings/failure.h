// The one place that composes the messages of failures and throws them.
//
// Every function reads the error detail (errno or the calling thread's last error) before it does
// anything else, so nothing may stand between the failing call and the raise. Concatenation adds no
// character but those told here.
#pragma once

#include <cstdint>
#include <string>

namespace Sorvex::failure {

/// Throws std::runtime_error: the literal alone.
[[noreturn]] void raise(const char* literal);

/// Throws std::runtime_error: the literal, the subject.
[[noreturn]] void raiseFor(const char* literal, const std::string& subject);
/// The same of a subject that may be null, which adds nothing.
[[noreturn]] void raiseFor(const char* literal, const char* subject);

/// The same as std::logic_error, for an argument that no caller may pass.
[[noreturn]] void raiseLogicFor(const char* literal, const std::string& subject);

/// Throws std::runtime_error: the literal, the subject, a blank, the runtime's text for errno.
[[noreturn]] void raiseWithErrno(const char* literal, const std::string& subject);

/// Throws std::runtime_error: the literal, the first subject, " to ", the second, a blank, the
/// runtime's text for errno.
[[noreturn]] void raiseForPair(const char* literal, const std::string& first,
                               const std::string& second);

/// Throws std::runtime_error: the literal, the subject, " mode:", the mode, a full stop.
[[noreturn]] void raiseForMode(const char* literal, const std::string& subject, const char* mode);

/// Throws std::runtime_error: "CALL: ErrorCode N DETAIL" with the calling thread's last error. The
/// detail is a fixed description or the subject.
[[noreturn]] void raiseWithLastError(const char* call, const std::string& detail);

/// The same for a call that gives its error code as its result.
[[noreturn]] void raiseWithCode(const char* call, std::uint32_t code, const std::string& detail);

/// Throws std::runtime_error: the literal, the system's text for the calling thread's last error;
/// the literal alone when the system has none.
[[noreturn]] void raiseWithSystemText(const char* literal);

}  // namespace Sorvex::failure
