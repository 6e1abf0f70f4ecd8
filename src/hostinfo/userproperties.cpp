#include <cstring>
#include <memory>

#include <sorvex/hostinfo.h>

#include "platform/platform.h"
#include "strings/failure.h"

namespace Sorvex {

namespace {

// The work buffers of one group check.
constexpr int wideNameCapacity = 64;
constexpr int narrowNameCapacity = 64;

constexpr platform::DWORD firstPreferredLength = 128;
constexpr platform::DWORD bufferTooSmall = 2123;

class WideName {
public:
    explicit WideName(const std::string& name) {
        if (platform::MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, name.c_str(), -1, units,
                                          wideNameCapacity) == 0)
            failure::raiseWithLastError("MultiByteToWideChar()",
                                        "unable to convert user name to Unicode");
    }

    const platform::WCHAR* get() const { return units; }

private:
    platform::WCHAR units[wideNameCapacity];
};

// One list of groups, as a query of the platform gives it.
class GroupList {
public:
    GroupList() = default;
    ~GroupList() {
        if (block != nullptr)
            platform::NetApiBufferFree(block);
    }

    GroupList(const GroupList&) = delete;
    GroupList& operator=(const GroupList&) = delete;

    void release() {
        if (block == nullptr)
            return;
        platform::BYTE* held = block;
        block = nullptr;
        const auto result = platform::NetApiBufferFree(held);
        if (result != NERR_Success)
            failure::raiseWithCode(
                "NetApiBufferFree", result,
                "unable to release buffer allocated by NetUserGetLocalGroups call");
    }

    // Asks with room for twice as much each time until the list is whole.
    template <typename Query>
    void read(Query query) {
        platform::DWORD preferredLength = firstPreferredLength / 2;
        platform::NET_API_STATUS result = NERR_Success;
        do {
            preferredLength *= 2;
            release();
            entryCount = 0;
            result = query(preferredLength, &block, &entryCount);
        } while (result == bufferTooSmall || result == ERROR_MORE_DATA);
        if (result != NERR_Success)
            failure::raiseWithCode("NetUserGetLocalGroups", result,
                                   "unable to retrieve group list");
    }

    bool holds(const char* group) const {
        if (block == nullptr)
            return false;
        // At this level an entry is no more than a pointer to a name.
        const auto* names = reinterpret_cast<const platform::WCHAR* const*>(block);
        for (platform::DWORD index = 0; index < entryCount; ++index) {
            char name[narrowNameCapacity];
            if (platform::WideCharToMultiByte(CP_ACP, 0, names[index], -1, name, narrowNameCapacity,
                                              nullptr, nullptr) == 0)
                failure::raiseWithLastError("WideCharToMultiByte()",
                                            "unable to convert group name from Unicode");
            if (std::strcmp(name, group) == 0)
                return true;
        }
        return false;
    }

private:
    platform::BYTE* block = nullptr;
    platform::DWORD entryCount = 0;
};

template <typename Query>
bool isListed(const char* group, Query query) {
    GroupList list;
    list.read(query);
    if (list.holds(group))
        return true;
    list.release();
    return false;
}

}  // namespace

UserProperties::UserProperties(const char* name) : userName(name) {}

bool UserProperties::isValidPassword(const char* /*password*/) {
    return true;
}

bool UserProperties::isMemberOfGroup(const char* /*group*/) {
    return true;
}

WindowsUserProperties::WindowsUserProperties(const char* name) : UserProperties(name) {}

bool WindowsUserProperties::isValidPassword(const char* password) {
    platform::HANDLE token = nullptr;
    if (platform::LogonUserA(userName.c_str(), nullptr, password, LOGON32_LOGON_NETWORK,
                             LOGON32_PROVIDER_DEFAULT, &token)) {
        platform::CloseHandle(token);
        return true;
    }
    switch (platform::GetLastError()) {
        case ERROR_PRIVILEGE_NOT_HELD:
            failure::raise(
                "Error privilege not held. Make sure to enable 'act as part of the operating "
                "system' user right is enabled for you");
        case ERROR_LOGON_FAILURE:
            return false;
        default:
            failure::raiseWithLastError("LogonUser()", "unable to verify password");
    }
}

bool WindowsUserProperties::isMemberOfGroup(const char* group) {
    const WideName user(userName);
    const bool isLocal = isListed(
        group, [&user](platform::DWORD length, platform::BYTE** list, platform::DWORD* entries) {
            platform::DWORD total = 0;
            return platform::NetUserGetLocalGroups(nullptr, user.get(), 0, LG_INCLUDE_INDIRECT,
                                                   list, length, entries, &total);
        });
    return isLocal || isMemberOfGlobalGroup(group);
}

bool WindowsUserProperties::isMemberOfGlobalGroup(const char* group) {
    const WideName user(userName);
    return isListed(group, [&user](platform::DWORD length, platform::BYTE** list,
                                   platform::DWORD* entries) {
        platform::DWORD total = 0;
        return platform::NetUserGetGroups(nullptr, user.get(), 0, list, length, entries, &total);
    });
}

}  // namespace Sorvex
