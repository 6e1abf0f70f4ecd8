// How starters, controlling programs and services talk: one packet each way over a local socket.
//
// Sockets lie in private directories and are reached through an open descriptor of those. Beyond
// that, each side asks the kernel which user the other is, and talks to nobody but its own.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "platform/posix/services/limits.h"
#include "platform/posix/services/locks.h"
#include "platform/posix/services/services.h"

namespace Sorvex::platform::services {

enum class RequestKind : std::uint32_t { start = 1, control = 2 };

/// What a service's process is asked to do.
struct Request {
    RequestKind kind = RequestKind::control;
    DWORD number = 0;  // the control code; for a start the type of the service
    std::string name;  // for a start: the service
    Descriptor state;  // for a start: the open file of its state
};

/// What it answers.
struct Reply {
    DWORD error = 0;
    SERVICE_STATUS status{};
};

/// Makes a socket that others connect to; an old one of that name is replaced. Never blocks.
Descriptor listenAt(int directory, const char* name);

/// Connects to a socket.
///
/// @return an owner of nothing when nobody listens or it is another user who does
Descriptor connectTo(int directory, const char* name, const TimeLimit& deadline);

/// The next connection of a listening socket that comes from this user; of nothing when there is
/// none at the moment.
Descriptor acceptFrom(uid_t user, int listener);

/// The process at the other end.
pid_t peerOf(int connection);

bool send(int connection, const Request& request);
bool send(int connection, const Reply& reply);

/// Takes a packet that has arrived; nothing for an ended connection and for what is no request.
std::optional<Request> receiveRequest(int connection);
std::optional<Reply> receiveReply(int connection);

/// How a wait for an answer ended: with a reply, or without because the limit was reached, or
/// because the other side is gone.
struct Answer {
    std::optional<Reply> reply;
    bool isTimedOut = false;
};

/// Waits for the answer of a process.
///
/// @param processEnd a descriptor that becomes readable when the process has ended, or a negative
///     number
Answer awaitReply(int connection, int processEnd, const TimeLimit& deadline);

/// Waits until a descriptor is readable; false when the limit was reached first.
bool awaitReadable(int descriptor, const TimeLimit& deadline);

}  // namespace Sorvex::platform::services
