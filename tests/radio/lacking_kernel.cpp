// Loaded before a program: for it the kernel lacks the nl80211 commands whose numbers are in the file /tmp/lacks. They
// are sent under a number that no kernel knows, and the kernel answers as one does that is older.
#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>

namespace {

constexpr __u8 unknown_command = 250;

bool lacks(__u8 command) {
    std::FILE* const list = std::fopen("/tmp/lacks", "r");
    bool found = false;
    for (unsigned number = 0; list && !found && std::fscanf(list, "%u", &number) == 1;)
        found = number == command;
    if (list) std::fclose(list);
    return found;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) ssize_t sendmsg(int fd, const msghdr* message, int flags) {
    int domain = 0;
    socklen_t length = sizeof domain;
    getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &length);
    if (domain == AF_NETLINK && message->msg_iov[0].iov_len >= NLMSG_HDRLEN + GENL_HDRLEN) {
        auto* const header = static_cast<nlmsghdr*>(message->msg_iov[0].iov_base);
        auto* const body = static_cast<genlmsghdr*>(NLMSG_DATA(header));
        if (header->nlmsg_type > GENL_ID_CTRL && lacks(body->cmd)) body->cmd = unknown_command;
    }
    return syscall(SYS_sendmsg, fd, message, flags);
}
