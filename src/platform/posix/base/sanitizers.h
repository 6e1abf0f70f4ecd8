// Which sanitizer the library is built with.
#pragma once

#if defined(__SANITIZE_THREAD__)
#define SORVEX_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define SORVEX_THREAD_SANITIZER 1
#endif
#endif

#ifndef SORVEX_THREAD_SANITIZER
#define SORVEX_THREAD_SANITIZER 0
#endif
