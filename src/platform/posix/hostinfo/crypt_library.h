// The host's library that hashes passwords.
#pragma once

#include <cstddef>

namespace Sorvex::platform {

struct CryptLibrary {
    using Hash = char*(const char* password, const char* setting, void* data);
    using MakeSetting = char*(const char* prefix, unsigned long count, const char* random,
                              int randomSize, char* setting, int settingSize);

    /// Enough for the record of every maker of this library. It is zero before the first call.
    static constexpr std::size_t dataSize = 0x21000;

    bool isPresent = false;
    Hash* hash = nullptr;                ///< safe on several threads, each with its own record
    MakeSetting* makeSetting = nullptr;  ///< null in older libraries
};

/// Opens libcrypt.so.1 when it is first asked for, and keeps it. May be called on several threads.
CryptLibrary openCryptLibrary();

}  // namespace Sorvex::platform
