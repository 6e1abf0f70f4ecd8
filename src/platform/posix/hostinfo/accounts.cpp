#include "platform/posix/hostinfo/accounts.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <grp.h>
#include <pwd.h>
#include <sys/types.h>

#include "platform/posix/base/errors.h"
#include "platform/posix/hostinfo/name_service.h"
#include "platform/posix/strings/unicode.h"

namespace Sorvex::platform {

namespace {

// No group has this number.
constexpr gid_t noGroup = static_cast<gid_t>(-1);

std::string narrowName(const WCHAR* name) {
    std::string text(std::basic_string_view<WCHAR>(name).size() * 3, '\0');
    const int length = WideCharToMultiByte(CP_ACP, 0, name, -1, text.data(),
                                           static_cast<int>(text.size()) + 1, nullptr, nullptr);
    text.resize(static_cast<std::size_t>(std::max(length, 1)) - 1);
    return text;
}

// The groups that list the user. The name service adds the group that it is given, so it is given
// none: the primary group counts only where it lists the user too.
std::vector<gid_t> groupsThatList(const std::string& user) {
    constexpr std::size_t usualCount = 32;
    constexpr std::size_t largestCount = std::size_t{1} << 20;
    std::vector<gid_t> groups(usualCount);
    for (;;) {
        int count = static_cast<int>(groups.size());
        const bool isWhole = ::getgrouplist(user.c_str(), noGroup, groups.data(), &count) != -1;
        if (isWhole || groups.size() >= largestCount) {
            groups.resize(std::min(groups.size(), static_cast<std::size_t>(std::max(count, 0))));
            groups.erase(std::remove(groups.begin(), groups.end(), noGroup), groups.end());
            return groups;
        }
        groups.resize(std::clamp(static_cast<std::size_t>(std::max(count, 0)), groups.size() * 2,
                                 largestCount));
    }
}

// Gathers the names of a list and lays them out as one block: the pointers, then the texts.
class NameList {
public:
    explicit NameList(DWORD preferredLength) : limit(preferredLength) {}

    DWORD size() const { return static_cast<DWORD>(starts.size()); }

    /// False when the name does not fit any more.
    bool add(const char* name) {
        const auto units =
            static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, name, -1, nullptr, 0));
        if (blockSize(starts.size() + 1, texts.size() + units) > limit)
            return false;
        starts.push_back(texts.size());
        texts.resize(texts.size() + units);
        MultiByteToWideChar(CP_ACP, 0, name, -1, &texts[starts.back()], static_cast<int>(units));
        return true;
    }

    /// Null for no names, and when memory is short.
    BYTE* makeBlock() const {
        if (starts.empty())
            return nullptr;
        auto* block = static_cast<BYTE*>(std::malloc(blockSize(starts.size(), texts.size())));
        if (block == nullptr)
            return nullptr;
        auto* pointers = reinterpret_cast<const WCHAR**>(block);
        auto* copy = reinterpret_cast<WCHAR*>(pointers + starts.size());
        std::copy(texts.begin(), texts.end(), copy);
        for (const std::size_t start : starts)
            *pointers++ = copy + start;
        return block;
    }

private:
    static std::size_t blockSize(std::size_t names, std::size_t units) {
        return names * sizeof(WCHAR*) + units * sizeof(WCHAR);
    }

    std::size_t limit;
    std::vector<std::size_t> starts;
    std::basic_string<WCHAR> texts;  // each with its NUL
};

struct LocalGroup {
    std::string name;
    std::string members;  // each with a comma before and behind it
};

// The host's own groups by their numbers, of which several groups can have the same: the name
// service tells of the first alone.
std::multimap<gid_t, LocalGroup> localGroups() {
    std::multimap<gid_t, LocalGroup> groups;
    std::ifstream file("/etc/group");
    for (std::string line; std::getline(file, line);) {
        const std::size_t nameEnd = line.find(':');
        const std::size_t passwordEnd = line.find(':', nameEnd + 1);
        const std::size_t numberEnd = line.find(':', passwordEnd + 1);
        gid_t number = noGroup;
        if (nameEnd == std::string::npos || passwordEnd == std::string::npos ||
            numberEnd == std::string::npos ||
            std::from_chars(&line[passwordEnd + 1], &line[numberEnd], number).ptr !=
                &line[numberEnd])
            continue;
        std::string members(1, ',');
        members.append(line, numberEnd + 1).push_back(',');
        groups.emplace(number, LocalGroup{line.substr(0, nameEnd), std::move(members)});
    }
    return groups;
}

using Names = std::vector<std::string>;

// Adds the name of a group if it has one; 0, or the code of a database that can't be asked.
NET_API_STATUS addNameOf(gid_t number, Names& names) {
    struct group record {};
    LookupBuffer buffer;
    const int error = lookUp(
        record, buffer, [number](auto... arguments) { return ::getgrgid_r(number, arguments...); });
    if (error == 0)
        names.emplace_back(record.gr_name);
    return error == 0 || error == ENOENT ? NERR_Success : errorFromErrno(error);
}

NET_API_STATUS addGroupsThatList(const std::string& user, Names& names) {
    const std::multimap<gid_t, LocalGroup> local = localGroups();
    std::string listed(1, ',');
    listed.append(user).push_back(',');
    for (const gid_t number : groupsThatList(user)) {
        const auto [first, last] = local.equal_range(number);
        for (auto group = first; group != last; ++group)
            if (group->second.members.find(listed) != std::string::npos)
                names.push_back(group->second.name);
        if (first != last)
            continue;
        if (const NET_API_STATUS status = addNameOf(number, names); status != NERR_Success)
            return status;
    }
    return NERR_Success;
}

struct GroupList {
    BYTE** list;
    DWORD* entriesRead;
    DWORD* totalEntries;
};

// Both lists are made alike but for the groups that stand in them.
template <typename Choose>
NET_API_STATUS listGroups(const WCHAR* server, const WCHAR* user, DWORD level,
                          DWORD preferredLength, const GroupList& target, Choose choose) {
    *target.list = nullptr;
    *target.entriesRead = 0;
    *target.totalEntries = 0;
    if (server != nullptr || level != 0)
        return ERROR_NOT_SUPPORTED;
    const std::string name = narrowName(user);
    struct passwd account {};
    LookupBuffer buffer;
    const int error = lookUp(account, buffer, [&name](auto... arguments) {
        return ::getpwnam_r(name.c_str(), arguments...);
    });
    // A group can go on listing a user who is no more.
    if (error != 0)
        return error == ENOENT ? NERR_UserNotFound : errorFromErrno(error);
    Names names;
    if (const NET_API_STATUS status = choose(name, account, names); status != NERR_Success)
        return status;
    NameList fitting(preferredLength);
    const bool isWhole =
        std::all_of(names.begin(), names.end(),
                    [&fitting](const std::string& each) { return fitting.add(each.c_str()); });
    *target.list = fitting.makeBlock();
    if (*target.list == nullptr && fitting.size() != 0)
        return ERROR_NOT_ENOUGH_MEMORY;
    *target.entriesRead = fitting.size();
    *target.totalEntries = static_cast<DWORD>(names.size());
    return isWhole ? NERR_Success : ERROR_MORE_DATA;
}

}  // namespace

NET_API_STATUS NetUserGetLocalGroups(const WCHAR* server, const WCHAR* user, DWORD level,
                                     DWORD /*flags*/, BYTE** list, DWORD preferredLength,
                                     DWORD* entriesRead, DWORD* totalEntries) {
    return listGroups(server, user, level, preferredLength, {list, entriesRead, totalEntries},
                      [](const std::string& name, const struct passwd&, Names& names) {
                          return addGroupsThatList(name, names);
                      });
}

NET_API_STATUS NetUserGetGroups(const WCHAR* server, const WCHAR* user, DWORD level, BYTE** list,
                                DWORD preferredLength, DWORD* entriesRead, DWORD* totalEntries) {
    return listGroups(server, user, level, preferredLength, {list, entriesRead, totalEntries},
                      [](const std::string&, const struct passwd& account, Names& names) {
                          return addNameOf(account.pw_gid, names);
                      });
}

NET_API_STATUS NetApiBufferFree(void* list) {
    std::free(list);
    return NERR_Success;
}

}  // namespace Sorvex::platform
