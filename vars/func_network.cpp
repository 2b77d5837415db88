// Network and machine queries of the system family: the computer's names
// (@COMPUTERNAME, @DOMAIN, @WORKGROUP, @SERVER), host names and addresses
// (@IPADDRESS, @IPNAME, @IPALIASES, @IPPORT, @IPSERVICEALIASES, @MX,
// @PING), the network adapters by number from 0 (@IPADDRESSN, @IPIPV6N,
// @IPNAMEN, @IPDESC, @IPDHCP, @IPDNS, @IPGATEWAY, @IPPHYSICAL,
// @MACADDRESS, @IPSUBNET, @IPTYPE, @IPWINS, @IPWINSSERVER, @IPZONEID) and
// the machines and shares of the network (@ENUMSERVERS, @ENUMSHARES).
// Lists come as items separated by blanks; an adapter number past the last
// gives an empty value.
#include <algorithm>
#include <winsock2.h>
#include <ws2tcpip.h>
#include <iphlpapi.h>
#include <icmpapi.h>
#include <windns.h>
#include <lm.h>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "vars/func_internal.h"

namespace {

// Windows Sockets, started once for the process.
int StartSockets() {
    static const int started = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    return started;
}

CString AddressText(const SOCKADDR *address, int length) {
    wchar_t text[NI_MAXHOST] = {};
    if (GetNameInfoW(address, (socklen_t)length, text, NI_MAXHOST, nullptr, 0, NI_NUMERICHOST)) return CString();
    return text;
}

void AddItem(CString *list, const CString &item) {
    if (item.empty()) return;
    if (!list->empty()) *list += L' ';
    *list += item;
}

// The adapters of this machine, in the system's order.
class Adapters {
public:
    Adapters() {
        ULONG size = 16384;
        for (int tries = 0; tries < 3; tries++) {
            buffer_.assign(size, '\0');
            ULONG flags = GAA_FLAG_INCLUDE_PREFIX | GAA_FLAG_INCLUDE_GATEWAYS | GAA_FLAG_INCLUDE_WINS_INFO;
            status_ = GetAdaptersAddresses(AF_UNSPEC, flags, nullptr, First(), &size);
            if (status_ != ERROR_BUFFER_OVERFLOW) break;
        }
        if (status_ == ERROR_NO_DATA) status_ = 0, buffer_.clear();
    }
    int Status() const { return status_ ? SystemError(status_) : 0; }
    const IP_ADAPTER_ADDRESSES *At(long long n) const {
        const IP_ADAPTER_ADDRESSES *a = buffer_.empty() ? nullptr : First();
        for (; a && n > 0; n--) a = a->Next;
        return n < 0 ? nullptr : a;
    }

private:
    IP_ADAPTER_ADDRESSES *First() const { return (IP_ADAPTER_ADDRESSES *)buffer_.data(); }
    std::string buffer_;
    ULONG status_ = 0;
};

CString FirstUnicast(const IP_ADAPTER_ADDRESSES *a, int family) {
    for (const IP_ADAPTER_UNICAST_ADDRESS *u = a->FirstUnicastAddress; u; u = u->Next)
        if (u->Address.lpSockaddr->sa_family == family) return AddressText(u->Address.lpSockaddr, u->Address.iSockaddrLength);
    return CString();
}

CString Physical(const IP_ADAPTER_ADDRESSES *a) {
    CString text;
    for (ULONG i = 0; i < a->PhysicalAddressLength; i++) text.AppendFormat(i ? L"-%02X" : L"%02X", a->PhysicalAddress[i]);
    return text;
}

CString AdapterType(DWORD type) {
    switch (type) {
    case IF_TYPE_ETHERNET_CSMACD: return L"Ethernet";
    case IF_TYPE_SOFTWARE_LOOPBACK: return L"Loopback";
    case IF_TYPE_IEEE80211: return L"Wireless";
    case IF_TYPE_PPP: return L"PPP";
    case IF_TYPE_TUNNEL: return L"Tunnel";
    case IF_TYPE_ISO88025_TOKENRING: return L"TokenRing";
    default: return L"Other";
    }
}

CString SubnetMask(const IP_ADAPTER_ADDRESSES *a) {
    for (const IP_ADAPTER_UNICAST_ADDRESS *u = a->FirstUnicastAddress; u; u = u->Next) {
        if (u->Address.lpSockaddr->sa_family != AF_INET) continue;
        ULONG bits = u->OnLinkPrefixLength > 32 ? 32 : u->OnLinkPrefixLength;
        ULONG mask = bits ? 0xFFFFFFFFu << (32 - bits) : 0;
        return FormatStr(L"%u.%u.%u.%u", mask >> 24, (mask >> 16) & 255, (mask >> 8) & 255, mask & 255);
    }
    return CString();
}

template <typename T>
CString AddressList(const T *first) {
    CString list;
    for (const T *p = first; p; p = p->Next) AddItem(&list, AddressText(p->Address.lpSockaddr, p->Address.iSockaddrLength));
    return list;
}

// One adapter's answer for a function of the adapter group.
CString AdapterValue(int nCase, const IP_ADAPTER_ADDRESSES *a) {
    switch (nCase) {
    case FC_ipaddressn: return FirstUnicast(a, AF_INET);
    case FC_ipipv6n: return FirstUnicast(a, AF_INET6);
    case FC_ipnamen: return a->FriendlyName;
    case FC_ipdesc: return a->Description;
    case FC_ipdhcp:
        return (a->Flags & IP_ADAPTER_DHCP_ENABLED) && a->Dhcpv4Server.lpSockaddr
                   ? AddressText(a->Dhcpv4Server.lpSockaddr, a->Dhcpv4Server.iSockaddrLength)
                   : CString();
    case FC_ipdns: return AddressList(a->FirstDnsServerAddress);
    case FC_ipgateway: return AddressList(a->FirstGatewayAddress);
    case FC_ipphysical:
    case FC_macaddress: return Physical(a);
    case FC_ipsubnet: return SubnetMask(a);
    case FC_iptype: return AdapterType(a->IfType);
    case FC_ipwins: return a->FirstWinsServerAddress ? L"1" : L"0";
    case FC_ipwinsserver: return AddressList(a->FirstWinsServerAddress);
    default: return FormatStr(L"%u", (unsigned)a->ZoneIndices[ScopeLevelLink]);  // @IPZONEID
    }
}

// The addresses of a host name (or of this machine for an empty name).
int HostAddresses(const CString &host, int family, std::vector<CString> *out) {
    if (int rc = StartSockets()) return rc;
    ADDRINFOW hints{};
    hints.ai_family = family;
    hints.ai_socktype = SOCK_STREAM;
    ADDRINFOW *list = nullptr;
    if (int rc = GetAddrInfoW(host.empty() ? L"" : host.c_str(), nullptr, &hints, &list)) return rc;
    for (ADDRINFOW *p = list; p; p = p->ai_next) {
        CString text = AddressText(p->ai_addr, (int)p->ai_addrlen);
        bool seen = false;
        for (const CString &s : *out) seen = seen || s == text;
        if (!seen) out->push_back(text);
    }
    FreeAddrInfoW(list);
    return 0;
}

// A network call that this system cannot serve (no browser, no server
// service) says so; other failures keep their code.
int NetError(NET_API_STATUS status) {
    if (status == ERROR_NOT_SUPPORTED || status == ERROR_CALL_NOT_IMPLEMENTED || status == ERROR_NO_BROWSER_SERVERS_FOUND ||
        status == NERR_ServerNotStarted || status == NERR_WkstaNotStarted)
        return ERROR_BD_NEEDS_SYSTEM;
    return SystemError(status);
}

// Narrow text for the old host and service calls (names are ASCII).
std::string Narrow(const CString &text) { return ToCodePage(text.c_str(), (int)text.size(), CP_ACP); }
CString Wide(const char *text) { return FromCodePage(text, (int)strlen(text), CP_ACP); }

// A list of names of the old host and service calls, ended by null.
CString NameList(char **names) {
    CString list;
    for (char **name = names; name && *name; name++) AddItem(&list, Wide(*name));
    return list;
}

}  // namespace

// Adapter n's address, description, servers and so on.
int Func_Adapter(FUNCCALL &call) {
    long long n = 0;
    if (!call.args.TrimLeftCopy().empty() && (!ReadWholeNumber(call.args, &n) || n < 0)) return ERROR_INVALID_PARAMETER;
    Adapters adapters;
    if (int rc = adapters.Status()) return rc;
    const IP_ADAPTER_ADDRESSES *a = adapters.At(n);
    call.args = a ? AdapterValue(call.nCase, a) : CString();
    return 0;
}

// @IPADDRESS[host]: the first IPv4 address of a host name; of this machine
// when no name is given.
int Func_IpAddress(FUNCCALL &call) {
    std::vector<CString> addresses;
    if (int rc = HostAddresses(NameArgument(call.args), AF_INET, &addresses)) return rc;
    call.args = addresses.empty() ? CString() : addresses[0];
    return 0;
}

// @IPNAME[address]: the host name of an address (or of a name: its
// canonical name).
int Func_IpName(FUNCCALL &call) {
    CString host = NameArgument(call.args);
    if (host.empty()) return ERROR_INVALID_PARAMETER;
    if (int rc = StartSockets()) return rc;
    ADDRINFOW hints{}, *list = nullptr;
    hints.ai_family = AF_UNSPEC;
    if (int rc = GetAddrInfoW(host.c_str(), nullptr, &hints, &list)) return rc;
    wchar_t name[NI_MAXHOST] = {};
    int rc = GetNameInfoW(list->ai_addr, (socklen_t)list->ai_addrlen, name, NI_MAXHOST, nullptr, 0, NI_NAMEREQD);
    FreeAddrInfoW(list);
    if (rc) return rc;
    call.args = name;
    return 0;
}

// @IPALIASES[host]: the other names of a host.
int Func_IpAliases(FUNCCALL &call) {
    CString host = NameArgument(call.args);
    if (host.empty()) return ERROR_INVALID_PARAMETER;
    if (int rc = StartSockets()) return rc;
    hostent *entry = gethostbyname(Narrow(host).c_str());
    if (!entry) return WSAGetLastError();
    call.args = NameList(entry->h_aliases);
    return 0;
}

// @IPPORT[service[,protocol]]: the port of a service ("http" gives 80);
// @IPSERVICEALIASES[service[,protocol]]: its other names.
int Func_IpService(FUNCCALL &call) {
    CString service, protocol;
    if (!SplitAtComma(call.args, &service, &protocol)) service = call.args;
    service = NameArgument(service);
    protocol = NameArgument(protocol);
    if (service.empty()) return ERROR_INVALID_PARAMETER;
    if (int rc = StartSockets()) return rc;
    std::string proto = Narrow(protocol);
    servent *entry = getservbyname(Narrow(service).c_str(), proto.empty() ? nullptr : proto.c_str());
    if (!entry) return WSAGetLastError() ? WSAGetLastError() : WSANO_DATA;
    if (call.nCase == FC_ipport) return SetNumber(call.args, ntohs((u_short)entry->s_port));
    call.args = NameList(entry->s_aliases);
    return 0;
}

// @MX[domain]: the mail exchangers of a domain, the most preferred first.
int Func_Mx(FUNCCALL &call) {
    CString domain = NameArgument(call.args);
    if (domain.empty()) return ERROR_INVALID_PARAMETER;
    DNS_RECORDW *records = nullptr;
    DNS_STATUS status = DnsQuery_W(domain.c_str(), DNS_TYPE_MX, DNS_QUERY_STANDARD, nullptr, (DNS_RECORD **)&records, nullptr);
    // The resolver's own codes have no text of their own; the socket codes
    // for the same cases do.
    if (status == DNS_ERROR_RCODE_NAME_ERROR) return WSAHOST_NOT_FOUND;
    if (status == DNS_INFO_NO_RECORDS) return WSANO_DATA;
    if (status) return SystemError(status);
    std::vector<std::pair<WORD, CString>> hosts;
    for (DNS_RECORDW *r = records; r; r = r->pNext)
        if (r->wType == DNS_TYPE_MX) hosts.emplace_back(r->Data.MX.wPreference, r->Data.MX.pNameExchange);
    DnsRecordListFree((DNS_RECORD *)records, DnsFreeRecordList);
    std::stable_sort(hosts.begin(), hosts.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    CString list;
    for (const auto &h : hosts) AddItem(&list, h.second);
    call.args = list;
    return 0;
}

// @PING[host[,timeout]]: the round trip of an echo in milliseconds, -1 when
// no answer comes within the timeout (1000 ms unless told).
int Func_Ping(FUNCCALL &call) {
    CString host, timeoutText;
    if (!SplitAtComma(call.args, &host, &timeoutText)) host = call.args;
    host = NameArgument(host);
    long long timeout = 1000;
    if (host.empty() || (!timeoutText.empty() && (!ReadWholeNumber(timeoutText, &timeout) || timeout <= 0)))
        return ERROR_INVALID_PARAMETER;
    std::vector<CString> addresses;
    if (int rc = HostAddresses(host, AF_INET, &addresses)) return rc;
    if (addresses.empty()) return WSAHOST_NOT_FOUND;
    IN_ADDR target{};
    if (InetPtonW(AF_INET, addresses[0].c_str(), &target) != 1) return ERROR_INVALID_PARAMETER;
    HANDLE icmp = IcmpCreateFile();
    if (icmp == INVALID_HANDLE_VALUE) return SystemError();
    char payload[32] = "BDX echo";
    std::string reply(sizeof(ICMP_ECHO_REPLY) + sizeof payload + 8, '\0');
    DWORD n = IcmpSendEcho(icmp, target.S_un.S_addr, payload, sizeof payload, nullptr, reply.data(), (DWORD)reply.size(),
                           (DWORD)timeout);
    DWORD error = GetLastError();
    IcmpCloseHandle(icmp);
    if (!n) return error == IP_REQ_TIMED_OUT || error == 0 ? SetNumber(call.args, -1) : SystemError(error);
    const ICMP_ECHO_REPLY *r = (const ICMP_ECHO_REPLY *)reply.data();
    return SetNumber(call.args, r->Status == IP_SUCCESS ? (long long)r->RoundTripTime : -1);
}

// @COMPUTERNAME[[n]]: this computer's name; n picks a form of it as the
// system numbers them (0 the NetBIOS name, 1 the DNS host name, 2 the DNS
// domain, 3 the full DNS name, 4 to 7 the same of the physical machine).
int Func_ComputerName(FUNCCALL &call) {
    long long n = call.nCase == FC_domain ? ComputerNameDnsDomain : ComputerNameNetBIOS;
    if (call.nCase == FC_computername && !call.args.TrimLeftCopy().empty() &&
        (!ReadWholeNumber(call.args, &n) || n < 0 || n >= ComputerNameMax))
        return ERROR_INVALID_PARAMETER;
    DWORD size = 0;
    GetComputerNameExW((COMPUTER_NAME_FORMAT)n, nullptr, &size);
    CString name(size + 1, L'\0');
    if (!GetComputerNameExW((COMPUTER_NAME_FORMAT)n, name.data(), &size)) return SystemError();
    name.resize(size);
    call.args = name;
    return 0;
}

// @WORKGROUP[]: the workgroup or domain that this computer belongs to.
int Func_Workgroup(FUNCCALL &call) {
    WKSTA_INFO_100 *info = nullptr;
    NET_API_STATUS status = NetWkstaGetInfo(nullptr, 100, (BYTE **)&info);
    if (status) return NetError(status);
    call.args = info->wki100_langroup ? info->wki100_langroup : L"";
    NetApiBufferFree(info);
    return 0;
}

// @SERVER[]: 1 on a server edition of the system, else 0.
int Func_Server(FUNCCALL &call) {
    OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof info;
    info.wProductType = VER_NT_WORKSTATION;
    DWORDLONG condition = VerSetConditionMask(0, VER_PRODUCT_TYPE, VER_EQUAL);
    bool workstation = VerifyVersionInfoW(&info, VER_PRODUCT_TYPE, condition);
    return SetNumber(call.args, !workstation);
}

// @ENUMSERVERS[[domain]]: the computers that the network browser knows;
// @ENUMSHARES[[server]]: the shared folders of a computer (this one when
// not told).
int Func_NetEnum(FUNCCALL &call) {
    CString name = NameArgument(call.args);
    BYTE *buffer = nullptr;
    DWORD count = 0, total = 0;
    NET_API_STATUS status;
    if (call.nCase == FC_enumservers)
        status = NetServerEnum(nullptr, 100, &buffer, MAX_PREFERRED_LENGTH, &count, &total, SV_TYPE_ALL,
                               name.empty() ? nullptr : name.c_str(), nullptr);
    else
        status = NetShareEnum(name.empty() ? nullptr : (wchar_t *)name.c_str(), 1, &buffer, MAX_PREFERRED_LENGTH, &count,
                              &total, nullptr);
    if (status && status != ERROR_MORE_DATA) {
        if (buffer) NetApiBufferFree(buffer);
        return NetError(status);
    }
    CString list;
    for (DWORD i = 0; i < count; i++)
        AddItem(&list, call.nCase == FC_enumservers ? ((SERVER_INFO_100 *)buffer)[i].sv100_name
                                                    : ((SHARE_INFO_1 *)buffer)[i].shi1_netname);
    if (buffer) NetApiBufferFree(buffer);
    call.args = list;
    return 0;
}
