#include <utility>

#include <sorvex/bstring.h>
#include <sorvex/hostinfo.h>

#include "platform/platform.h"
#include "strings/failure.h"

namespace Sorvex {

namespace {

using FixedInfo = platform::VS_FIXEDFILEINFO;

std::uint16_t upperHalf(const FixedInfo* info, platform::DWORD FixedInfo::*member) {
    return info == nullptr ? std::uint16_t{0} : static_cast<std::uint16_t>(info->*member >> 16);
}

std::uint16_t lowerHalf(const FixedInfo* info, platform::DWORD FixedInfo::*member) {
    return info == nullptr ? std::uint16_t{0} : static_cast<std::uint16_t>(info->*member);
}

std::uint32_t whole(const FixedInfo* info, platform::DWORD FixedInfo::*member) {
    return info == nullptr ? 0 : info->*member;
}

std::string versionText(int major, int minor, int build) {
    return BString::asString("%d.%02d.%04d", major, minor, build);
}

}  // namespace

VersionInfo::VersionInfo(const char* fileName) : BFile(fileName) {}

VersionInfo::~VersionInfo() = default;

VersionInfo& VersionInfo::getInfo() {
    fixedInfo = nullptr;
    infoBuffer.reset();
    platform::DWORD unused = 0;
    infoSize = platform::GetFileVersionInfoSizeA(name().c_str(), &unused);
    if (infoSize == 0)
        return *this;
    // Kept only once it is filled, so that nobody asks a block without contents.
    std::unique_ptr<unsigned char[]> block(new unsigned char[infoSize]);
    if (!platform::GetFileVersionInfoA(name().c_str(), 0, infoSize, block.get()))
        failure::raiseWithLastError("GetFileVersionInfo()", name());
    infoBuffer = std::move(block);
    void* root = nullptr;
    platform::UINT length = 0;
    if (!platform::VerQueryValueA(infoBuffer.get(), "\\", &root, &length))
        failure::raiseWithLastError("VerQueryValue()", name());
    fixedInfo = static_cast<const FixedInfo*>(root);
    return *this;
}

std::string VersionInfo::value(const char* subBlock) {
    if (infoBuffer == nullptr)
        return {};
    void* found = nullptr;
    platform::UINT length = 0;
    if (!platform::VerQueryValueA(infoBuffer.get(), subBlock, &found, &length))
        failure::raiseWithLastError("VerQueryValue()", name() + subBlock);
    return {static_cast<const char*>(found), length};
}

std::string VersionInfo::fileVersion() const {
    return versionText(majorVersion(), minorVersion(), build());
}

std::string VersionInfo::productVersion() const {
    return versionText(productMajorVersion(), productMinorVersion(), productBuild());
}

std::uint16_t VersionInfo::majorVersion() const noexcept {
    return upperHalf(fixedInfo, &FixedInfo::dwFileVersionMS);
}

std::uint16_t VersionInfo::minorVersion() const noexcept {
    return lowerHalf(fixedInfo, &FixedInfo::dwFileVersionMS);
}

std::uint16_t VersionInfo::build() const noexcept {
    return upperHalf(fixedInfo, &FixedInfo::dwFileVersionLS);
}

std::uint16_t VersionInfo::subBuild() const noexcept {
    return lowerHalf(fixedInfo, &FixedInfo::dwFileVersionLS);
}

std::uint16_t VersionInfo::productMajorVersion() const noexcept {
    return upperHalf(fixedInfo, &FixedInfo::dwProductVersionMS);
}

std::uint16_t VersionInfo::productMinorVersion() const noexcept {
    return lowerHalf(fixedInfo, &FixedInfo::dwProductVersionMS);
}

std::uint16_t VersionInfo::productBuild() const noexcept {
    return upperHalf(fixedInfo, &FixedInfo::dwProductVersionLS);
}

std::uint16_t VersionInfo::productSubBuild() const noexcept {
    return lowerHalf(fixedInfo, &FixedInfo::dwProductVersionLS);
}

std::uint32_t VersionInfo::fileOS() const noexcept {
    return whole(fixedInfo, &FixedInfo::dwFileOS);
}

std::uint32_t VersionInfo::fileType() const noexcept {
    return whole(fixedInfo, &FixedInfo::dwFileType);
}

std::uint32_t VersionInfo::fileSubType() const noexcept {
    return whole(fixedInfo, &FixedInfo::dwFileSubtype);
}

std::uint32_t VersionInfo::fileFlags() const noexcept {
    return whole(fixedInfo, &FixedInfo::dwFileFlags);
}

std::uint32_t VersionInfo::fileFlagsMask() const noexcept {
    return whole(fixedInfo, &FixedInfo::dwFileFlagsMask);
}

}  // namespace Sorvex
