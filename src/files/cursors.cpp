#include <sorvex/cursors.h>

#include <string_view>

#include <sorvex/bpath.h>
#include <sorvex/bstring.h>

#include "files/cursor_record.h"
#include "platform/platform.h"
#include "platform/width.h"
#include "strings/failure.h"

namespace Sorvex {

namespace {

bool isOpen(const void* findHandle) noexcept {
    return findHandle != nullptr && findHandle != INVALID_HANDLE_VALUE;
}

TimeStamp localTime(const platform::FILETIME& time) {
    platform::FILETIME local{};
    platform::SYSTEMTIME calendar{};
    platform::FileTimeToLocalFileTime(&time, &local);
    platform::FileTimeToSystemTime(&local, &calendar);
    return TimeStamp(calendar.wYear, calendar.wMonth, calendar.wDay, calendar.wHour,
                     calendar.wMinute, calendar.wSecond, calendar.wMilliseconds);
}

}  // namespace

BPathCursor::BPathCursor(const char* directory, const char* pattern)
    : directoryPath(directory), searchPattern(pattern) {}

BPathCursor::BPathCursor(const std::string& directory, const std::string& pattern)
    : directoryPath(directory), searchPattern(pattern) {}

BPathCursor::BPathCursor(const std::string& directory, const char* pattern)
    : directoryPath(directory), searchPattern(pattern) {}

BPathCursor::~BPathCursor() {
    if (isOpen(findHandle))
        platform::FindClose(findHandle);
}

bool BPathCursor::first() {
    return prepare() && settle(platform::FindFirstFileA(searchText().c_str(), findData.get()));
}

// Ends an earlier search and makes room for the first entry of the next. No search is needed for a
// directory without a name, whose search text would be that of a root.
bool BPathCursor::prepare() {
    if (findData == nullptr)
        findData = std::make_unique<Record>();
    if (isOpen(findHandle) && platform::FindClose(findHandle) == 0)
        failure::raiseFor("BPathCursor::~BPathCursor(): FindClose() ",
                          directoryPath + searchPattern);
    findHandle = nullptr;
    valid = false;
    return !directoryPath.empty() || settleEmpty();
}

// Takes note of what a new search has found.
bool BPathCursor::settle(void* found) {
    findHandle = found;
    if (findHandle != INVALID_HANDLE_VALUE) {
        valid = true;
        return true;
    }
    const platform::DWORD error = platform::GetLastError();
    if (error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND &&
        error != ERROR_NO_MORE_FILES) {
        *findData = Record();
        failure::raiseFor("BPathCursor::BPathCursor(): FindFirstFile() ", searchText());
    }
    return settleEmpty();
}

// No search stands behind the cursor, and its record holds no entry.
bool BPathCursor::settleEmpty() {
    findHandle = INVALID_HANDLE_VALUE;
    *findData = Record();
    return false;
}

bool BPathCursor::next() {
    valid = platform::FindNextFileA(findHandle, findData.get()) == TRUE;
    if (!valid && platform::GetLastError() != ERROR_NO_MORE_FILES)
        failure::raiseFor("BPathCursor::findNext(): FindNextFile() ",
                          directoryPath + searchPattern);
    return valid;
}

BPathCursor& BPathCursor::operator++() {
    next();
    return *this;
}

BPathCursor& BPathCursor::operator++(int) {
    next();
    return *this;
}

std::string BPathCursor::searchText() const {
    return directoryPath + OSInterface::directorySeparatorCharacter() + searchPattern;
}

bool BPathCursor::isOnDots() const noexcept {
    const std::string_view entry(findData->cFileName);
    return entry == "." || entry == "..";
}

bool BPathCursor::hasEntry() const noexcept {
    return findData != nullptr && findData->cFileName[0] != '\0';
}

std::string BPathCursor::name() const {
    return hasEntry() ? std::string(findData->cFileName) : std::string();
}

std::string BPathCursor::fullName() const {
    if (!hasEntry())
        return {};
    const std::string_view entry(findData->cFileName);
    std::string joined;
    joined.reserve(directoryPath.size() + 1 + entry.size());
    joined += directoryPath;
    joined += OSInterface::directorySeparatorCharacter();
    joined += entry;
    return BPath::fullName(joined.c_str());
}

std::string BPathCursor::extension() const {
    return hasEntry() ? BPath::extension(findData->cFileName) : std::string();
}

unsigned long BPathCursor::attributes() const noexcept {
    return hasEntry() ? findData->dwFileAttributes : 0;
}

bool BPathCursor::hasAttribute(unsigned long attribute) const {
    return (attributes() & asUnsigned32(attribute)) != 0;
}

bool BPathCursor::isDirectory() const noexcept {
    return (attributes() & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

unsigned long BPathCursor::size() const {
    return hasEntry() ? findData->nFileSizeLow : 0;
}

TimeStamp BPathCursor::creationTime() const {
    return hasEntry() ? localTime(findData->ftCreationTime) : TimeStamp(0UL, 0UL);
}

TimeStamp BPathCursor::lastAccessTime() const {
    return hasEntry() ? localTime(findData->ftLastAccessTime) : TimeStamp(0UL, 0UL);
}

TimeStamp BPathCursor::lastWriteTime() const {
    return hasEntry() ? localTime(findData->ftLastWriteTime) : TimeStamp(0UL, 0UL);
}

BDirectoryCursor::BDirectoryCursor(const char* directory, const char* pattern)
    : BPathCursor(directory, pattern) {
    BDirectoryCursor::first();
}

BDirectoryCursor::BDirectoryCursor(const std::string& directory, const std::string& pattern)
    : BPathCursor(directory, pattern) {
    BDirectoryCursor::first();
}

BDirectoryCursor::BDirectoryCursor(const std::string& directory, const char* pattern)
    : BPathCursor(directory, pattern) {
    BDirectoryCursor::first();
}

BDirectoryCursor::~BDirectoryCursor() = default;

bool BDirectoryCursor::first() {
    return passOver(prepare() &&
                    settle(platform::findFirstDirectory(searchText().c_str(), findData.get())));
}

bool BDirectoryCursor::next() {
    return passOver(BPathCursor::next());
}

bool BDirectoryCursor::passOver(bool found) {
    while (found && (!isDirectory() || isOnDots()))
        found = BPathCursor::next();
    valid = found;
    return valid;
}

BFileCursor::BFileCursor(const char* directory, const char* pattern)
    : BPathCursor(directory, pattern) {
    BFileCursor::first();
}

BFileCursor::BFileCursor(const std::string& directory, const std::string& pattern)
    : BPathCursor(directory, pattern) {
    BFileCursor::first();
}

BFileCursor::BFileCursor(const std::string& directory, const char* pattern)
    : BPathCursor(directory, pattern) {
    BFileCursor::first();
}

BFileCursor::BFileCursor(const char* path)
    : BPathCursor(BPath::parent(path), BPath::fileName(path)) {
    BFileCursor::first();
}

BFileCursor::~BFileCursor() = default;

bool BFileCursor::first() {
    return passOver(prepare() &&
                    settle(platform::findFirstFile(searchText().c_str(), findData.get())));
}

bool BFileCursor::next() {
    return passOver(BPathCursor::next());
}

bool BFileCursor::passOver(bool found) {
    while (found && isDirectory())
        found = BPathCursor::next();
    valid = found;
    return valid;
}

}  // namespace Sorvex
