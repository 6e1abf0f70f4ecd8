#include "platform/posix/services/channel.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/posix/base/retried.h"
#include "platform/posix/services/disk_steps.h"
#include "platform/posix/services/file_key.h"
#include "platform/posix/services/refusal.h"

namespace Sorvex::platform::services {

namespace {

// The last digit is the version of both packets.
constexpr std::uint32_t signature = 0x53565831;

// Both ends may be programs of different widths, so there is nothing but 32-bit numbers and bytes.
struct RequestPacket {
    std::uint32_t signature;
    std::uint32_t kind;
    std::uint32_t number;
    std::uint32_t nameLength;
    char name[longestName];
};

struct ReplyPacket {
    std::uint32_t signature;
    std::uint32_t error;
    SERVICE_STATUS status;
};

// A name in a directory that may lie too deep for an address: the kernel finds it through the
// descriptor.
sockaddr_un addressOf(int directory, const char* name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const int length = std::snprintf(address.sun_path, sizeof address.sun_path,
                                     "/proc/self/fd/%d/%s", directory, name);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof address.sun_path)
        refuse(ERROR_FILENAME_EXCED_RANGE);
    return address;
}

Descriptor makeSocket() {
    Descriptor created(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!created)
        refuseWithErrno();
    return created;
}

std::optional<ucred> credentialsOf(int connection) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0)
        return std::nullopt;
    return credentials;
}

bool isPeer(uid_t user, int connection) {
    const auto credentials = credentialsOf(connection);
    return credentials && credentials->uid == user;
}

// The message beside a packet that carries a descriptor (SCM_RIGHTS): the kernel makes a copy in
// the receiving process.
union DescriptorMessage {
    cmsghdr header;
    char space[CMSG_SPACE(sizeof(int))];
};

// Owns every descriptor that came with a message: alignment leaves room for a second one. A single
// one is what was expected.
Descriptor takeDescriptor(msghdr& message) {
    Descriptor taken;
    std::size_t count = 0;
    for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr;
         header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS)
            continue;
        const std::size_t size = header->cmsg_len - CMSG_LEN(0);
        for (std::size_t offset = 0; offset + sizeof(int) <= size; offset += sizeof(int)) {
            int number = -1;
            std::memcpy(&number, CMSG_DATA(header) + offset, sizeof number);
            taken = Descriptor(number);
            ++count;
        }
    }
    return count == 1 ? std::move(taken) : Descriptor();
}

bool sendPacket(int connection, const void* packet, std::size_t size, int passed) {
    iovec part{const_cast<void*>(packet), size};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    DescriptorMessage carrier{};
    if (passed >= 0) {
        message.msg_control = &carrier;
        message.msg_controllen = sizeof carrier;
        carrier.header.cmsg_level = SOL_SOCKET;
        carrier.header.cmsg_type = SCM_RIGHTS;
        carrier.header.cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(&carrier.header), &passed, sizeof passed);
    }
    return retried([&] { return sendmsg(connection, &message, MSG_NOSIGNAL); }) ==
           static_cast<ssize_t>(size);
}

// Takes one packet of exactly this size, and the descriptor that came with it.
bool receivePacket(int connection, void* packet, std::size_t size, Descriptor& passed) {
    iovec part{packet, size};
    DescriptorMessage carrier{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = &carrier;
    message.msg_controllen = sizeof carrier;
    const ssize_t count =
        retried([&] { return recvmsg(connection, &message, MSG_CMSG_CLOEXEC | MSG_DONTWAIT); });
    if (count < 0)
        return false;
    passed = takeDescriptor(message);
    return static_cast<std::size_t>(count) == size && (message.msg_flags & MSG_TRUNC) == 0;
}

}  // namespace

Descriptor listenAt(int directory, const char* name) {
    const sockaddr_un address = addressOf(directory, name);
    removeEntry(directory, name, 0);
    Descriptor listener = makeSocket();
    if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener.get(), SOMAXCONN) != 0)
        refuseWithErrno();
    return listener;
}

Descriptor connectTo(int directory, const char* name, const TimeLimit& deadline) {
    const sockaddr_un address = addressOf(directory, name);
    Descriptor connection = makeSocket();
    while (connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
           0) {
        // A full queue of a listener that is busy; there is nothing to wait on.
        if (errno == EAGAIN && !deadline.isOver()) {
            constexpr int pause = 5;  // ms
            poll(nullptr, 0, pause);
            continue;
        }
        if (errno != EINTR)
            return {};
    }
    return isPeer(geteuid(), connection.get()) ? std::move(connection) : Descriptor();
}

Descriptor acceptFrom(uid_t user, int listener) {
    for (;;) {
        Descriptor connection(retried(
            [&] { return accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK); }));
        if (!connection || isPeer(user, connection.get()))
            return connection;
    }
}

pid_t peerOf(int connection) {
    const auto credentials = credentialsOf(connection);
    return credentials ? credentials->pid : 0;
}

bool send(int connection, const Request& request) {
    RequestPacket packet{};
    packet.signature = signature;
    packet.kind = static_cast<std::uint32_t>(request.kind);
    packet.number = request.number;
    const std::size_t length = std::min(request.name.size(), sizeof packet.name);
    packet.nameLength = static_cast<std::uint32_t>(length);
    std::memcpy(packet.name, request.name.data(), length);
    return sendPacket(connection, &packet, sizeof packet, request.state.get());
}

bool send(int connection, const Reply& reply) {
    const ReplyPacket packet{signature, reply.error, reply.status};
    return sendPacket(connection, &packet, sizeof packet, -1);
}

std::optional<Request> receiveRequest(int connection) {
    RequestPacket packet{};
    Request request;
    if (!receivePacket(connection, &packet, sizeof packet, request.state) ||
        packet.signature != signature || packet.nameLength > sizeof packet.name)
        return std::nullopt;
    request.kind = static_cast<RequestKind>(packet.kind);
    request.number = packet.number;
    request.name.assign(packet.name, packet.nameLength);
    const bool isStart = request.kind == RequestKind::start && request.state;
    if (!isStart && request.kind != RequestKind::control)
        return std::nullopt;
    return request;
}

std::optional<Reply> receiveReply(int connection) {
    ReplyPacket packet{};
    Descriptor unwanted;
    if (!receivePacket(connection, &packet, sizeof packet, unwanted) ||
        packet.signature != signature)
        return std::nullopt;
    return Reply{packet.error, packet.status};
}

Answer awaitReply(int connection, int processEnd, const TimeLimit& deadline) {
    pollfd watched[] = {{connection, POLLIN, 0}, {processEnd, POLLIN, 0}};
    for (;;) {
        const int ready = poll(watched, 2, deadline.left());
        if (ready < 0 && errno != EINTR)
            refuseWithErrno();
        if (ready > 0)
            return {receiveReply(connection), false};
        if (deadline.isOver())
            return {std::nullopt, true};
    }
}

bool awaitReadable(int descriptor, const TimeLimit& deadline) {
    pollfd watched{descriptor, POLLIN, 0};
    for (;;) {
        const int ready = poll(&watched, 1, deadline.left());
        if (ready < 0 && errno != EINTR)
            refuseWithErrno();
        if (ready > 0)
            return true;
        if (deadline.isOver())
            return false;
    }
}

}  // namespace Sorvex::platform::services
