// How long the service manager waits for others.
#pragma once

#include <chrono>

namespace Sorvex::platform::services {

/// How long a service may take to connect or to answer a control, and how long the database may be
/// locked.
std::chrono::milliseconds responseLimit() noexcept;

/// A point in time that a wait ends at.
class TimeLimit {
public:
    explicit TimeLimit(std::chrono::milliseconds limit) noexcept
        : end(std::chrono::steady_clock::now() + limit) {}

    bool isOver() const noexcept { return std::chrono::steady_clock::now() >= end; }

    /// Milliseconds that are left, rounded up, for poll.
    int left() const noexcept {
        const auto rest =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        return rest.count() > 0 ? static_cast<int>(rest.count()) : 0;
    }

private:
    std::chrono::steady_clock::time_point end;
};

}  // namespace Sorvex::platform::services
