// WMHostEnt: the HTTP client's copy of a resolved host record. Internal: only the HTTP
// client's host cache holds these.
#ifndef CORVANE_NET_HOST_ENT_H
#define CORVANE_NET_HOST_ENT_H

#include <string>
#include <vector>

struct hostent;

// A deep copy of a host record: official name, aliases and IPv4 addresses, each list ending
// with a null entry as in the system's record.
class WMHostEnt {
public:
    explicit WMHostEnt(hostent const* host);
    WMHostEnt(WMHostEnt const& other);
    WMHostEnt& operator=(WMHostEnt const& other);
    virtual ~WMHostEnt();

    char const* GetName() const;
    char* const* GetAliases() const;
    short GetAddrType() const;
    short GetAddrLength() const;
    char* const* GetAddrList() const;  // GetAddrLength() bytes per address, network order

private:
    void Link();

    std::string m_name;
    std::vector<std::string> m_aliasText;
    std::vector<char*> m_aliases;
    short m_addrType;
    short m_addrLength;
    std::vector<std::string> m_addressBytes;
    std::vector<char*> m_addresses;
};

#endif
