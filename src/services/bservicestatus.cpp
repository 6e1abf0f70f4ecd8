#include <sorvex/services.h>

namespace Sorvex {

BServiceStatus::BServiceStatus() noexcept : record{} {}

BServiceStatus::BServiceStatus(const _SERVICE_STATUS& source) noexcept : record(source) {}

BServiceStatus::operator _SERVICE_STATUS*() noexcept {
    return &record;
}

std::uint32_t BServiceStatus::type() const noexcept {
    return record.dwServiceType;
}

BServiceStatus& BServiceStatus::setType(std::uint32_t type) noexcept {
    record.dwServiceType = type;
    return *this;
}

std::uint32_t BServiceStatus::state() const noexcept {
    return record.dwCurrentState;
}

BServiceStatus& BServiceStatus::setState(std::uint32_t state) noexcept {
    record.dwCurrentState = state;
    return *this;
}

std::uint32_t BServiceStatus::controlsAccepted() const noexcept {
    return record.dwControlsAccepted;
}

BServiceStatus& BServiceStatus::acceptControls(std::uint32_t controls) noexcept {
    record.dwControlsAccepted = controls;
    return *this;
}

std::uint32_t BServiceStatus::exitCode() const noexcept {
    return record.dwWin32ExitCode;
}

BServiceStatus& BServiceStatus::setExitCode(std::uint32_t code) noexcept {
    record.dwWin32ExitCode = code;
    return *this;
}

std::uint32_t BServiceStatus::specificExitCode() const noexcept {
    return record.dwServiceSpecificExitCode;
}

BServiceStatus& BServiceStatus::setSpecificExitCode(std::uint32_t code) noexcept {
    record.dwServiceSpecificExitCode = code;
    return *this;
}

std::uint32_t BServiceStatus::checkPoint() const noexcept {
    return record.dwCheckPoint;
}

BServiceStatus& BServiceStatus::setCheckPoint(std::uint32_t checkPoint) noexcept {
    record.dwCheckPoint = checkPoint;
    return *this;
}

BServiceStatus& BServiceStatus::incCheckPoint() noexcept {
    ++record.dwCheckPoint;
    return *this;
}

std::uint32_t BServiceStatus::waitHint() const noexcept {
    return record.dwWaitHint;
}

BServiceStatus& BServiceStatus::setWaitHint(std::uint32_t milliseconds) noexcept {
    record.dwWaitHint = milliseconds;
    return *this;
}

}  // namespace Sorvex
