#include <sorvex/bpath.h>

#include <algorithm>
#include <string_view>

#include "files/path_information.h"
#include "platform/platform.h"
#include "strings/failure.h"

namespace Sorvex {

namespace {

// The longest full name that the platform gives, its terminator included.
constexpr std::size_t fullNameSize = 260;

// Writes the full name into the buffer or raises the failure.
void makeFullName(char (&buffer)[fullNameSize], const char* name) {
    if (platform::_fullpath(buffer, name, fullNameSize) == nullptr)
        failure::raiseWithErrno("BPath::fullName(): can not get full name ", name);
}

// A name in two pieces, of any length, that make it up again.
struct SplitName {
    std::string_view place;  // drive and directory, with the separator at its end
    std::string_view file;   // the file's name with its extension
};

// Splits a name behind its last separator, or else behind its drive: any character and a colon.
SplitName splitName(std::string_view name) noexcept {
    const std::size_t drive = name.size() > 1 && name[1] == ':' ? 2 : 0;
    std::size_t start = name.size();
    while (start > drive && name[start - 1] != '\\' && name[start - 1] != '/')
        --start;
    return {name.substr(0, start), name.substr(start)};
}

// Where the extension of a file's name begins: at its last dot, or at its end.
std::size_t extensionStart(std::string_view file) noexcept {
    return std::min(file.rfind('.'), file.size());
}

// The same as TimeStamp(long) gives, also for seconds beyond its 32 bits.
TimeStamp asTimeStamp(std::int64_t seconds) noexcept {
    constexpr std::int64_t secondsPerDay = 86400;
    constexpr std::int64_t millisecondsPerSecond = 1000;
    constexpr std::int64_t firstDay = 2440588;  // 1970-01-01
    return {static_cast<unsigned long>(seconds / secondsPerDay + firstDay),
            static_cast<unsigned long>(seconds % secondsPerDay * millisecondsPerSecond)};
}

}  // namespace

constinit const BPath::Attr BPath::readPermision(0x0100);
constinit const BPath::Attr BPath::directory(0x4000);
constinit const BPath::Attr BPath::characterDevice(0x2000);
constinit const BPath::Attr BPath::normalFile(0x8000);
constinit const BPath::Attr BPath::writePermision(0x0080);
constinit const BPath::Attr BPath::executable(0x0040);
constinit const BPath::Attr BPath::allFiles(0xFFFF);
constinit const BPath::Attr BPath::allAttr(0xFFFF);
constinit const BPath::Attr BPath::noAttr(0);

BPath::BPath(const char* name) : pathName(name) {}

BPath::BPath(const std::string& name) : pathName(name) {}

BPath::~BPath() = default;

BPath::BPath(const BPath& other) : pathName(other.pathName) {}

BPath& BPath::operator=(const BPath& other) {
    pathName = other.pathName;
    information.reset();
    return *this;
}

bool BPath::exists(const char* name) noexcept {
    return platform::_access(name, 0) == 0;
}

bool BPath::exists() const noexcept {
    return exists(pathName.c_str());
}

void BPath::move(const char* oldName, const char* newName, bool replace) {
    if (platform::isTaken(newName)) {
        if (!replace)
            failure::raiseWithErrno("BPath::move(): error file exists ", newName);
        // What is moved onto itself, or leads there, must not be removed to make room for it.
        if (!platform::leadsTo(oldName, newName) && platform::remove(newName) != 0)
            failure::raiseWithErrno("BPath::move(): error removing file ", newName);
    }
    if (platform::rename(oldName, newName) != 0)
        failure::raiseForPair("BPath::move(): error renaming ", oldName, newName);
}

BPath& BPath::move(const char* newName, bool replace) {
    move(pathName.c_str(), newName, replace);
    pathName = newName;
    return *this;
}

void BPath::setAttributes(const char* name, Attr attributes) {
    if (platform::_chmod(name, static_cast<int>(static_cast<unsigned long>(attributes))) != 0)
        failure::raiseWithErrno("BPath::setAttributes(): error changing permisions ", name);
}

BPath& BPath::setAttributes(Attr attributes) {
    setAttributes(pathName.c_str(), attributes);
    return *this;
}

std::string BPath::fullName(const char* name) {
    char full[fullNameSize];
    makeFullName(full, name);
    return full;
}

std::string BPath::fullName() const {
    return fullName(pathName.c_str());
}

std::string BPath::parent(const char* name) {
    char full[fullNameSize];
    makeFullName(full, name);
    return std::string(splitName(full).place);
}

std::string BPath::parent() const {
    return parent(pathName.c_str());
}

std::string BPath::fileName(const char* name) {
    return std::string(splitName(name).file);
}

std::string BPath::fileName() const {
    return fileName(pathName.c_str());
}

std::string BPath::fileNameWithoutExtension(const char* name) {
    const std::string_view file = splitName(name).file;
    return std::string(file.substr(0, extensionStart(file)));
}

std::string BPath::fileNameWithoutExtension() const {
    return fileNameWithoutExtension(pathName.c_str());
}

std::string BPath::extension(const char* name) {
    const std::string_view file = splitName(name).file;
    return std::string(file.substr(extensionStart(file)));
}

std::string BPath::extension() const {
    return extension(pathName.c_str());
}

BPath::Attr BPath::attributes() const {
    return Attr(heldInformation().record.st_mode);
}

bool BPath::hasAttribute(Attr attribute) const {
    return (attributes() & attribute) != noAttr;
}

TimeStamp BPath::creationTime() const {
    return asTimeStamp(heldInformation().record.st_ctime);
}

TimeStamp BPath::lastAccessTime() const {
    return asTimeStamp(heldInformation().record.st_atime);
}

TimeStamp BPath::lastWriteTime() const {
    return asTimeStamp(heldInformation().record.st_mtime);
}

const BPath::Information& BPath::heldInformation() const {
    if (information == nullptr)
        getInformation();
    return *information;
}

void BPath::getInformation() const {
    information.reset();
    auto fresh = std::make_unique<Information>();
    if (platform::_stat(pathName.c_str(), &fresh->record) != 0)
        failure::raiseWithErrno("BPath::getInformation(): file not found ", pathName);
    information = std::move(fresh);
}

}  // namespace Sorvex
