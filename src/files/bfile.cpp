#include <sorvex/bfile.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <typeinfo>

#include <sorvex/bstring.h>

#include "files/path_information.h"
#include "platform/platform.h"
#include "platform/width.h"
#include "strings/failure.h"

namespace Sorvex {

namespace {

platform::FILE* opened(void* file) noexcept {
    return static_cast<platform::FILE*>(file);
}

// Lets what follows on a closed file fail as the host does on a bad descriptor.
bool isClosed(const void* file) noexcept {
    if (file != nullptr)
        return false;
    errno = EBADF;
    return true;
}

constexpr bool isDropped(char character) noexcept {
    return character == '\r' || character == '\f';
}

// Lets a write of more than 32 bits can count fail as the host does on a file that grows too large.
bool isTooLarge(std::size_t counted, unsigned long size) noexcept {
    if (counted == size)
        return false;
    errno = EFBIG;
    return true;
}

// What is beyond the platform's positions becomes one that it refuses, and no smaller one.
constexpr long asOffset(unsigned long position) noexcept {
    constexpr unsigned long largest = 0x7FFFFFFF;
    return position > largest ? -1 : static_cast<long>(position);
}

}  // namespace

BFile::BFile(const char* name) : BPath(name) {}

BFile::BFile(const std::string& name) : BPath(name) {}

BFile::~BFile() {
    close();
}

BFile& BFile::close() noexcept {
    if (file != nullptr)
        platform::fclose(opened(file));
    file = nullptr;
    return *this;
}

BFile& BFile::create(const char* mode) {
    // Otherwise what it still holds would be lost.
    close();
    file = platform::fopen(pathName.c_str(), mode);
    if (file == nullptr)
        failure::raiseForMode("BFile::create(): can not fopen ", pathName,
                              mode == nullptr ? "" : mode);
    return *this;
}

BFile& BFile::open(const char* mode) {
    return create(mode);
}

BFile& BFile::open(const char* name, const char* mode) {
    pathName = name;
    return create(mode);
}

unsigned long BFile::read(void* buffer, unsigned long size) {
    const std::size_t wanted = atMost32Bits(size);
    if (isClosed(file))
        failure::raiseWithErrno("BFile::read(): error on fread ", pathName);
    const std::size_t count = platform::fread(buffer, 1, wanted, opened(file));
    if (count < wanted && platform::ferror(opened(file)) != 0)
        failure::raiseWithErrno("BFile::read(): error on fread ", pathName);
    return static_cast<unsigned long>(count);
}

unsigned long BFile::write(const void* buffer, unsigned long size) {
    const std::size_t wanted = atMost32Bits(size);
    if (isClosed(file) || isTooLarge(wanted, size))
        failure::raiseWithErrno("BFile::write(): error on fwrite ", pathName);
    const std::size_t count = platform::fwrite(buffer, 1, wanted, opened(file));
    if (count < wanted && platform::ferror(opened(file)) != 0)
        failure::raiseWithErrno("BFile::write(): error on fwrite ", pathName);
    return static_cast<unsigned long>(count);
}

BFile& BFile::flush() {
    if (isClosed(file) || platform::fflush(opened(file)) != 0)
        failure::raiseWithErrno("BFile::flush(): error on fflush ", pathName);
    return *this;
}

BFile& BFile::setPosition(unsigned long position) {
    if (isClosed(file) || platform::fseek(opened(file), asOffset(position), SEEK_SET) != 0)
        failure::raiseWithErrno("BFile::setPosition(): error on fseek() ", pathName);
    return *this;
}

unsigned long BFile::getPosition() {
    const long position = isClosed(file) ? -1 : platform::ftell(opened(file));
    if (position == -1 && (file == nullptr || platform::ferror(opened(file)) != 0))
        failure::raiseWithErrno("BFile::getPosition(): error on ftell() ", pathName);
    return asUnsigned32(position);
}

bool BFile::isEof() noexcept {
    return file == nullptr || platform::feof(opened(file)) != 0;
}

std::string BFile::getLine() {
    std::string line;
    if (isEof())
        return line;
    if (typeid(*this) == typeid(BFile)) {
        // Nobody can tell a line taken at once from one taken by single bytes.
        if (!platform::appendLine(opened(file), line) && platform::ferror(opened(file)) != 0)
            failure::raiseWithErrno("BFile::read(): error on fread ", pathName);
        return line;
    }
    char byte = 0;
    while (!isEof() && byte != '\n')
        if (read(&byte, 1) == 1 && byte != '\n' && !isDropped(byte))
            line += byte;
    return line;
}

unsigned long BFile::size() const {
    return asUnsigned32(heldInformation().record.st_size);
}

bool BFile::canAccess(const char* name, AccessMode mode) {
    // What the platform takes for each mode.
    constexpr int arguments[] = {0, 4, 2, 6};
    const auto number = static_cast<std::size_t>(mode);
    if (number >= std::size(arguments))
        failure::raiseLogicFor("BFile::canAccess(): Invalid access mode specified for file ", name);
    return platform::_access(name, arguments[number]) == 0;
}

bool BFile::canAccess(AccessMode mode) const {
    return canAccess(pathName.c_str(), mode);
}

void BFile::remove(const char* name) {
    if (platform::remove(name) != 0)
        failure::raiseWithErrno("BFile::remove(): error removing file ", name);
}

BFile& BFile::remove() {
    remove(pathName.c_str());
    return *this;
}

void BFile::copy(const char* source, const char* target, bool overwrite) {
    if (platform::CopyFileA(source, target, overwrite ? FALSE : TRUE) == 0)
        failure::raiseForPair("BFile::copy(): failed ", source, target);
}

BFile& BFile::copy(const char* target, bool overwrite) {
    copy(pathName.c_str(), target, overwrite);
    return *this;
}

std::string BFile::safeFileName(const std::string& name) {
    std::string candidate = name;
    const std::string::size_type dot = std::min(name.rfind('.'), name.size());
    const std::string base = name.substr(0, dot);
    const std::string extension = name.substr(dot);
    for (unsigned counter = 1; platform::isTaken(candidate.c_str()); ++counter)
        candidate = BString::asString("%s.%.3u%s", base.c_str(), counter, extension.c_str());
    return candidate;
}

}  // namespace Sorvex
