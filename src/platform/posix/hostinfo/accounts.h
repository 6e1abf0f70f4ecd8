// The host's users and groups.
#pragma once

#include "platform/posix/base/types.h"

namespace Sorvex {

constexpr platform::DWORD LOGON32_LOGON_NETWORK = 3;
constexpr platform::DWORD LOGON32_PROVIDER_DEFAULT = 0;
constexpr platform::DWORD LG_INCLUDE_INDIRECT = 1;

}  // namespace Sorvex

namespace Sorvex::platform {

using NET_API_STATUS = DWORD;

/// Checks a password against the host's account database.
///
/// What an account suffers from is told only to those who know its password. An unknown user takes
/// as long as a wrong password. May be called on several threads at once.
///
/// @param domain null: the host itself
/// @param type LOGON32_LOGON_NETWORK
/// @param provider LOGON32_PROVIDER_DEFAULT
/// @param token receives a handle that stands for the logon
/// @return 0 with the last error set:
///     ERROR_MOD_NOT_FOUND: the host has no libcrypt.so.1;
///     ERROR_PRIVILEGE_NOT_HELD: the caller may not read the hashes of passwords;
///     ERROR_LOGON_FAILURE: unknown user or wrong password;
///     ERROR_ACCOUNT_DISABLED, ERROR_ACCOUNT_EXPIRED, ERROR_PASSWORD_EXPIRED: the password is
///     right, but the account is locked or a date has passed (an account that is locked without
///     having a password is told to everyone); ERROR_ACCOUNT_RESTRICTION: the account has no
///     password
BOOL LogonUserA(const char* user, const char* domain, const char* password, DWORD type,
                DWORD provider, HANDLE* token);

/// Lists the groups that list the user as a member, at information level 0: an array of pointers to
/// their names.
///
/// @param server null: the host itself
/// @param flags LG_INCLUDE_INDIRECT or 0; the host has no groups within groups
/// @param list receives a block that NetApiBufferFree releases, or null for no entry
/// @param preferredLength the most bytes that the block may take, names included
/// @return 0; ERROR_MORE_DATA with the entries that fit; NERR_UserNotFound; or the code of a
///     database that can't be asked
NET_API_STATUS NetUserGetLocalGroups(const WCHAR* server, const WCHAR* user, DWORD level,
                                     DWORD flags, BYTE** list, DWORD preferredLength,
                                     DWORD* entriesRead, DWORD* totalEntries);

/// Lists the user's primary group in the same way.
NET_API_STATUS NetUserGetGroups(const WCHAR* server, const WCHAR* user, DWORD level, BYTE** list,
                                DWORD preferredLength, DWORD* entriesRead, DWORD* totalEntries);

/// Releases a list; null is one too. Always 0.
NET_API_STATUS NetApiBufferFree(void* list);

}  // namespace Sorvex::platform
