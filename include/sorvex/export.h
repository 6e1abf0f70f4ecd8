// The export macro of the shared library.
#ifndef SORVEX_EXPORT_H
#define SORVEX_EXPORT_H

/// Marks a class or function that the shared library shows to the programs that link it.
///
/// SORVEX_STATIC is defined by the build for users of the static library, SORVEX_BUILDING while the
/// library itself is compiled. The object format, not the system, decides the spelling.
#if defined(SORVEX_STATIC)
#define SORVEX_API
#elif defined(__ELF__)
#define SORVEX_API __attribute__((visibility("default")))
#elif defined(SORVEX_BUILDING)
#define SORVEX_API __declspec(dllexport)
#else
#define SORVEX_API __declspec(dllimport)
#endif

#endif
