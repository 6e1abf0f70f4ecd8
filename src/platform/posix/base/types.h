// The platform's basic types.
#pragma once

#include <cstdint>

namespace Sorvex::platform {

using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using UINT = std::uint32_t;
using HANDLE = void*;
using WCHAR = char16_t;

}  // namespace Sorvex::platform

namespace Sorvex {

constexpr platform::BOOL FALSE = 0;
constexpr platform::BOOL TRUE = 1;

constexpr platform::DWORD INFINITE = 0xFFFFFFFF;  // as a number of milliseconds: without limit

constexpr platform::DWORD WAIT_OBJECT_0 = 0;
constexpr platform::DWORD WAIT_TIMEOUT = 258;
constexpr platform::DWORD WAIT_FAILED = 0xFFFFFFFF;

}  // namespace Sorvex
