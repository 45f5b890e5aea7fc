#include "hostaddresses.h"

#include <QFile>
#include <QNetworkInterface>

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <ifaddrs.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <memory>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr quint8 hostPrefix = 32;

struct AddressAttribute
{
    rtattr header{};
    quint32 address = 0; // network order
};

// A request to add or remove one address, as the kernel reads it. It names the address twice: without
// the second one, a removal would take any network's address that looks the same, the host's own too.
struct AddressRequest
{
    nlmsghdr header{};
    ifaddrmsg message{};
    AddressAttribute local;
    AddressAttribute peer;
};
static_assert(sizeof(AddressRequest) == 40, "the parts must follow each other without gaps");

AddressAttribute attribute(quint16 type, quint32 address)
{
    return {{RTA_LENGTH(sizeof address), type}, htonl(address)};
}

void writeSetting(const QString &path, const char *value)
{
    QFile file(QStringLiteral("/proc/sys/net/ipv4/") + path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(value);
    }
}

// Each cable answers ARP only for its own instruments, and a burst of thousands of replies survives
// the moment in which the workstation's hardware address is still being asked for.
void prepare(const Cable &cable)
{
    writeSetting(QStringLiteral("conf/%1/arp_ignore").arg(cable.name), "1");
    writeSetting(QStringLiteral("conf/%1/arp_announce").arg(cable.name), "2");
    writeSetting(QStringLiteral("conf/%1/rp_filter").arg(cable.name), "0");
    writeSetting(QStringLiteral("neigh/%1/unres_qlen_bytes").arg(cable.name), "67108864");
}

} // namespace

QVector<Cable> labCables()
{
    constexpr int hostRoute = 32; // instruments' addresses stand alone, the host's own has a network
    QVector<Cable> cables;
    const QList<QNetworkInterface> all = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &interface : all) {
        if (!interface.name().startsWith(QLatin1String("lab"))) {
            continue;
        }
        const QList<QNetworkAddressEntry> entries = interface.addressEntries();
        for (const QNetworkAddressEntry &entry : entries) {
            if (entry.ip().protocol() == QAbstractSocket::IPv4Protocol && entry.prefixLength() < hostRoute) {
                cables.append({interface.name(), interface.index(), entry.ip().toIPv4Address(),
                               entry.netmask().toIPv4Address()});
                break;
            }
        }
    }
    return cables;
}

HostAddresses::~HostAddresses()
{
    for (auto user = m_users.constBegin(); user != m_users.constEnd(); ++user) {
        request(Change::Remove, user.key().first, user.key().second);
    }
    if (m_socket >= 0) {
        ::close(m_socket);
    }
}

bool HostAddresses::open(const QVector<Cable> &cables, QString *error)
{
    m_socket = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (m_socket < 0) {
        *error = QString::fromLocal8Bit(std::strerror(errno));
        return false;
    }
    writeSetting(QStringLiteral("conf/all/rp_filter"), "0");
    for (const Cable &cable : cables) {
        prepare(cable);
    }
    removeLeftovers(cables);
    return true;
}

void HostAddresses::removeLeftovers(const QVector<Cable> &cables)
{
    ifaddrs *list = nullptr;
    if (getifaddrs(&list) != 0) {
        return;
    }
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs *)> owner(list, &freeifaddrs);
    for (const ifaddrs *entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) {
            continue;
        }
        sockaddr_in address{};
        sockaddr_in mask{};
        std::memcpy(&address, entry->ifa_addr, sizeof address);
        std::memcpy(&mask, entry->ifa_netmask, sizeof mask);
        for (const Cable &cable : cables) {
            if (mask.sin_addr.s_addr == INADDR_NONE && cable.name == QLatin1String(entry->ifa_name)) {
                request(Change::Remove, ntohl(address.sin_addr.s_addr), cable.index);
            }
        }
    }
}

bool HostAddresses::add(quint32 address, const Cable &cable)
{
    int &users = m_users[{address, cable.index}];
    ++users;
    return users > 1 || request(Change::Add, address, cable.index);
}

bool HostAddresses::remove(quint32 address, const Cable &cable)
{
    const auto users = m_users.find({address, cable.index});
    if (users == m_users.end() || --*users > 0) {
        return true;
    }
    m_users.erase(users);
    return request(Change::Remove, address, cable.index);
}

bool HostAddresses::request(Change change, quint32 address, int interfaceIndex)
{
    AddressRequest request;
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = change == Change::Add ? RTM_NEWADDR : RTM_DELADDR;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK | (change == Change::Add ? NLM_F_CREATE : 0);
    request.message.ifa_family = AF_INET;
    request.message.ifa_prefixlen = hostPrefix;
    request.message.ifa_index = static_cast<quint32>(interfaceIndex);
    request.local = attribute(IFA_LOCAL, address);
    request.peer = attribute(IFA_ADDRESS, address);

    // The kernel works while it takes the request, and has its answer ready when send returns.
    alignas(nlmsghdr) std::array<char, 1024> answer{};
    if (::send(m_socket, &request, sizeof request, 0) != sizeof request ||
        ::recv(m_socket, answer.data(), answer.size(), 0) <
            static_cast<ssize_t>(NLMSG_LENGTH(sizeof(nlmsgerr)))) {
        return false;
    }
    nlmsgerr result{};
    std::memcpy(&result, NLMSG_DATA(reinterpret_cast<nlmsghdr *>(answer.data())), sizeof result);
    return result.error == 0 || (change == Change::Add && result.error == -EEXIST);
}
