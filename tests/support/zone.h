// The time zone of the test's own process.
#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace Sorvex::testing {

/// Another zone for the length of a scope.
class Zone {
public:
    explicit Zone(const char* name) {
        if (const char* present = std::getenv("TZ"))
            earlier = present;
        set(name);
    }
    ~Zone() { set(earlier ? earlier->c_str() : nullptr); }

    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;

private:
    static void set(const char* name) {
        name == nullptr ? ::unsetenv("TZ") : ::setenv("TZ", name, 1);
        ::tzset();
    }

    std::optional<std::string> earlier;
};

}  // namespace Sorvex::testing
