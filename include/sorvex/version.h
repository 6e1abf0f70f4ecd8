// The version of the library, for programs that are compiled against several. The build reads it
// here as well.
#ifndef SORVEX_VERSION_H
#define SORVEX_VERSION_H

#define SORVEX_VERSION_MAJOR 0  ///< Grows with changes that programs have to follow.
#define SORVEX_VERSION_MINOR 1  ///< Grows with what is new.
#define SORVEX_VERSION_PATCH 0  ///< Grows with what is mended.

/// The version as one number to compare: 10203 is 1.2.3.
#define SORVEX_VERSION \
    (SORVEX_VERSION_MAJOR * 10000 + SORVEX_VERSION_MINOR * 100 + SORVEX_VERSION_PATCH)

#endif
