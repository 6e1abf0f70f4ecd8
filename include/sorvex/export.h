// The export macro of the shared library, and the calling convention of the platform's routines.
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

/// Stands before the name of a routine that the platform calls: of a thread, of a service, of its
/// controls. Only 32-bit Windows has a calling convention of its own for them.
#if !defined(__ELF__) && (defined(__i386__) || defined(_M_IX86))
#define SORVEX_CALL __stdcall
#else
#define SORVEX_CALL
#endif

#endif
