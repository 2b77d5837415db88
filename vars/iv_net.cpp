// Internal variables of the IP configuration, from the IP helper library,
// loaded on first use so that the shell does not depend on it at start.
#include <iphlpapi.h>
#include <vector>
#include "vars/internals.h"

namespace {

using AdaptersInfoFn = DWORD(WINAPI *)(PIP_ADAPTER_INFO, PULONG);
using NetworkParamsFn = DWORD(WINAPI *)(PFIXED_INFO, PULONG);

FARPROC IpHelper(const char *name) {
    static HMODULE module = LoadLibraryW(L"iphlpapi.dll");
    return module ? GetProcAddress(module, name) : nullptr;
}

// A variable-sized record that the helper fills: ask for the size, then
// fill.
template <typename Record, typename Fn> std::vector<unsigned char> Query(Fn fn) {
    ULONG size = 0;
    std::vector<unsigned char> buffer;
    if (!fn || fn(nullptr, &size) != ERROR_BUFFER_OVERFLOW || !size) return buffer;
    buffer.resize(size);
    if (fn((Record *)buffer.data(), &size) != ERROR_SUCCESS) buffer.clear();
    return buffer;
}

CString Wide(const char *text) { return FromCodePage(text, (int)strlen(text), CP_ACP); }

bool AdapterVariable(int index, CString &value) {
    auto buffer = Query<IP_ADAPTER_INFO>((AdaptersInfoFn)(void *)IpHelper("GetAdaptersInfo"));
    if (buffer.empty()) return index == IV_ipadapters ? SetInt(value, 0) : false;
    int count = 0;
    const IP_ADAPTER_INFO *first = nullptr;
    for (auto *a = (const IP_ADAPTER_INFO *)buffer.data(); a; a = a->Next) {
        count++;
        if (!first && strcmp(a->IpAddressList.IpAddress.String, "0.0.0.0") != 0) first = a;
    }
    switch (index) {
    case IV_ipadapters: return SetInt(value, count);
    case IV_ip: return first ? SetText(value, Wide(first->IpAddressList.IpAddress.String)) : false;
    case IV_ipadapter: return first ? SetInt(value, first->Index) : false;
    }
    return false;
}

bool ParamsVariable(int index, CString &value) {
    auto buffer = Query<FIXED_INFO>((NetworkParamsFn)(void *)IpHelper("GetNetworkParams"));
    if (buffer.empty()) return false;
    const FIXED_INFO *info = (const FIXED_INFO *)buffer.data();
    switch (index) {
    case IV_ipdns: return SetInt(value, info->EnableDns ? 1 : 0);
    case IV_iparpproxy: return SetInt(value, info->EnableProxy ? 1 : 0);
    case IV_iprouting: return SetInt(value, info->EnableRouting ? 1 : 0);
    case IV_ipdnsserver: return SetText(value, Wide(info->DnsServerList.IpAddress.String));
    }
    return false;
}

}  // namespace

bool NetVariable(int index, CString &value) {
    if (index == IV_ip || index == IV_ipadapter || index == IV_ipadapters) return AdapterVariable(index, value);
    return ParamsVariable(index, value);
}
